#include "backend/database/Database.h"

#include "backend/Guarded.h"
#include "backend/Text.h"
#include "backend/database/Connection.h"
#include "backend/database/Dialect.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QThread>
#include <QUuid>

#include <chrono>

// Rows go in and out over one Connection, which knows nothing of them; its Dialect has all in which engines
// differ. What a caller is promised is kept here: texts that an engine would not keep as they are do not get
// to it, a transaction is rolled back by whatever leaves its scope, and every failure says where the rows
// lie.
//
// open() goes from what changes nothing to what does, so that a database of another program or of a newer one
// is left as it was: the settings, the connection, the mark of this system, the schema's version, and only
// then the session's modes, the look for damage, and the missing steps of the schema. Where the engine undoes
// changes of tables, these run in one transaction. MariaDB commits each by itself: programs that start at
// once take turns by a lock of the server, and the steps are written so that one that was interrupted can run
// again.

namespace KOZAV::Backend {

namespace {

/// A text that no engine would keep as it is: it would be cut at a NUL, or lose a mark at its beginning.
bool keepsItsCharacters(const QString& text)
{
    if (text.contains(QChar(QChar::Null)))
        return false;
    return !text.startsWith(QChar(QChar::ByteOrderMark)) && !text.startsWith(QChar(QChar::ByteOrderSwapped));
}

/// What is damaged is best not written to again before somebody has looked.
Status withAdvice(const Status& failure)
{
    if (failure.code() != ErrorCode::Corrupt)
        return failure;
    return failure.retold(
        QStringLiteral("it is damaged (%1); leave it as it is: \"zav_admin check\" tells what "
                       "is damaged, \"zav_admin restore\" brings a backup back")
            .arg(failure.message()));
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
    bool closedToWrites = false;
    std::function<Status(Occasion)> first;
    bool firstRuns = false;

    Status goFirst(Occasion occasion = Occasion::Statement);
    Status readyToWrite(Durability durability);
    Status write(const char* sql, const QVariantList& values, Durability durability,
                 const Connection::Answer& answer);
    Status takeSchemaLock(Database& database, const char* takeSql);
};

/// To be called before anything is asked of the connection.
Status Database::Private::goFirst(Occasion occasion)
{
    if (!first || firstRuns)
        return {};
    firstRuns = true;
    auto gone = guarded([&] { return first(occasion); });
    firstRuns = false;
    return gone;
}

Status Database::Private::readyToWrite(Durability durability)
{
    if (closedToWrites)
        return connection.located(Status::configuration(QStringLiteral(
            "the site is a backup, in which nothing is changed; \"zav_admin restore\" makes a site of it")));
    if (auto status = goFirst(); !status.ok())
        return status;
    ++writes;
    return connection.use(durability);
}

Status Database::Private::write(const char* sql, const QVariantList& values, Durability durability,
                                const Connection::Answer& answer)
{
    if (auto status = readyToWrite(durability); !status.ok())
        return status;
    if (auto status = checkValues(values); !status.ok())
        return status;
    return connection.execute(sql, values, Connection::Purpose::Write, answer);
}

/// Asks again and again instead of waiting in the server: a wait there could outlast the wait for its answer.
Status Database::Private::takeSchemaLock(Database& database, const char* takeSql)
{
    constexpr int pauseMs = 20;
    const QDeadlineTimer deadline(std::chrono::seconds(connection.settings().readTimeoutSeconds));
    for (;;) {
        const auto taken = database.value(takeSql);
        if (!taken.ok() || taken->toInt() == 1)
            return taken.status();
        if (deadline.hasExpired())
            return connection.located(Status::unavailable(
                QStringLiteral("another program is changing the tables and does not come to an end")));
        QThread::msleep(pauseMs);
    }
}

Database::Database(std::unique_ptr<Dialect> dialect, const DatabaseSettings& settings)
    : d(std::make_unique<Private>(std::move(dialect), settings))
{
}

Database::~Database()
{
    (void)d->goFirst(Occasion::End);
}

Result<std::unique_ptr<Database>> Database::open(const DatabaseSettings& settings)
{
    return begin(settings, MissingDatabase::Refused);
}

Result<std::unique_ptr<Database>> Database::create(const DatabaseSettings& settings)
{
    const auto made = createOnServer(settings);
    return made.ok() ? begin(settings, MissingDatabase::Made) : made.status();
}

Result<std::unique_ptr<Database>> Database::begin(const DatabaseSettings& settings, MissingDatabase missing)
{
    auto dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    std::unique_ptr<Database> database(new Database(std::move(dialect.value()), settings));
    if (const auto started = database->start(missing); !started.ok())
        return withAdvice(started).in(QStringLiteral("cannot open the database %1").arg(database->place()));
    database->d->closedToWrites = settings.readOnly;
    return database;
}

Result<bool> Database::createOnServer(const DatabaseSettings& settings)
{
    auto dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    const Dialect& engine = *dialect.value();
    const QString name = QStringLiteral("kozav-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    const auto work = [&]() -> Result<bool> {
        QSqlDatabase connection = QSqlDatabase::addDatabase(settings.driver, name);
        for (const auto& step :
             {engine.prepare(settings, MissingDatabase::Made), engine.configure(connection, settings)})
            if (!step.ok())
                return step;
        return engine.createDatabase(connection, settings);
    };
    auto made = work();
    QSqlDatabase::removeDatabase(name);
    if (made.ok())
        return made;
    return made.status().in(QStringLiteral("cannot make the database %1").arg(engine.describe(settings)));
}

/// What changes nothing of a database that is there.
Status Database::reach(MissingDatabase missing)
{
    Connection& connection = d->connection;
    const Dialect& dialect = connection.dialect();
    if (auto status = dialect.prepare(connection.settings(), missing); !status.ok())
        return status;
    if (auto status = connection.open(); !status.ok())
        return status;
    if (auto status = dialect.identify(connection.handle()); !status.ok())
        return status;
    return checkSchemaVersion(*this, dialect.migrations(), missing);
}

Status Database::start(MissingDatabase missing)
{
    Connection& connection = d->connection;
    const Dialect& dialect = connection.dialect();
    if (auto status = reach(missing); !status.ok())
        return status;
    if (auto status = connection.startSession(); !status.ok())
        return status;
    if (auto status = dialect.checkOpened(connection.handle()); !status.ok())
        return status;
    auto status = migrate(*this, dialect.migrations());
    connection.forgetStatements();
    return status;
}

Status Database::query(const char* sql, const QVariantList& values, const RowVisitor& visit)
{
    if (auto status = d->goFirst(); !status.ok())
        return status;
    if (auto status = checkValues(values); !status.ok())
        return status;
    return d->connection.execute(sql, values, Connection::Purpose::Read, [&](QSqlQuery& query) {
        while (query.next())
            if (!visit(query))
                return Status();
        const QSqlError error = query.lastError();
        if (error.type() == QSqlError::NoError)
            return Status();
        return d->connection.located(d->connection.dialect().failure(error));
    });
}

Result<QVariant> Database::value(const char* sql, const QVariantList& values)
{
    QVariant first;
    const auto status = query(sql, values, [&first](const QSqlQuery& row) {
        first = row.value(0);
        return false;
    });
    return status.ok() ? Result(first) : status;
}

Result<int> Database::change(const char* sql, const QVariantList& values, Durability durability)
{
    int changed = 0;
    const auto status = d->write(sql, values, durability, [&changed](QSqlQuery& query) {
        changed = query.numRowsAffected();
        return Status();
    });
    return status.ok() ? Result(changed) : status;
}

Result<qint64> Database::insert(const char* sql, const QVariantList& values, Durability durability)
{
    qint64 number = 0;
    const auto status = d->write(sql, values, durability, [&number](QSqlQuery& query) {
        number = query.lastInsertId().toLongLong();
        return Status();
    });
    return status.ok() ? Result(number) : status;
}

TogetherOutcome Database::changeTogether(const std::vector<RowWrite>& writes, Durability durability)
{
    TogetherOutcome outcome{d->readyToWrite(durability), writes.size()};
    for (const RowWrite& write : writes)
        if (outcome.status.ok())
            outcome.status = checkValues(write.values);
    if (!outcome.status.ok())
        return outcome;
    if (const auto atOnce = d->connection.executeAsOne(writes)) {
        outcome.status = *atOnce;
        if (atOnce->ok() || atOnce->code() == ErrorCode::OutcomeUnknown ||
            atOnce->code() == ErrorCode::Unavailable)
            return outcome;
    }
    // One after the other, also to know which one is refused, and why.
    outcome.status = transaction(
        [&]() -> Status {
            for (std::size_t i = 0; i < writes.size(); ++i) {
                const auto changed = change(writes[i].sql, writes[i].values, durability);
                if (changed.ok() && changed.value() > 0)
                    continue;
                outcome.failedAt = i;
                return changed.ok() ? Status::notFound(QStringLiteral("there is no such row"))
                                    : changed.status();
            }
            return {};
        },
        durability);
    return outcome;
}

Status Database::checkValues(const QVariantList& values)
{
    for (const QVariant& value : values)
        if (value.userType() == QMetaType::QString && !keepsItsCharacters(value.toString()))
            return Status::invalidArgument(
                QStringLiteral("a text holds a NUL character or begins with a byte order mark"));
    return {};
}

void Database::runFirst(std::function<Status(Occasion occasion)> work)
{
    d->first = std::move(work);
}

Status Database::transaction(const std::function<Status()>& work, Durability durability)
{
    if (auto status = d->goFirst(); !status.ok())
        return status;
    Connection& connection = d->connection;
    if (connection.inTransaction())
        return connection.located(Status::internal(QStringLiteral("a transaction is open already")));
    if (auto status = connection.use(durability); !status.ok())
        return status;
    if (auto status = connection.begin(connection.dialect().beginSql()); !status.ok())
        return status;
    OpenTransaction open(connection);
    auto outcome = work();
    return outcome.ok() ? open.commit() : outcome;
}

Status Database::snapshot(const std::function<Status()>& work)
{
    if (auto status = d->goFirst(); !status.ok())
        return status;
    Connection& connection = d->connection;
    if (connection.inTransaction())
        return connection.located(Status::internal(QStringLiteral("a transaction is open already")));
    if (auto status = connection.begin(connection.dialect().beginReadSql()); !status.ok())
        return status;
    const OpenTransaction open(connection);
    return work();
}

Status Database::changeSchema(const std::function<Status()>& work)
{
    if (auto status = d->goFirst(); !status.ok())
        return status;
    const Dialect::SchemaLock lock = d->connection.dialect().schemaLock();
    if (!lock.takeSql)
        return transaction(work);
    const Connection::Hold hold(d->connection);
    if (auto status = d->takeSchemaLock(*this, lock.takeSql); !status.ok())
        return status;
    auto outcome = work();
    // A lock that cannot be given back ends with the connection.
    (void)value(lock.giveBackSql);
    return outcome;
}

bool Database::isOnlyToRead() const
{
    return d->connection.settings().onlyToRead;
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
    const auto others = value(sql);
    if (!others.ok())
        return others.status();
    return QStringLiteral("%1 %2 %3").arg(d->connection.name(), others->toString()).arg(d->writes);
}

const Dialect& Database::dialect() const
{
    return d->connection.dialect();
}

Result<int> Database::schemaVersion()
{
    const auto tables = value(d->connection.dialect().versionTableSql());
    if (!tables.ok() || tables->toInt() == 0)
        return tables.ok() ? Result(0) : tables.status();
    const auto version = value("SELECT version FROM schema_version");
    if (!version.ok())
        return version.status();
    // Where each step is committed by itself the table is there before its row.
    if (!version->isValid() && changesSchemaInTransactions())
        return Status::corrupt(QStringLiteral("the table schema_version is empty"));
    return version->toInt();
}

Result<QString> Database::readThroughTime()
{
    const auto time = value("SELECT checked_time FROM site WHERE id = 1");
    return time.ok() ? Result(time->toString()) : time.status();
}

Result<QString> Database::engineVersion()
{
    const auto version = value(d->connection.dialect().engineVersionSql());
    return version.ok() ? Result(version->toString()) : version.status();
}

Result<ServiceHealth> Database::health()
{
    const auto engine = engineVersion();
    if (!engine.ok())
        return engine.status();
    const auto latency = fastestAnswerMs([this] { return value("SELECT 1").status(); });
    if (!latency.ok())
        return latency.status();
    ServiceHealth health;
    health.engine = engine.value();
    health.place = place();
    health.latencyMs = latency.value();
    const auto inspected = d->connection.dialect().inspect(d->connection.handle(), health);
    return inspected.ok() ? Result(health) : inspected;
}

Result<ServiceHealth> Database::probe(const DatabaseSettings& settings)
{
    auto dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    Database database(std::move(dialect.value()), settings);
    const auto reached = database.reach(MissingDatabase::Refused);
    return reached.ok() ? database.health() : database.d->connection.located(reached);
}

const QString& Database::place() const
{
    return d->connection.place();
}

Result<DatabaseFlaws> Database::examine(const ExaminationOptions& options) const
{
    return examine(d->connection.settings(), options);
}

QString rowTime()
{
    return QString::fromLatin1(isoTime(QDateTime::currentDateTimeUtc()));
}

} // namespace KOZAV::Backend
