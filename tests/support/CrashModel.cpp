#include "tests/support/CrashModel.h"

#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"

#include <QDirIterator>
#include <QRegularExpression>

#include <sys/xattr.h>

#include <algorithm>
#include <array>

namespace KOZAV::Test {

namespace {

std::string folderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::optional<QByteArray> sumOf(const std::string& path)
{
    std::array<char, 1000> value = {};
    const ssize_t length = ::getxattr(path.c_str(), sumAttribute, value.data(), value.size());
    return length < 0 ? std::nullopt : std::optional(QByteArray(value.data(), static_cast<int>(length)));
}

/// "\x2f\x74" as the bytes that it stands for.
QByteArray unescaped(QByteArray text)
{
    return QByteArray::fromHex(text.replace("\\x", QByteArray()));
}

/// What a file may hold that is not flushed.
std::vector<CrashedFile> versionsOf(const CrashedFile& flushed, const CrashedFile& seen)
{
    std::set<QByteArray> contents = {flushed.content};
    if (seen.content != flushed.content)
        contents.insert({seen.content.left(seen.content.size() / 2), QByteArray(seen.content.size(), '\0'),
                         seen.content});
    std::set<CrashedFile> versions;
    for (const QByteArray& content : contents) {
        versions.insert({content, flushed.sum});
        versions.insert({content, seen.sum});
    }
    return {versions.begin(), versions.end()};
}

} // namespace

CrashedTree readTree(const std::string& folder)
{
    CrashedTree tree;
    const QString root = QString::fromStdString(folder);
    QDirIterator files(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const std::string path = local(files.next());
        tree[path.substr(folder.size() + 1)] = {readFile(path), sumOf(path)};
    }
    return tree;
}

void writeTree(const std::string& folder, const CrashedTree& tree)
{
    for (const auto& [name, file] : tree) {
        const std::string path = folder + '/' + name;
        writeFile(path, file.content);
        if (file.sum && ::setxattr(path.c_str(), sumAttribute, file.sum->constData(),
                                   static_cast<size_t>(file.sum->size()), 0) != 0)
            qFatal("an attribute cannot be set");
    }
}

/// Turns the lines of a log into operations.
class CrashModel::Reader final
{
public:
    Reader(CrashModel& model, std::string folder)
        : m_model(model)
        , m_folder(std::move(folder))
    {
        for (const auto& file : model.m_before)
            m_files[file.first] = m_nextFile++;
    }

    void read(const QByteArray& line);

private:
    struct Opened
    {
        int file = -1; ///< -1: a folder
        std::string path;
        qint64 written = 0;
    };

    void opened(const QList<QByteArray>& arguments, int descriptor);
    void called(const QByteArray& name, const QList<QByteArray>& arguments, int result);
    void onDescriptor(const QByteArray& name, Opened& opened, const QList<QByteArray>& arguments);
    void renamed(const std::string& from, const std::string& to);
    void unlinked(const std::string& path);
    void add(Kind kind, const std::string& path, int file, const QByteArray& bytes = {},
             const std::string& to = {});
    [[nodiscard]] bool isInside(const std::string& path) const;
    [[nodiscard]] std::string inside(const std::string& path) const
    {
        return path.substr(m_folder.size() + 1);
    }

    CrashModel& m_model;
    std::string m_folder;
    std::map<std::string, int> m_files; ///< by the names that the program sees
    std::map<int, Opened> m_opened;
    int m_nextFile = 0;
};

void CrashModel::Reader::add(Kind kind, const std::string& path, int file, const QByteArray& bytes,
                             const std::string& to)
{
    Operation operation;
    operation.kind = kind;
    operation.path = path;
    operation.to = to;
    operation.file = file;
    operation.bytes = bytes;
    m_model.m_operations.push_back(std::move(operation));
}

bool CrashModel::Reader::isInside(const std::string& path) const
{
    return path.compare(0, m_folder.size() + 1, m_folder + '/') == 0;
}

void CrashModel::Reader::read(const QByteArray& line)
{
    static const QRegularExpression call(QStringLiteral("^\\d+ +(\\w+)\\((.*)\\) += (-?\\d+)"),
                                         QRegularExpression::DotMatchesEverythingOption);
    if (line.contains("<unfinished") || line.contains("resumed>"))
        qFatal("calls of several threads are mixed: %s", line.left(200).constData());
    const auto match = call.match(QString::fromLatin1(line));
    if (!match.hasMatch() || match.capturedRef(3).toInt() < 0)
        return;
    QList<QByteArray> arguments = match.captured(2).toLatin1().split(',');
    for (QByteArray& argument : arguments) {
        argument = argument.trimmed();
        if (argument.startsWith('"'))
            argument = unescaped(argument.mid(1, argument.size() - 2));
    }
    called(match.captured(1).toLatin1(), arguments, match.capturedRef(3).toInt());
}

void CrashModel::Reader::called(const QByteArray& name, const QList<QByteArray>& arguments, int result)
{
    if (name == "openat") {
        opened(arguments, result);
    } else if (name == "rename") {
        renamed(arguments.at(0).toStdString(), arguments.at(1).toStdString());
    } else if (name == "renameat2") {
        renamed(arguments.at(1).toStdString(), arguments.at(3).toStdString());
    } else if (name == "unlink") {
        unlinked(arguments.at(0).toStdString());
    } else if (name == "close") {
        m_opened.erase(arguments.at(0).toInt());
    } else {
        const auto place = m_opened.find(arguments.at(0).toInt());
        if (place != m_opened.end())
            onDescriptor(name, place->second, arguments);
        else if (!arguments.at(0).isEmpty() && isInside(arguments.at(0).toStdString()))
            qFatal("%s is not known to the model", name.constData());
    }
}

void CrashModel::Reader::opened(const QList<QByteArray>& arguments, int descriptor)
{
    const std::string path = arguments.at(1).toStdString();
    const QByteArray& flags = arguments.at(2);
    m_opened.erase(descriptor);
    if (!isInside(path))
        return;
    if (flags.contains("O_TRUNC") || flags.contains("O_TMPFILE"))
        qFatal("the model does not know %s", flags.constData());
    Opened opened;
    opened.path = inside(path);
    if (!flags.contains("O_DIRECTORY")) {
        const auto known = m_files.find(opened.path);
        if (known == m_files.end()) {
            m_files[opened.path] = m_nextFile++;
            add(Kind::Create, opened.path, m_files[opened.path]);
        }
        opened.file = m_files[opened.path];
    }
    m_opened[descriptor] = opened;
}

void CrashModel::Reader::onDescriptor(const QByteArray& name, Opened& opened,
                                      const QList<QByteArray>& arguments)
{
    if (name == "fsync" || name == "fdatasync") {
        add(opened.file < 0 ? Kind::SyncFolder : Kind::SyncFile, opened.path, opened.file);
    } else if (name == "write") {
        add(Kind::Write, opened.path, opened.file, arguments.at(1));
    } else if (name == "fsetxattr" && arguments.at(1) == sumAttribute) {
        add(Kind::SetSum, opened.path, opened.file, arguments.at(2));
    } else {
        qFatal("%s is not known to the model", name.constData());
    }
}

void CrashModel::Reader::renamed(const std::string& from, const std::string& to)
{
    if (!isInside(from) && !isInside(to))
        return;
    const auto known = m_files.find(inside(from));
    if (known == m_files.end())
        qFatal("%s is renamed and not known", from.c_str());
    add(Kind::Rename, inside(from), known->second, {}, inside(to));
    m_files[inside(to)] = known->second;
    m_files.erase(inside(from));
}

void CrashModel::Reader::unlinked(const std::string& path)
{
    const auto known = isInside(path) ? m_files.find(inside(path)) : m_files.end();
    if (known == m_files.end())
        return;
    add(Kind::Unlink, inside(path), known->second);
    m_files.erase(known);
}

std::vector<std::string> CrashModel::logOptions()
{
    return {
        "-f",
        "-qq",
        "-xx",
        "-s",
        "4000000",
        "-e",
        "trace=openat,open,creat,close,write,pwrite64,writev,pwritev,sendfile,copy_file_range,ftruncate,"
        "truncate,fallocate,rename,renameat,renameat2,link,linkat,symlink,symlinkat,unlink,unlinkat,fsync,"
        "fdatasync,fsetxattr,setxattr,lsetxattr,fremovexattr"};
}

CrashModel::CrashModel(const std::string& folder, CrashedTree before, const QByteArray& log,
                       std::string unflushed)
    : m_before(std::move(before))
    , m_unflushed(std::move(unflushed))
{
    Reader reader(*this, folder);
    for (const QByteArray& line : log.split('\n'))
        reader.read(line);
}

CrashModel CrashModel::without(std::size_t operation) const
{
    CrashModel other = *this;
    other.m_operations.erase(other.m_operations.begin() + static_cast<std::ptrdiff_t>(operation));
    return other;
}

CrashModel CrashModel::withLater(std::size_t operation, std::size_t before) const
{
    CrashModel other = *this;
    const auto first = other.m_operations.begin() + static_cast<std::ptrdiff_t>(operation);
    std::rotate(first, first + 1, other.m_operations.begin() + static_cast<std::ptrdiff_t>(before));
    return other;
}

/// The disk, as far as some of the operations have come.
class CrashModel::Disk final
{
public:
    Disk(const CrashedTree& before, const std::string& unflushed);

    void apply(const Operation& operation);
    /// What it may show after a crash.
    [[nodiscard]] std::vector<CrashedTree> crashes() const;

private:
    struct Versions
    {
        CrashedFile flushed;
        CrashedFile seen; ///< by the program
        bool isFlushed = true;
    };
    using Names = std::map<std::string, int>;
    using Changes = std::set<const Operation*>;

    void syncFolder(const std::string& folder);
    [[nodiscard]] Names namesWithout(const Changes& lost) const;
    [[nodiscard]] std::vector<CrashedTree> treesOf(const Names& names) const;

    Names m_before;
    std::map<int, Versions> m_files;
    std::vector<const Operation*> m_changes; ///< of names, in order
    Changes m_unsure;                        ///< those whose folder was not flushed since
};

CrashModel::Disk::Disk(const CrashedTree& before, const std::string& unflushed)
{
    for (const auto& [name, file] : before) {
        const int number = static_cast<int>(m_before.size());
        m_before[name] = number;
        const bool isFlushed = name != unflushed;
        m_files[number] = {isFlushed ? file : CrashedFile(), file, isFlushed};
    }
}

void CrashModel::Disk::apply(const Operation& operation)
{
    Versions& file = m_files[operation.file];
    switch (operation.kind) {
    case Kind::Write:
        file.seen.content += operation.bytes;
        file.isFlushed = false;
        break;
    case Kind::SetSum:
        file.seen.sum = operation.bytes;
        file.isFlushed = false;
        break;
    case Kind::SyncFile:
        file.flushed = file.seen;
        file.isFlushed = true;
        break;
    case Kind::SyncFolder:
        syncFolder(operation.path);
        break;
    default:
        m_changes.push_back(&operation);
        m_unsure.insert(&operation);
    }
}

void CrashModel::Disk::syncFolder(const std::string& folder)
{
    for (auto it = m_unsure.begin(); it != m_unsure.end();) {
        const Operation& change = **it;
        const bool isIn =
            folderOf(change.path) == folder || (change.kind == Kind::Rename && folderOf(change.to) == folder);
        it = isIn ? m_unsure.erase(it) : std::next(it);
    }
}

CrashModel::Disk::Names CrashModel::Disk::namesWithout(const Changes& lost) const
{
    Names names = m_before;
    for (const Operation* change : m_changes) {
        if (lost.count(change) > 0)
            continue;
        if (change->kind == Kind::Create)
            names[change->path] = change->file;
        else
            names.erase(change->path);
        if (change->kind == Kind::Rename)
            names[change->to] = change->file;
    }
    return names;
}

std::vector<CrashedTree> CrashModel::Disk::treesOf(const Names& names) const
{
    std::vector<CrashedTree> trees(1);
    for (const auto& [name, number] : names) {
        const Versions& file = m_files.at(number);
        const auto versions = file.isFlushed ? std::vector{file.seen} : versionsOf(file.flushed, file.seen);
        std::vector<CrashedTree> more;
        for (const CrashedTree& tree : trees) {
            for (const CrashedFile& version : versions) {
                more.push_back(tree);
                more.back()[name] = version;
            }
        }
        trees = std::move(more);
    }
    return trees;
}

std::vector<CrashedTree> CrashModel::Disk::crashes() const
{
    const std::vector<const Operation*> unsure(m_unsure.begin(), m_unsure.end());
    if (unsure.size() > 10)
        qFatal("too many changes of names are not flushed");
    std::vector<CrashedTree> trees;
    for (std::size_t choice = 0; choice < (std::size_t(1) << unsure.size()); ++choice) {
        Changes lost;
        for (std::size_t bit = 0; bit < unsure.size(); ++bit) {
            if ((choice & (std::size_t(1) << bit)) == 0)
                lost.insert(unsure[bit]);
        }
        const auto some = treesOf(namesWithout(lost));
        trees.insert(trees.end(), some.begin(), some.end());
    }
    return trees;
}

bool CrashModel::forEachCrash(const std::function<bool(const CrashedTree& tree, bool isWhole)>& look) const
{
    std::set<std::pair<CrashedTree, bool>> seen;
    Disk disk(m_before, m_unflushed);
    for (std::size_t count = 0; count <= m_operations.size(); ++count) {
        const bool isWhole = count == m_operations.size();
        for (CrashedTree& tree : disk.crashes()) {
            const auto fresh = seen.emplace(std::move(tree), isWhole);
            if (fresh.second && !look(fresh.first->first, isWhole))
                return false;
        }
        if (!isWhole)
            disk.apply(m_operations[count]);
    }
    return true;
}

} // namespace KOZAV::Test
