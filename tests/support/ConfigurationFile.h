#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// A configuration file in a directory of its own.
class ConfigurationFile final
{
public:
    ConfigurationFile();

    [[nodiscard]] QString path() const { return inFolder(QStringLiteral("zav.ini")); }
    [[nodiscard]] QString folder() const { return m_directory.path(); }
    [[nodiscard]] QString inFolder(const QString& name) const { return m_directory.filePath(name); }

    void write(const QByteArray& text) const;
    /// Writes the smallest usable file with a piece of it replaced; ends the test program where it has no
    /// such piece.
    void writeWith(const QByteArray& piece, const QByteArray& replacement) const;
    [[nodiscard]] QByteArray content() const;
    /// Makes the site that the file names, as "zav_admin init" does; ends the test program where that fails.
    void makeSite() const;
    /// Writes the smallest usable file and makes its site.
    void writeSite() const;

    /// A file with the required keys only.
    static QByteArray smallestText();

private:
    QTemporaryDir m_directory;
};

/// Permission bits of a file or folder; 0 where there is none.
unsigned permissionsOf(const QString& path);

} // namespace KOZAV::Test
