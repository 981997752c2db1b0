#include "backend/database/Database.h"

#include "backend/IsoTime.h"
#include "backend/database/Connection.h"
#include "backend/database/Dialect.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QThread>
#include <QUuid>

#include <chrono>

namespace KOZAV::Backend {

namespace {

/// A text that no engine would keep as it is: it would be cut at a NUL, or lose a mark at its beginning.
bool keepsItsCharacters(const QString& text)
{
    if (text.contains(QChar(QChar::Null)))
        return false;
    return !text.startsWith(QChar(QChar::ByteOrderMark)) && !text.startsWith(QChar(QChar::ByteOrderSwapped));
}

Status checkValues(const QVariantList& values)
{
    for (const QVariant& value : values)
        if (value.userType() == QMetaType::QString && !keepsItsCharacters(value.toString()))
            return Status::invalidArgument(
                QStringLiteral("a text holds a NUL character or begins with a byte order mark"));
    return {};
}

/// Scope of a transaction: rolled back unless committed.
class OpenTransaction final
{
public:
    explicit OpenTransaction(Connection& connection)
        : m_connection(connection)
    {
    }
    ~OpenTransaction()
    {
        if (m_connection.inTransaction())
            m_connection.rollback();
    }
    Q_DISABLE_COPY(OpenTransaction)

    Status commit() { return m_connection.commit(); }

private:
    Connection& m_connection;
};

} // namespace

struct Database::Private
{
    explicit Private(std::unique_ptr<Dialect> dialect, const DatabaseSettings& settings)
        : connection(std::move(dialect), settings)
    {
    }

    Connection connection;
    quint64 writes = 0; ///< tried by this object, with success or not

    Status write(const char* sql, const QVariantList& values, Durability durability,
                 const Connection::Answer& answer);
    Status takeSchemaLock(const char* takeSql);
};

Status Database::Private::write(const char* sql, const QVariantList& values, Durability durability,
                                const Connection::Answer& answer)
{
    ++writes;
    if (Status status = connection.use(durability); !status.ok())
        return status;
    if (Status status = checkValues(values); !status.ok())
        return status;
    return connection.execute(sql, values, Connection::Purpose::Write, answer);
}

/// Asks again and again instead of waiting in the server: a wait there could outlast the wait for its answer.
Status Database::Private::takeSchemaLock(const char* takeSql)
{
    constexpr int pauseMs = 20;
    const QDeadlineTimer deadline(std::chrono::seconds(connection.settings().readTimeoutSeconds));
    bool taken = false;
    while (!taken) {
        Status asked = connection.execute(takeSql, {}, Connection::Purpose::Read, [&taken](QSqlQuery& query) {
            taken = query.next() && query.value(0).toInt() == 1;
            return Status();
        });
        if (!asked.ok())
            return asked;
        if (!taken && deadline.hasExpired())
            return connection.located(Status::unavailable(
                QStringLiteral("another program is changing the tables and does not come to an end")));
        if (!taken)
            QThread::msleep(pauseMs);
    }
    return {};
}

Database::Database(std::unique_ptr<Dialect> dialect, const DatabaseSettings& settings)
    : d(std::make_unique<Private>(std::move(dialect), settings))
{
}

Database::~Database() = default;

Result<std::unique_ptr<Database>> Database::open(const DatabaseSettings& settings)
{
    Result<std::unique_ptr<Dialect>> dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    std::unique_ptr<Database> database(new Database(std::move(dialect.value()), settings));
    if (Status status = database->start(); !status.ok())
        return Status(
            status.code(),
            QStringLiteral("cannot open the database %1: %2").arg(database->place(), status.message()));
    return database;
}

Result<bool> Database::createOnServer(const DatabaseSettings& settings)
{
    Result<std::unique_ptr<Dialect>> dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    const Dialect& engine = *dialect.value();
    const QString name = QStringLiteral("kozav-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    const auto work = [&]() -> Result<bool> {
        QSqlDatabase connection = QSqlDatabase::addDatabase(settings.driver, name);
        for (const auto& step : {engine.prepare(settings), engine.configure(connection, settings)})
            if (!step.ok())
                return step;
        return engine.createDatabase(connection, settings);
    };
    Result<bool> made = work();
    QSqlDatabase::removeDatabase(name);
    if (made.ok())
        return made;
    return Status(
        made.code(),
        QStringLiteral("cannot make the database %1: %2").arg(engine.describe(settings), made.message()));
}

Status Database::start()
{
    Connection& connection = d->connection;
    const Dialect& dialect = connection.dialect();
    if (Status status = dialect.prepare(connection.settings()); !status.ok())
        return status;
    if (Status status = connection.open(); !status.ok())
        return status;
    if (Status status = dialect.identify(connection.handle()); !status.ok())
        return status;
    if (Status status = refuseNewerSchema(*this, dialect.migrations()); !status.ok())
        return status;
    if (Status status = connection.startSession(); !status.ok())
        return status;
    Status status = migrate(*this, dialect.migrations());
    connection.forgetStatements();
    return status;
}

Status Database::query(const char* sql, const QVariantList& values, const RowVisitor& visit)
{
    if (Status status = checkValues(values); !status.ok())
        return status;
    return d->connection.execute(sql, values, Connection::Purpose::Read, [&](QSqlQuery& query) {
        while (query.next())
            if (!visit(query))
                return Status();
        const QSqlError error = query.lastError();
        if (error.type() == QSqlError::NoError)
            return Status();
        return d->connection.located(Status(d->connection.dialect().classify(error), error.databaseText()));
    });
}

Result<int> Database::change(const char* sql, const QVariantList& values, Durability durability)
{
    int changed = 0;
    const Status status = d->write(sql, values, durability, [&changed](QSqlQuery& query) {
        changed = query.numRowsAffected();
        return Status();
    });
    return status.ok() ? Result<int>(changed) : Result<int>(status);
}

Result<qint64> Database::insert(const char* sql, const QVariantList& values, Durability durability)
{
    qint64 number = 0;
    const Status status = d->write(sql, values, durability, [&number](QSqlQuery& query) {
        number = query.lastInsertId().toLongLong();
        return Status();
    });
    return status.ok() ? Result<qint64>(number) : Result<qint64>(status);
}

Status Database::transaction(const std::function<Status()>& work, Durability durability)
{
    Connection& connection = d->connection;
    if (connection.inTransaction())
        return connection.located(Status::internal(QStringLiteral("a transaction is open already")));
    if (Status status = connection.use(durability); !status.ok())
        return status;
    if (Status status = connection.begin(connection.dialect().beginSql()); !status.ok())
        return status;
    OpenTransaction open(connection);
    Status outcome = work();
    return outcome.ok() ? open.commit() : outcome;
}

Status Database::snapshot(const std::function<Status()>& work)
{
    Connection& connection = d->connection;
    if (connection.inTransaction())
        return connection.located(Status::internal(QStringLiteral("a transaction is open already")));
    if (Status status = connection.begin(connection.dialect().beginReadSql()); !status.ok())
        return status;
    const OpenTransaction open(connection);
    return work();
}

Status Database::changeSchema(const std::function<Status()>& work)
{
    const Dialect::SchemaLock lock = d->connection.dialect().schemaLock();
    if (!lock.takeSql)
        return transaction(work);
    const Connection::Hold hold(d->connection);
    if (Status status = d->takeSchemaLock(lock.takeSql); !status.ok())
        return status;
    Status outcome = work();
    // A lock that cannot be given back ends with the connection.
    const auto ignored = [](const QSqlQuery&) { return true; };
    (void)query(lock.giveBackSql, {}, ignored);
    return outcome;
}

bool Database::changesSchemaInTransactions() const
{
    return d->connection.dialect().schemaLock().takeSql == nullptr;
}

Result<QString> Database::revision()
{
    const char* sql = d->connection.dialect().dataVersionSql();
    if (!sql || d->connection.inTransaction())
        return QString();
    QString others;
    const Status status = query(sql, {}, [&others](const QSqlQuery& row) {
        others = row.value(0).toString();
        return false;
    });
    if (!status.ok())
        return status;
    return QStringLiteral("%1 %2 %3").arg(d->connection.name(), others).arg(d->writes);
}

Result<int> Database::schemaVersion()
{
    int tables = 0;
    Status status = query(d->connection.dialect().versionTableSql(), {}, [&](const QSqlQuery& row) {
        tables = row.value(0).toInt();
        return false;
    });
    if (!status.ok() || tables == 0)
        return status.ok() ? Result<int>(0) : Result<int>(status);
    // Where each step is committed by itself the table is there before its row.
    Result<int> version =
        changesSchemaInTransactions()
            ? Result<int>(Status::corrupt(QStringLiteral("the table schema_version is empty")))
            : Result<int>(0);
    status = query("SELECT version FROM schema_version", {}, [&](const QSqlQuery& row) {
        version = row.value(0).toInt();
        return false;
    });
    return status.ok() ? version : Result<int>(status);
}

Result<QString> Database::engineVersion()
{
    QString version;
    const Status status = query(d->connection.dialect().engineVersionSql(), {}, [&](const QSqlQuery& row) {
        version = row.value(0).toString();
        return false;
    });
    return status.ok() ? Result<QString>(version) : Result<QString>(status);
}

Result<ServiceHealth> Database::health()
{
    const Result<QString> engine = engineVersion();
    if (!engine.ok())
        return engine.status();
    const Result<double> latency =
        fastestAnswerMs([this] { return query("SELECT 1", {}, [](const QSqlQuery&) { return true; }); });
    if (!latency.ok())
        return latency.status();
    ServiceHealth health;
    health.engine = engine.value();
    health.place = place();
    health.latencyMs = latency.value();
    const Status inspected = d->connection.dialect().inspect(d->connection.handle(), health);
    return inspected.ok() ? Result<ServiceHealth>(health) : Result<ServiceHealth>(inspected);
}

const QString& Database::place() const
{
    return d->connection.place();
}

Status Database::checkIntegrity()
{
    const Connection& connection = d->connection;
    return connection.located(connection.dialect().checkIntegrity(connection.handle()));
}

QString rowTime()
{
    return QString::fromLatin1(isoTime(QDateTime::currentDateTimeUtc()));
}

} // namespace KOZAV::Backend
