#include "backend/io/LoginName.h"

#include <pwd.h>
#include <unistd.h>

#include <array>

namespace KOZAV::Backend {

QString loginName()
{
    std::array<char, 16384> buffer = {};
    struct passwd entry = {};
    struct passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        *found->pw_name != '\0')
        return QString::fromLocal8Bit(found->pw_name);
    return QStringLiteral("operator");
}

} // namespace KOZAV::Backend
