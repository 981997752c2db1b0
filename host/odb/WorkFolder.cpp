// How a name stays beneath the work folder. The kernel resolves each path relative to the folder's descriptor
// and refuses whatever leaves it or passes a symbolic link (openat2). Where the kernel or a sandbox does not
// have that call, the path is walked here: each part is opened in the one before it, never through a link.
// Both roads refuse the same. Things are made by their last name in a folder opened so, never by a path.
//
// This must stay true of the links in the folder: each lies in a real folder, at the very path that
// linkStaysInside() judged it by. A link made behind another link would count its ".." from elsewhere.

#include "host/odb/WorkFolder.h"

#include <QFile>
#include <QList>
#include <QStringList>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#ifdef SYS_openat2
#include <linux/openat2.h>
#endif

namespace KOZAV::Host {

namespace {

/// With the work folder before it a path must stay short enough for whoever reads or removes it by its whole
/// length.
constexpr int longestEntryPath = 2048;

EntryPath refused(const QString& shown, const char* why)
{
    return {QString(), QStringLiteral("%1 %2").arg(shown, QLatin1String(why))};
}

bool isDriveLetter(const QString& component)
{
    return component.size() >= 2 && component[1] == QLatin1Char(':') && component[0].isLetter();
}

} // namespace

EntryPath entryPath(const QByteArray& rawName)
{
    const QString name = QFile::decodeName(rawName);
    const QString shown = QString::fromLatin1(rawName.toPercentEncoding(QByteArrayLiteral("/ +")));
    if (rawName.isEmpty())
        return refused(QStringLiteral("an entry"), "has no name");
    if (QFile::encodeName(name) != rawName)
        return refused(shown, "is not a valid name in this system's encoding");
    if (name.startsWith(QLatin1Char('/')) || name.startsWith(QLatin1Char('\\')))
        return refused(shown, "is an absolute path");

    QStringList components;
    for (const QString& component : name.split(QLatin1Char('/'))) {
        if (component.isEmpty() || component == QLatin1String("."))
            continue;
        if (component == QLatin1String(".."))
            return refused(shown, "leads out of the job");
        if (components.isEmpty() && isDriveLetter(component))
            return refused(shown, "is an absolute path");
        components << component;
    }
    if (rawName.size() > longestEntryPath)
        return refused(shown, "is longer than a path may be");
    return {components.join(QLatin1Char('/')), QString()};
}

bool linkStaysInside(const QString& path, const QByteArray& target)
{
    if (target.isEmpty() || target.startsWith('/') || QFile::encodeName(QFile::decodeName(target)) != target)
        return false;
    auto folders = path.count(QLatin1Char('/'));
    bool goingUp = true;
    for (const QByteArray& component : target.split('/')) {
        if (component.isEmpty() || component == ".")
            continue;
        if (component != "..") {
            goingUp = false;
            continue;
        }
        if (!goingUp || --folders < 0)
            return false;
    }
    return true;
}

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY;

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

/// An open descriptor, or the error of the call that was to give one.
class Descriptor final
{
public:
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor)
        , m_error(descriptor < 0 ? lastError() : std::error_code())
    {
    }
    ~Descriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Descriptor(Descriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
        , m_error(other.m_error)
    {
    }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        m_error = other.m_error;
        return *this;
    }

    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] const std::error_code& error() const { return m_error; }
    /// Hands the descriptor over to a file.
    [[nodiscard]] std::error_code giveTo(QFile& file, QIODevice::OpenMode mode)
    {
        if (!file.open(m_descriptor, mode, QFileDevice::AutoCloseHandle))
            return std::make_error_code(std::errc::io_error);
        m_descriptor = -1;
        return {};
    }

private:
    int m_descriptor;
    std::error_code m_error;
};

/// Opens what a folder holds by this name.
Descriptor openPart(int folder, const QByteArray& name, int flags, mode_t mode = 0)
{
    Descriptor part(::openat(folder, name.constData(), flags | O_NOFOLLOW | O_CLOEXEC, mode));
    // Of a link, O_DIRECTORY only says that it is no folder.
    struct stat status = {};
    if (part.error().value() == ENOTDIR &&
        ::fstatat(folder, name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode)) {
        errno = ELOOP;
        return Descriptor(-1);
    }
    return part;
}

Descriptor openByParts(int folder, const QByteArray& path, int flags)
{
    const QList<QByteArray> parts = path.split('/');
    const auto flagsOf = [&](int part) { return part + 1 < parts.size() ? folderFlags : flags; };
    Descriptor opened = openPart(folder, parts.first(), flagsOf(0));
    for (int part = 1; part < parts.size() && !opened.error(); ++part)
        opened = openPart(opened.get(), parts[part], flagsOf(part));
    return opened;
}

/// Opens what lies at the path beneath the folder; an empty path is the folder itself.
Descriptor openBeneath(int folder, const QString& path, int flags)
{
    const QByteArray name = path.isEmpty() ? QByteArrayLiteral(".") : QFile::encodeName(path);
#ifdef SYS_openat2
    open_how how = {};
    how.flags = static_cast<quint64>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    Descriptor opened(static_cast<int>(::syscall(SYS_openat2, folder, name.constData(), &how, sizeof how)));
    if (opened.error().value() != ENOSYS && opened.error().value() != EPERM)
        return opened;
#endif
    return openByParts(folder, name, flags);
}

std::error_code writeAll(int file, const QByteArray& content)
{
    for (qint64 done = 0; done < content.size();) {
        const auto written =
            ::write(file, content.constData() + done, static_cast<size_t>(content.size() - done));
        if (written < 0 && errno != EINTR)
            return lastError();
        done += std::max<qint64>(written, 0);
    }
    return ::fsync(file) == 0 ? std::error_code() : lastError();
}

/// Gives a file a second name that nothing has yet, and brings that to the disk.
std::error_code linked(int folder, const QByteArray& name, int newFolder, const QByteArray& newName,
                       int flags)
{
    if (::linkat(folder, name.constData(), newFolder, newName.constData(), flags) != 0)
        return lastError();
    return ::fsync(newFolder) == 0 ? std::error_code() : lastError();
}

std::error_code giveRegular(Descriptor& opened, QFile& file)
{
    struct stat status = {};
    if (opened.error())
        return opened.error();
    if (::fstat(opened.get(), &status) != 0)
        return lastError();
    if (!S_ISREG(status.st_mode))
        return std::make_error_code(std::errc::not_supported);
    return opened.giveTo(file, QIODevice::ReadOnly);
}

QString folderOf(const QString& path)
{
    return path.left(std::max(0, path.lastIndexOf(QLatin1Char('/'))));
}

QByteArray nameOf(const QString& path)
{
    return QFile::encodeName(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
}

} // namespace

std::error_code openRegularFile(const QString& path, QFile& file)
{
    Descriptor opened(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    return giveRegular(opened, file);
}

WorkFolder::~WorkFolder()
{
    if (m_folder >= 0)
        ::close(m_folder);
}

std::error_code WorkFolder::open(const QString& folder)
{
    const int opened = ::open(QFile::encodeName(folder).constData(), folderFlags | O_CLOEXEC);
    if (opened < 0)
        return lastError();
    if (m_folder >= 0)
        ::close(m_folder);
    m_folder = opened;
    return {};
}

std::error_code WorkFolder::makeFolder(const QString& path) const
{
    std::error_code error = openBeneath(m_folder, path, folderFlags).error();
    if (error != std::errc::no_such_file_or_directory || path.isEmpty())
        return error;
    error = makeFolderOf(path);
    if (error)
        return error;
    const Descriptor parent = openBeneath(m_folder, folderOf(path), folderFlags);
    if (parent.error() || ::mkdirat(parent.get(), nameOf(path).constData(), 0777) == 0)
        return parent.error();
    return lastError();
}

std::error_code WorkFolder::makeFolderOf(const QString& path) const
{
    return makeFolder(folderOf(path));
}

std::error_code WorkFolder::makeFile(const QString& path, QFile& file) const
{
    const Descriptor parent = openBeneath(m_folder, folderOf(path), folderFlags);
    if (parent.error())
        return parent.error();
    Descriptor made = openPart(parent.get(), nameOf(path), O_WRONLY | O_CREAT | O_EXCL, 0666);
    return made.error() ? made.error() : made.giveTo(file, QIODevice::WriteOnly | QIODevice::Unbuffered);
}

std::error_code WorkFolder::publishFile(const QString& path, const QByteArray& content) const
{
    const Descriptor parent = openBeneath(m_folder, folderOf(path), folderFlags);
    if (parent.error())
        return parent.error();
    // A file without a name leaves nothing behind when the program ends before it has one.
    Descriptor nameless(::openat(parent.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
    if (!nameless.error()) {
        if (const std::error_code error = writeAll(nameless.get(), content); error)
            return error;
        const QByteArray open = "/proc/self/fd/" + QByteArray::number(nameless.get());
        return linked(AT_FDCWD, open, parent.get(), nameOf(path), AT_SYMLINK_FOLLOW);
    }
    const QByteArray part = nameOf(path) + ".part";
    ::unlinkat(parent.get(), part.constData(), 0);
    const Descriptor named = openPart(parent.get(), part, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    std::error_code error = named.error();
    if (!error)
        error = writeAll(named.get(), content);
    if (!error)
        error = linked(parent.get(), part, parent.get(), nameOf(path), 0);
    ::unlinkat(parent.get(), part.constData(), 0);
    return error;
}

std::error_code WorkFolder::makeLink(const QString& path, const QByteArray& target) const
{
    const Descriptor parent = openBeneath(m_folder, folderOf(path), folderFlags);
    if (parent.error() || ::symlinkat(target.constData(), parent.get(), nameOf(path).constData()) == 0)
        return parent.error();
    return lastError();
}

std::error_code WorkFolder::openFile(const QString& path, QFile& file) const
{
    // O_NONBLOCK: opening a pipe would else wait for its writer.
    Descriptor opened = openBeneath(m_folder, path, O_RDONLY | O_NONBLOCK);
    return giveRegular(opened, file);
}

QString WorkFolder::reason(const std::error_code& error)
{
    if (error == std::errc::too_many_symbolic_link_levels)
        return QStringLiteral("a symbolic link is on the way");
    if (error == std::errc::not_supported)
        return QStringLiteral("it is not a regular file");
    return qt_error_string(error.value());
}

} // namespace KOZAV::Host
