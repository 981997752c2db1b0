#pragma once

#include <QByteArray>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace KOZAV::Test {

/// A file as a crash shows it.
struct CrashedFile
{
    QByteArray content;
    std::optional<QByteArray> sum; ///< its attribute "user.kozav.sum"

    bool operator<(const CrashedFile& other) const
    {
        return content != other.content ? content < other.content : sum < other.sum;
    }
};

/// The files below a folder, by their paths in it.
using CrashedTree = std::map<std::string, CrashedFile>;

/// Reads all files below the folder.
CrashedTree readTree(const std::string& folder);
/// Writes them below another one.
void writeTree(const std::string& folder, const CrashedTree& tree);

/// What a program did to the files below a folder, call by call, and what a disk may show of it after a
/// crash.
///
/// The disk is a strict one. Content and attributes of a file are there for sure once the file was flushed;
/// until then its bytes may be missing, cut, zero or whole, and its attribute missing or there, in every
/// combination. A name is there, or gone, for sure once its folder was flushed; until then each change of a
/// name may have been lost or not, whatever became of those before and after it. One rename happens as a
/// whole or not at all, as every file system with a journal has it.
class CrashModel final
{
public:
    enum class Kind { Create, Write, SetSum, Rename, Unlink, SyncFile, SyncFolder };

    struct Operation
    {
        Kind kind = Kind::Create;
        std::string path; ///< below the folder
        std::string to;   ///< Rename
        int file = -1;    ///< what path was, by a number of its own
        QByteArray bytes; ///< Write, SetSum
    };

    /// Reads a log that strace wrote with logOptions().
    /// @param before     what was below the folder
    /// @param unflushed  the one file of it that nobody had flushed
    CrashModel(const std::string& folder, CrashedTree before, const QByteArray& log, std::string unflushed);

    /// The options for strace that a log needs.
    static std::vector<std::string> logOptions();

    [[nodiscard]] const std::vector<Operation>& operations() const { return m_operations; }
    /// The same program, had it not done this.
    [[nodiscard]] CrashModel without(std::size_t operation) const;
    /// The same program, had it done this later, in front of another operation.
    [[nodiscard]] CrashModel withLater(std::size_t operation, std::size_t before) const;

    /// Shows everything that a disk may hold after a crash, each once. isWhole: the program had come to its
    /// end. Ends early where look returns false; false then.
    bool forEachCrash(const std::function<bool(const CrashedTree& tree, bool isWhole)>& look) const;

private:
    class Reader;
    class Disk;

    CrashedTree m_before;
    std::string m_unflushed;
    std::vector<Operation> m_operations;
};

} // namespace KOZAV::Test
