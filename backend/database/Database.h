#pragma once

#include "backend/ServiceHealth.h"
#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/database/DatabaseExamination.h"

#include <QSqlQuery>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class Dialect;

/// What becomes of a database that is not there.
enum class MissingDatabase { Refused, Made };

/// When a write must have reached the disk.
enum class Durability {
    Deferred, ///< with the next durable write, in order: nothing later survives a crash without it
    Immediate ///< before the call returns
};

/// A write of one row: an insert, or an update that has to find its row.
struct RowWrite
{
    const char* sql;
    QVariantList values;
};

/// How writes ended that are carried out together.
struct TogetherOutcome
{
    Status status;
    std::size_t failedAt = 0; ///< which one was refused; the number of all where none was by itself
};

/// Reads the columns of a row one after the other, in the order in which its query names them.
class RowReader final
{
public:
    explicit RowReader(const QSqlQuery& row)
        : m_row(row)
    {
    }

    /// NULL is read as an empty text, as 0, or as nothing.
    QString text() { return next().toString(); }
    std::string utf8() { return text().toStdString(); }
    int number() { return next().toInt(); }
    std::optional<int> optionalNumber()
    {
        const QVariant value = next();
        return value.isNull() ? std::nullopt : std::optional(value.toInt());
    }
    std::optional<qint64> optionalLongNumber()
    {
        const QVariant value = next();
        return value.isNull() ? std::nullopt : std::optional(value.toLongLong());
    }
    std::optional<QString> optionalText()
    {
        const QVariant value = next();
        return value.isNull() ? std::nullopt : std::optional(value.toString());
    }

private:
    QVariant next() { return m_row.value(m_column++); }

    const QSqlQuery& m_row;
    int m_column = 0;
};

/// One connection to the rows of a site: owns the connection, its dialect and the schema's version.
///
/// SQL texts are constants of the callers; values are always bound. An invalid QVariant is bound as NULL, a
/// null QString as an empty text. A text with a NUL or with a byte order mark at its beginning is
/// InvalidArgument, since an engine would not keep it as it is. Other failures: Unavailable (locked beyond
/// the time-out, no server), AlreadyExists (unique key), NotFound (reference to no row), NoSpace,
/// NotPermitted, Corrupt, Io. Not thread-safe: one object a thread.
class Database final
{
public:
    /// Opens, checks and migrates a database that is there. Configuration where it is missing, empty, or
    /// holds no tables of ours: a lost database is never replaced by a new one. A newer schema than this
    /// program knows is refused and left as it is.
    static Result<std::unique_ptr<Database>> open(const DatabaseSettings& settings);

    /// Makes what is missing of it, the database itself or its tables, and opens it: for making a site.
    static Result<std::unique_ptr<Database>> create(const DatabaseSettings& settings);
    ~Database();
    Q_DISABLE_COPY(Database)

    /// Makes the database that the settings name on its server, empty, if it is not there. @return whether it
    /// was made; false for an engine without a server, which needs nothing of the kind
    static Result<bool> createOnServer(const DatabaseSettings& settings);

    /// Runs a query; visit is called for each row and may return false to end.
    using RowVisitor = std::function<bool(const QSqlQuery& row)>;
    Status query(const char* sql, const QVariantList& values, const RowVisitor& visit);

    /// Runs a query and has read make a record of each row.
    template <typename Record>
    Result<std::vector<Record>> list(const char* sql, const QVariantList& values,
                                     Record (*read)(RowReader& row))
    {
        std::vector<Record> records;
        const auto status = query(sql, values, [&](const QSqlQuery& row) {
            RowReader reader(row);
            records.push_back(read(reader));
            return true;
        });
        return status.ok() ? Result(std::move(records)) : status;
    }

    /// Runs a query. @return the first column of its first row; an invalid value where there is no row
    Result<QVariant> value(const char* sql, const QVariantList& values = {});

    /// Runs a write of one statement. @return the number of rows changed
    Result<int> change(const char* sql, const QVariantList& values, Durability durability);

    /// Runs an insert of one row. @return the number of the new row
    Result<qint64> insert(const char* sql, const QVariantList& values, Durability durability);

    /// Runs writes in one transaction, outside of any other: all are carried out or none. Costs a server that
    /// can do so one exchange. NotFound for an update that finds no row.
    TogetherOutcome changeTogether(const std::vector<RowWrite>& writes, Durability durability);

    /// Whether values are kept as they are: InvalidArgument where a write of them would be refused for that.
    static Status checkValues(const QVariantList& values);

    /// When what was to be run first is run.
    enum class Occasion {
        Statement, ///< before whatever the object is asked for
        End        ///< before it ends: for the last time
    };
    /// Has work run before this object does anything else for anybody, each time from now on; what work
    /// itself asks for is done at once. Where it fails, what it was to go before fails for the same reason.
    void runFirst(std::function<Status(Occasion occasion)> work);

    /// Runs work in one transaction: committed if work returns success, otherwise rolled back. The writes in
    /// it take the transaction's durability, whatever theirs. Transactions do not nest: Internal.
    Status transaction(const std::function<Status()>& work, Durability durability = Durability::Immediate);

    /// Runs work, which only reads here: it sees the rows as they were at one moment, and others may write
    /// meanwhile. Does not nest either.
    Status snapshot(const std::function<Status()>& work);

    /// Runs work, which makes or changes tables, while no other program does: in one transaction where the
    /// engine can undo such changes, otherwise under a lock; work must then be able to run again after it was
    /// interrupted.
    Status changeSchema(const std::function<Status()>& work);
    [[nodiscard]] bool changesSchemaInTransactions() const;
    /// Whether it was opened for somebody who means to read (DatabaseSettings::onlyToRead).
    [[nodiscard]] bool isOnlyToRead() const;

    /// A text that differs from one read before if anything in the database may have changed since: by this
    /// object or by anybody else. Empty where the engine cannot tell. Costs a statement, whatever the size.
    Result<QString> revision();

    /// The dialect of the engine: for what only some engines have. Lives as long as the database.
    [[nodiscard]] const Dialect& dialect() const;

    /// Schema version of the open database.
    Result<int> schemaVersion();
    /// Engine and version in words.
    Result<QString> engineVersion();
    /// Asks the engine for its version, its encryption and how fast it answers.
    Result<ServiceHealth> health();
    /// Connects and asks the same, and whether the tables are ours, without making or changing anything; not
    /// even steps of the schema that are missing. Configuration where there is no database of ours.
    static Result<ServiceHealth> probe(const DatabaseSettings& settings);
    /// Where the rows lie, in words for messages and status lines; holds no password.
    [[nodiscard]] const QString& place() const;

    /// Reads the whole database through and compares its parts, the references between rows, and its schema
    /// with what this program makes. Changes nothing, and others may write meanwhile. Slow where there are
    /// many rows. @return every flaw found; none where the database is whole. A failure: nothing can be said
    [[nodiscard]] Result<DatabaseFlaws> examine(const ExaminationOptions& options = {}) const;
    /// The same of a database that need not be open, or cannot be opened because it is damaged.
    static Result<DatabaseFlaws> examine(const DatabaseSettings& settings,
                                         const ExaminationOptions& options = {});

    /// Reads the tables of an embedded database through, on a connection of its own, without comparing them
    /// with each other; others may write meanwhile. Where it is whole, the site's row says when that was;
    /// Corrupt where it is damaged. Success at once for a server, which looks after its files itself.
    static Status readThrough(const DatabaseSettings& settings);
    /// When it was last read through so and found whole, as rowTime() gives it; empty: never.
    Result<QString> readThroughTime();

private:
    Database(std::unique_ptr<Dialect> dialect, const DatabaseSettings& settings);
    static Result<std::unique_ptr<Database>> begin(const DatabaseSettings& settings, MissingDatabase missing);
    Status reach(MissingDatabase missing);
    Status start(MissingDatabase missing);
    struct Private;
    std::unique_ptr<Private> d;
};

/// The current time as the rows hold it: ISO 8601 in UTC with milliseconds and a trailing "Z".
QString rowTime();

} // namespace KOZAV::Backend
