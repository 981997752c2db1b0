#pragma once

#include "tests/support/AdminSession.h"

namespace KOZAV::Test {

/// Two embedded sites that a migration goes between. Ends the test program where they cannot be made.
class SitePair final
{
public:
    SitePair();

    AdminSession source;
    AdminSession target;

    /// The configuration files.
    [[nodiscard]] QString from() const { return source.file().path(); }
    [[nodiscard]] QString to() const { return target.file().path(); }
    /// A path in the target's data folder.
    [[nodiscard]] QString targetData(const char* name) const
    {
        return target.file().inFolder(text("data/") + text(name));
    }

    [[nodiscard]] AdminOutcome migrate(const QStringList& more = {}) const
    {
        return source.run(QStringList({text("migrate"), text("--to"), to()}) + more);
    }
};

/// Makes an embedded site where a session's configuration is; ends the test program where that fails.
void makeEmbeddedSite(const AdminSession& session);

/// Puts a file into the configured file store of a site; ends the test program where that fails.
void storeFile(const QString& configuration, const char* name, const QByteArray& content);

} // namespace KOZAV::Test
