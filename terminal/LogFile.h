#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <memory>

namespace KOZAV::Terminal {

/// How large a log may become.
struct LogLimits
{
    int maxBytes = 10 << 20; ///< of the file that is written; a longer line has a file of its own
    int oldFiles = 5;        ///< how many are kept beside it, at least 1
    bool isShared = false;   ///< other programs write the same log
};

/// A file to which lines are appended. Before a line that would make it too large the file becomes FILE.1,
/// what was FILE.1 becomes FILE.2, and so on; the oldest goes. So FILE and its old files hold the newest
/// lines without a gap, each whole.
///
/// Only a regular file grows old. Devices and FIFOs are written as they are, without ever waiting for their
/// reader; links are refused.
///
/// A log belongs to one program, unless it is shared: then every program goes on in the file that has the
/// name, and one at a time puts it aside, holding FILE.lock. A line that is written at that very moment may
/// come to lie in FILE.1, behind older ones.
class LogFile final
{
public:
    /// @return why that is not possible; empty on success
    [[nodiscard]] QString open(const QString& name, const LogLimits& limits = {});
    [[nodiscard]] bool isOpen() const { return m_file != nullptr; }

    /// Hands a line to the system before it returns.
    /// @param line  with its line feed
    /// @return why that is not possible; empty on success
    [[nodiscard]] QString append(const QByteArray& line);

    /// Why the file has grown beyond its limit instead of being put aside; empty where it has not, and after
    /// it was told.
    [[nodiscard]] QString takeComplaint();

private:
    [[nodiscard]] QString oldName(int age) const;
    void take(std::unique_ptr<QFile> file, bool isRegular);
    [[nodiscard]] bool hasRoomFor(const QByteArray& line) const;
    [[nodiscard]] bool makeRoomFor(const QByteArray& line);
    [[nodiscard]] bool putAside();
    void goOnInNamedFile();
    [[nodiscard]] bool moveOldFiles() const;

    QString m_name;
    LogLimits m_limits;
    std::unique_ptr<QFile> m_file;
    bool m_growsOld = false;
    qint64 m_size = 0;
    qint64 m_mayReach = 0; ///< the size beyond which the file is put aside
    QString m_complaint;
};

} // namespace KOZAV::Terminal
