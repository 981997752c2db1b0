#include "backend/records/CompanyClaim.h"

#include "backend/database/Database.h"
#include "backend/database/Dialect.h"
#include "backend/io/FileLock.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSysInfo>
#include <QUuid>

#include <algorithm>
#include <optional>
#include <utility>

// On a server a company's row is there for good once it was held; who has it is whoever's key stands in it
// while its time is not over. Taking and renewing are each one UPDATE of that row with the condition in it,
// so that a server decides between two, and so does a cluster of servers that replicates rows: it undoes one
// of them, which is then tried again. A key is a claim's own, so a statement whose answer was lost can be
// repeated, and a claim whose time was over finds out whether somebody else has had the company since.
//
// Beside an embedded database lies a folder with a lock file for each company. The system gives a lock back
// with the process, however that ends. The files stay: one that was removed while others wait for it would
// be a lock of its own.

namespace KOZAV::Backend {

namespace {

const std::string lockPrefix = "company-";
constexpr qint64 longestDescription = 64LL * 1024;

Result<std::string> lockFolder(const DatabaseSettings& settings)
{
    // Two configurations may name the file by different ways.
    const auto file = resolvedPath(QFile::encodeName(settings.file).toStdString());
    return file.ok() ? Result(file.value() + "-holds") : file.status();
}

std::string describe(const CompanyHolder& holder)
{
    const QJsonObject values = {{QStringLiteral("user"), holder.userName},
                                {QStringLiteral("host"), holder.host},
                                {QStringLiteral("process"), holder.processId},
                                {QStringLiteral("since"), holder.since}};
    return QJsonDocument(values).toJson(QJsonDocument::Compact).toStdString() + '\n';
}

/// What a lock file says; nothing where it says nothing yet, as between the locking and the writing.
std::optional<CompanyHolder> describedIn(const std::string& path)
{
    const auto content = readSmallFile(path, longestDescription);
    if (!content.ok())
        return {};
    const QJsonObject values = QJsonDocument::fromJson(QByteArray::fromStdString(content.value())).object();
    if (values.isEmpty())
        return {};
    return CompanyHolder{values.value(QStringLiteral("user")).toString(),
                         values.value(QStringLiteral("host")).toString(),
                         static_cast<qint64>(values.value(QStringLiteral("process")).toDouble()),
                         values.value(QStringLiteral("since")).toString()};
}

CompanyHolder readHolder(RowReader& row)
{
    CompanyHolder holder;
    holder.userName = row.text();
    holder.host = row.text();
    holder.processId = row.optionalLongNumber().value_or(0);
    holder.since = row.text();
    return holder;
}

HeldCompany readHeld(RowReader& row)
{
    const int companyId = row.number();
    return {companyId, readHolder(row)};
}

class LockClaim final : public CompanyClaim
{
public:
    LockClaim(const DatabaseSettings& settings, int companyId, CompanyHolder holder)
        : m_settings(settings)
        , m_companyId(companyId)
        , m_holder(std::move(holder))
    {
    }

    Result<bool> take(Database& /*database*/) override
    {
        const auto folder = lockFolder(m_settings);
        if (!folder.ok())
            return folder.status();
        if (const auto made = makeLockFolder(folder.value()); !made.ok())
            return made;
        const std::string path = joinPath(folder.value(), lockPrefix + std::to_string(m_companyId));
        auto lock = FileLock::tryAcquire(path);
        if (!lock.ok())
            return lock.status();
        if (!lock->has_value()) {
            if (const auto other = describedIn(path))
                m_otherHolder = other->text();
            return false;
        }
        m_lock = std::move(lock.value());
        // Who holds it is for people: on a full disk the company is held without it.
        (void)m_lock->describe(describe(m_holder));
        return true;
    }

    Result<bool> renew(Database& /*database*/) override { return true; }

    Status giveBack(Database& /*database*/) override
    {
        m_lock.reset();
        return {};
    }

    [[nodiscard]] bool isLease() const override { return false; }
    [[nodiscard]] std::chrono::milliseconds retryAfter() const override
    {
        return std::chrono::milliseconds(50);
    }

private:
    DatabaseSettings m_settings;
    int m_companyId;
    CompanyHolder m_holder;
    std::optional<FileLock> m_lock;
};

class RowClaim final : public CompanyClaim
{
public:
    RowClaim(int companyId, CompanyHolder holder, std::chrono::milliseconds lease)
        : m_companyId(companyId)
        , m_holder(std::move(holder))
        , m_lease(std::chrono::microseconds(lease).count())
    {
    }

    Result<bool> take(Database& database) override
    {
        // Whoever waits only looks: nobody else's statement waits for his.
        if (m_busy) {
            if (const auto looked = look(database); !looked.ok() || m_busy)
                return looked.ok() ? Result(false) : looked;
        }
        const auto& sql = *database.dialect().holdStatements();
        const auto taken = change(
            database, sql.takeSql,
            {m_key, m_holder.userName, m_holder.host, m_holder.processId, m_lease, m_companyId, m_key});
        if (!taken.ok() || taken.value() > 0)
            return taken.ok() ? Result(true) : taken.status();
        if (const auto looked = look(database); !looked.ok() || m_known)
            return looked.ok() ? Result(false) : looked;
        const auto inserted =
            change(database, sql.insertSql,
                   {m_companyId, m_key, m_holder.userName, m_holder.host, m_holder.processId, m_lease});
        if (inserted.code() == ErrorCode::AlreadyExists)
            return false;
        return inserted.ok() ? Result(true) : inserted.status();
    }

    Result<bool> renew(Database& database) override
    {
        const auto* sql = database.dialect().holdStatements();
        const auto renewed = change(database, sql->renewSql, {m_lease, m_companyId, m_key});
        if (!renewed.ok() || renewed.value() > 0)
            return renewed.ok() ? Result(true) : renewed.status();
        const auto looked = look(database);
        return looked.ok() ? Result(false) : looked;
    }

    Status giveBack(Database& database) override
    {
        const auto* sql = database.dialect().holdStatements();
        return change(database, sql->giveBackSql, {m_companyId, m_key}).status();
    }

    [[nodiscard]] bool isLease() const override { return true; }
    [[nodiscard]] std::chrono::milliseconds retryAfter() const override
    {
        return std::chrono::milliseconds(std::min(10 << std::min(m_looks, 5), 250));
    }

private:
    /// Runs once more where the answer was lost, over a new connection.
    static Result<int> change(Database& database, const char* sql, const QVariantList& values)
    {
        auto changed = database.change(sql, values, Durability::Immediate);
        return changed.code() == ErrorCode::OutcomeUnknown
                   ? database.change(sql, values, Durability::Immediate)
                   : changed;
    }

    /// Looks who has the company, and whether it has a row at all.
    Status look(Database& database)
    {
        m_known = m_busy = false;
        ++m_looks;
        const auto& sql = *database.dialect().holdStatements();
        return database.query(sql.holderSql, {m_companyId}, [this](const QSqlQuery& row) {
            RowReader reader(row);
            const CompanyHolder holder = readHolder(reader);
            m_known = true;
            m_busy = reader.number() != 0;
            if (m_busy)
                m_otherHolder = holder.text();
            return false;
        });
    }

    int m_companyId;
    CompanyHolder m_holder;
    qint64 m_lease; ///< microseconds
    QString m_key = QUuid::createUuid().toString(QUuid::WithoutBraces);
    bool m_known = false; ///< the company has a row
    bool m_busy = false;  ///< and it was another's when it was last looked at
    int m_looks = 0;      ///< whoever waits long asks seldom
};

Result<std::vector<HeldCompany>> listLocks(const DatabaseSettings& settings)
{
    std::vector<HeldCompany> held;
    const auto folder = lockFolder(settings);
    const auto names = folder.ok() ? namesIn(folder.value()) : folder.status();
    if (!names.ok())
        return names.code() == ErrorCode::NotFound ? Result(std::move(held)) : names.status();
    for (const std::string& name : names.value()) {
        bool isNumber = false;
        const int number =
            QString::fromStdString(name).mid(static_cast<int>(lockPrefix.size())).toInt(&isNumber);
        if (name.compare(0, lockPrefix.size(), lockPrefix) != 0 || !isNumber)
            continue;
        const std::string path = joinPath(folder.value(), name);
        const auto lock = FileLock::tryAcquire(path);
        if (lock.ok() && !lock->has_value())
            held.push_back({number, describedIn(path).value_or(CompanyHolder())});
    }
    std::sort(held.begin(), held.end(),
              [](const auto& one, const auto& other) { return one.companyId < other.companyId; });
    return held;
}

} // namespace

CompanyHolder CompanyHolder::thisProcess(const QString& userName)
{
    return {userName, QSysInfo::machineHostName(), QCoreApplication::applicationPid(), rowTime()};
}

QString CompanyHolder::text() const
{
    return QStringLiteral("%1 on %2, process %3, since %4")
        .arg(userName, host, QString::number(processId), since);
}

std::unique_ptr<CompanyClaim> CompanyClaim::make(const DatabaseSettings& settings, int companyId,
                                                 CompanyHolder holder, std::chrono::milliseconds lease)
{
    if (settings.driver == QLatin1String("QSQLITE"))
        return std::make_unique<LockClaim>(settings, companyId, std::move(holder));
    return std::make_unique<RowClaim>(companyId, std::move(holder), lease);
}

CompanyClaim::~CompanyClaim() = default;

Result<std::vector<HeldCompany>> listHeldCompanies(Database& database, const DatabaseSettings& settings)
{
    const auto* sql = database.dialect().holdStatements();
    return sql != nullptr ? database.list(sql->heldSql, {}, readHeld) : listLocks(settings);
}

} // namespace KOZAV::Backend
