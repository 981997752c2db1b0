#pragma once

#include "backend/Site.h"
#include "backend/database/Database.h"

#include <QString>

#include <optional>
#include <type_traits>
#include <utility>

namespace KOZAV::Host {

// How the client's doors to the site ask its rows. The site is the one that the services work on, its rows
// those of the calling thread, which are opened where they are not.

/// What work(Backend::Database&) says, a Status or a Result; or why there are no rows to ask.
template <typename Work>
auto onRows(const Work& work) -> std::decay_t<decltype(work(std::declval<Backend::Database&>()))>
{
    const auto database = Backend::Site::current().database();
    if (!database.ok())
        return database.status();
    return work(*database.value());
}

/// The value of work's Result; nothing, and why in words, where that fails.
template <typename Work>
auto askRows(const Work& work, QString& failure)
    -> std::optional<std::decay_t<decltype(work(std::declval<Backend::Database&>()).value())>>
{
    auto answer = onRows(work);
    if (answer.ok())
        return std::move(answer.value());
    failure = answer.message();
    return std::nullopt;
}

} // namespace KOZAV::Host
