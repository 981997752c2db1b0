#pragma once

#include <QString>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// A certificate authority of its own, made with the program openssl, and what it has signed. Ends the test
/// program where that fails.
class TestAuthority final
{
public:
    TestAuthority();

    /// The authority's own certificate.
    [[nodiscard]] QString certificate() const { return m_folder.filePath(QStringLiteral("ca.pem")); }

    /// Certificate and key for a server at 127.0.0.1; made at the first call.
    struct Identity
    {
        QString certificate;
        QString key;
    };
    [[nodiscard]] Identity server() const;

private:
    QTemporaryDir m_folder;
};

} // namespace KOZAV::Test
