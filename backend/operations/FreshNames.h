#pragma once

#include "backend/store/DocumentStore.h"

#include <QtGlobal>

#include <deque>
#include <mutex>
#include <string>
#include <unordered_set>

namespace KOZAV::Backend {

/// The identifiers that this process has made and that no file has been stored under since: what is stored
/// under one is the first of its name, so that a store need not look for another. Can be used by several
/// threads.
///
/// An identifier is fresh once: whoever tries again may find what the first try has left. Of very many that
/// are never used the oldest are forgotten, which costs a look.
class FreshNames final
{
public:
    static FreshNames& ofThisProcess();

    FreshNames() = default;
    Q_DISABLE_COPY(FreshNames)

    void remember(const std::string& identifier);

    /// What is known of the name of a file that is about to be stored: an identifier, alone or with a suffix
    /// behind a dot. From now on it may be taken.
    NameUse useOf(const std::string& storedName);

private:
    std::mutex m_mutex;
    std::unordered_set<std::string> m_fresh; ///< guarded by m_mutex
    std::deque<std::string> m_order;         ///< all of them, oldest first, and used ones; guarded by m_mutex
};

} // namespace KOZAV::Backend
