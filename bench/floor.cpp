// The least that an import of archives has to do on this machine: each file of a folder is read, hashed,
// written to another folder and flushed with it, and a row is committed. Prints the seconds that it took.
//
//     bench_floor FOLDER_OF_ARCHIVES NEW_FOLDER [wal|delete]
//
// The journal of the database is the embedded site's (wal), with one flush a commit, or SQLite's own
// (delete).

#include "bench/Report.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <array>
#include <memory>

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

using KOZAV::Bench::print;
using KOZAV::Bench::require;

namespace {

struct FreeDigest
{
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

/// Copies the file and flushes it. @return its SHA-256
QByteArray copyHashed(const QByteArray& from, const QByteArray& to)
{
    static std::array<char, 256UL * 1024> buffer;
    const std::unique_ptr<EVP_MD_CTX, FreeDigest> digest(EVP_MD_CTX_new());
    EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr);
    const int source = open(from.constData(), O_RDONLY | O_CLOEXEC);
    const int target = open(to.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    require(source >= 0 && target >= 0, "opening a file");
    ssize_t length = 0;
    while ((length = read(source, buffer.data(), buffer.size())) > 0) {
        EVP_DigestUpdate(digest.get(), buffer.data(), static_cast<std::size_t>(length));
        require(write(target, buffer.data(), static_cast<std::size_t>(length)) == length, "writing");
    }
    require(length == 0 && fsync(target) == 0, "copying");
    close(source);
    close(target);
    QByteArray sum(EVP_MAX_MD_SIZE, '\0');
    unsigned int sumLength = 0;
    // NOLINTNEXTLINE(*-reinterpret-cast): bytes are unsigned there
    EVP_DigestFinal_ex(digest.get(), reinterpret_cast<unsigned char*>(sum.data()), &sumLength);
    sum.truncate(static_cast<int>(sumLength));
    return sum.toHex();
}

void importAll(const QDir& from, const QString& to, QSqlQuery& insert)
{
    const int folder = open(QFile::encodeName(to).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (const QString& name : from.entryList(QDir::Files, QDir::Name)) {
        const QByteArray sum = copyHashed(QFile::encodeName(from.filePath(name)),
                                          QFile::encodeName(to + QLatin1Char('/') + name));
        require(fsync(folder) == 0, "flushing the folder");
        insert.bindValue(0, name);
        insert.bindValue(1, sum);
        require(insert.exec(), "committing a row");
    }
    close(folder);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString target = arguments.value(2);
    require(arguments.size() >= 3 && QDir().mkdir(target), "making the folder");
    {
        auto database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
        database.setDatabaseName(target + QStringLiteral("/../floor.sqlite"));
        QFile::remove(database.databaseName());
        require(database.open(), "opening a database");
        QSqlQuery query(database);
        const bool log = arguments.value(3) != QLatin1String("delete");
        require(query.exec(log ? QStringLiteral("PRAGMA journal_mode = WAL")
                               : QStringLiteral("PRAGMA journal_mode = DELETE")) &&
                    query.exec(QStringLiteral("PRAGMA synchronous = FULL")) &&
                    query.exec(QStringLiteral("CREATE TABLE job (name TEXT, sum TEXT)")) &&
                    query.prepare(QStringLiteral("INSERT INTO job VALUES (?, ?)")),
                "making a table");
        QElapsedTimer timer;
        timer.start();
        importAll(QDir(arguments.at(1)), target, query);
        print({{QStringLiteral("seconds"), static_cast<double>(timer.nsecsElapsed()) / 1e9}});
    }
    QSqlDatabase::removeDatabase(QLatin1String(QSqlDatabase::defaultConnection));
    return 0;
}
