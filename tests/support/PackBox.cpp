#include "tests/support/PackBox.h"

#include "tests/support/TestFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace KOZAV::Test {

using namespace Backend;

PackBox::PackBox()
{
    makeFolder(folder());
    makeFolder(local(archiveFolder()));
}

std::string PackBox::folder() const
{
    return local(m_place.filePath(QStringLiteral("job")));
}

std::string PackBox::in(const std::string& name) const
{
    return folder() + '/' + name;
}

QString PackBox::archive() const
{
    return archiveFolder() + QStringLiteral("/job.zip");
}

QString PackBox::archiveFolder() const
{
    return m_place.filePath(QStringLiteral("cache"));
}

QString PackBox::beside(const QString& name) const
{
    return m_place.filePath(name);
}

Result<PackResult> PackBox::pack(int threads) const
{
    PackRequest request;
    request.folder = folder();
    request.target = local(archive());
    request.threads = threads;
    return packFolder(request);
}

QStringList entriesByPython(const QString& archive)
{
    const QString program = QStringLiteral("import sys, zipfile\n"
                                           "z = zipfile.ZipFile(sys.argv[1])\n"
                                           "bad = z.testzip()\n"
                                           "assert bad is None, bad\n"
                                           "for e in z.infolist():\n"
                                           "  print(e.filename.encode().hex(), e.file_size, '%08x' % e.CRC,\n"
                                           "        '%08x' % e.external_attr, e.compress_type)\n");
    const ProgramEnd end = runProgram(QStringLiteral("python3"), {QStringLiteral("-c"), program, archive});
    if (end.exitCode != 0)
        qFatal("%s", end.output.constData());
    return QString::fromLatin1(end.output).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void setModified(const std::string& path, qint64 secondsSince1970, long nanoseconds)
{
    const timespec time = {static_cast<time_t>(secondsSince1970), nanoseconds};
    const timespec times[] = {time, time};
    if (::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
        qFatal("cannot set the time of %s", path.c_str());
}

int runPackRole(const QStringList& arguments)
{
    PackRequest request;
    request.folder = local(arguments.at(2));
    request.target = local(arguments.at(3));
    return reportRole(packFolder(request).status());
}

} // namespace KOZAV::Test
