#pragma once

#include <cstdint>
#include <string>

namespace KOZAV::DataLib::Model {

/// The logged-in operator. Texts are UTF-8.
struct Kozav_User
{
    /// Name the operator logs in with; may be empty where the site keeps none.
    std::string loginName;
    /// Number that every row written for the operator carries.
    std::int32_t userId = 0;
    /// Name as shown to people.
    std::string userName;
};

} // namespace KOZAV::DataLib::Model
