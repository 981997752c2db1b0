// No line is lost by a change of files: the file is put aside by renaming it, while it stays open; only when
// the new one is open as well is the line written, to that one. Where any step of this fails the name goes
// back, and the line goes to the file that was there, which then grows for as much again before the next try.
//
// The old files are moved from the oldest on, so that an interruption leaves a gap in their numbers and no
// line in two files. Each line is one write at the file's end: programs that share a log cannot tear a line.
// Another of them may have put the file aside since the last line, so each line is preceded by a look at
// which file has the name; and who finds it full looks once more when it has the lock.

#include "terminal/LogFile.h"

#include <QFileInfo>
#include <QLockFile>

#include <utility>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace KOZAV::Terminal {

namespace {

struct OpenedLog
{
    std::unique_ptr<QFile> file; ///< null where it could not be opened
    bool isRegular = false;
    QString whyNot;
};

enum class Mode { AppendOrMake, MakeOnly };

#ifdef Q_OS_UNIX

QString whyNotOpened(int error)
{
    if (error == ELOOP)
        return QStringLiteral("it is a link");
    if (error == ENXIO)
        return QStringLiteral("it is a FIFO that nobody reads, or a socket");
    return qt_error_string(error);
}

/// A FIFO or a device is not waited for, neither here nor when it is written to.
OpenedLog openLog(const QString& name, Mode mode)
{
    constexpr mode_t readableByAll = 0644;
    const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY |
                      (mode == Mode::MakeOnly ? O_EXCL : 0);
    const int descriptor = ::open(QFile::encodeName(name).constData(), flags, readableByAll);
    if (descriptor < 0)
        return {nullptr, false, whyNotOpened(errno)};
    OpenedLog opened{std::make_unique<QFile>(), false, {}};
    if (!opened.file->open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered,
                           QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return {nullptr, false, opened.file->errorString()};
    }
    struct stat status
    {
    };
    opened.isRegular = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return opened;
}

#else

OpenedLog openLog(const QString& name, Mode mode)
{
    const QFileInfo info(name);
    if (info.isSymLink())
        return {nullptr, false, QStringLiteral("it is a link")};
    OpenedLog opened{std::make_unique<QFile>(name), !info.exists() || info.isFile(), {}};
    const auto only = mode == Mode::MakeOnly ? QIODevice::NewOnly : QIODevice::NotOpen;
    if (!opened.file->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered | only))
        return {nullptr, false, opened.file->errorString()};
    return opened;
}

#endif

/// Whether the open file is still the one of that name.
bool isNamed(const QFile& file, const QString& name)
{
#ifdef Q_OS_UNIX
    struct stat open
    {
    };
    struct stat named
    {
    };
    return ::fstat(file.handle(), &open) == 0 && ::lstat(QFile::encodeName(name).constData(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
#else
    // A file that is open keeps its name there.
    Q_UNUSED(file)
    return QFileInfo::exists(name);
#endif
}

bool isThere(const QString& name)
{
    const QFileInfo info(name);
    return info.exists() || info.isSymLink();
}

} // namespace

QString LogFile::open(const QString& name, const LogLimits& limits)
{
    OpenedLog opened = openLog(name, Mode::AppendOrMake);
    if (!opened.file)
        return QStringLiteral("the log %1 cannot be opened: %2").arg(name, opened.whyNot);
    m_name = name;
    m_limits = limits;
    take(std::move(opened.file), opened.isRegular);
    return {};
}

void LogFile::take(std::unique_ptr<QFile> file, bool isRegular)
{
    m_file = std::move(file);
    m_growsOld = isRegular;
    m_size = m_growsOld ? m_file->size() : 0;
    m_mayReach = m_limits.maxBytes;
}

QString LogFile::append(const QByteArray& line)
{
    if (m_limits.isShared)
        goOnInNamedFile();
    if (!hasRoomFor(line) && !makeRoomFor(line))
        m_mayReach = m_size + m_limits.maxBytes;
    const qint64 written = m_file->write(line);
    if (written > 0)
        m_size += written;
    if (written == line.size())
        return {};
    return QStringLiteral("%1 cannot be written to: %2")
        .arg(m_name, written < 0 ? m_file->errorString() : QStringLiteral("no space for the whole line"));
}

QString LogFile::takeComplaint()
{
    return std::exchange(m_complaint, QString());
}

bool LogFile::hasRoomFor(const QByteArray& line) const
{
    return !m_growsOld || m_size == 0 || m_size + line.size() <= m_mayReach;
}

bool LogFile::makeRoomFor(const QByteArray& line)
{
    if (!m_limits.isShared)
        return putAside();
    constexpr int patienceMs = 1000;
    QLockFile lock(m_name + QStringLiteral(".lock"));
    if (!lock.tryLock(patienceMs)) {
        m_complaint =
            QStringLiteral("the log %1 cannot be put aside, and grows on: no lock on it").arg(m_name);
        return false;
    }
    goOnInNamedFile();
    return hasRoomFor(line) || putAside();
}

/// Where it cannot be opened, the lines go on to the file that was there.
void LogFile::goOnInNamedFile()
{
    if (!m_growsOld)
        return;
    if (isNamed(*m_file, m_name)) {
        m_size = m_file->size();
        return;
    }
    OpenedLog opened = openLog(m_name, Mode::AppendOrMake);
    if (opened.file)
        take(std::move(opened.file), opened.isRegular);
}

QString LogFile::oldName(int age) const
{
    return QStringLiteral("%1.%2").arg(m_name).arg(age);
}

bool LogFile::moveOldFiles() const
{
    const QString oldest = oldName(m_limits.oldFiles);
    if (isThere(oldest) && !QFile::remove(oldest))
        return false;
    for (int age = m_limits.oldFiles - 1; age >= 1; --age) {
        if (isThere(oldName(age)) && !QFile::rename(oldName(age), oldName(age + 1)))
            return false;
    }
    return QFile::rename(m_name, oldName(1));
}

bool LogFile::putAside()
{
    if (!moveOldFiles()) {
        m_complaint = QStringLiteral("the log %1 cannot be put aside, and grows on").arg(m_name);
        return false;
    }
    // Another program that shares it may have been quicker to make it.
    OpenedLog opened = openLog(m_name, m_limits.isShared ? Mode::AppendOrMake : Mode::MakeOnly);
    if (!opened.file) {
        m_complaint = QStringLiteral("a new log %1 cannot be made, and the old one grows on: %2")
                          .arg(m_name, opened.whyNot);
        QFile::rename(oldName(1), m_name);
        return false;
    }
    take(std::move(opened.file), true);
    return true;
}

} // namespace KOZAV::Terminal
