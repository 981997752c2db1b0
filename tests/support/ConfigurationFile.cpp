#include "tests/support/ConfigurationFile.h"

#include "backend/SiteCreation.h"

#include <QFile>

#include <sys/stat.h>

namespace KOZAV::Test {

ConfigurationFile::ConfigurationFile()
{
    if (!m_directory.isValid())
        qFatal("%s", qUtf8Printable(m_directory.errorString()));
}

void ConfigurationFile::write(const QByteArray& text) const
{
    QFile file(path());
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush())
        qFatal("%s: %s", qUtf8Printable(path()), qUtf8Printable(file.errorString()));
}

void ConfigurationFile::writeWith(const QByteArray& piece, const QByteArray& replacement) const
{
    QByteArray text = smallestText();
    if (!text.contains(piece))
        qFatal("the configuration has no \"%s\"", piece.constData());
    write(text.replace(piece, replacement));
}

QByteArray ConfigurationFile::content() const
{
    QFile file(path());
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qUtf8Printable(path()), qUtf8Printable(file.errorString()));
    return file.readAll();
}

void ConfigurationFile::makeSite() const
{
    const auto made = Backend::createSite({path()});
    if (!made.ok())
        qFatal("%s", qUtf8Printable(made.message()));
}

void ConfigurationFile::writeSite() const
{
    write(smallestText());
    makeSite();
}

QByteArray ConfigurationFile::smallestText()
{
    return "[database]\n"
           "file = data/site.db\n"
           "[document_store]\n"
           "root = data/store\n"
           "database = plant\n"
           "file_store = odbpp\n"
           "[cache]\n"
           "upload = up\n"
           "download = down/\n"
           "[robot]\n"
           "host = 192.0.2.7\n"
           "port = 9098\n"
           "[user]\n"
           "id = 7\n"
           "name = Ada\n";
}

unsigned permissionsOf(const QString& path)
{
    struct stat found = {};
    return ::stat(QFile::encodeName(path).constData(), &found) == 0 ? found.st_mode & 07777U : 0U;
}

} // namespace KOZAV::Test
