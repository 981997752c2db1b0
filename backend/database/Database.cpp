#include "backend/database/Database.h"

#include "backend/database/Dialect.h"
#include "backend/database/StatementCache.h"

#include <QDateTime>
#include <QSqlDatabase>
#include <QSqlError>
#include <QUuid>

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
            return Status(ErrorCode::InvalidArgument,
                          QStringLiteral("a text holds a NUL character or begins with a byte order mark"));
    return {};
}

/// A null QString is an empty text to its callers; what is meant as NULL has no type.
QVariant bindable(const QVariant& value)
{
    return value.userType() == QMetaType::QString && value.isNull() ? QVariant(QStringLiteral("")) : value;
}

} // namespace

struct Database::Private
{
    std::unique_ptr<Dialect> dialect;
    QString location;
    QString connectionName;
    QSqlDatabase connection;
    StatementCache statements;
    std::optional<Durability> durability;
    bool inTransaction = false;
    quint64 writes = 0; ///< tried by this object, with success or not

    Private() = default;
    ~Private();
    Q_DISABLE_COPY(Private)

    class OpenTransaction;

    Status connect(const DatabaseSettings& settings);
    [[nodiscard]] Status failure(const char* sql, const QSqlError& error) const;
    [[nodiscard]] Status located(const Status& status) const;
    Status execute(StatementCache::Use& statement, const char* sql, const QVariantList& values);
    Status executeOnce(const char* sql);
    Status use(Durability wanted);
};

/// Scope of a transaction: rolled back unless committed.
class Database::Private::OpenTransaction final
{
public:
    explicit OpenTransaction(Private& database)
        : m_database(database)
    {
        database.inTransaction = true;
    }
    ~OpenTransaction();
    Q_DISABLE_COPY(OpenTransaction)

    Status commit();

private:
    Private& m_database;
    bool m_committed = false;
};

Database::Private::OpenTransaction::~OpenTransaction()
{
    // After some failures the engine has rolled back by itself; then this one has nothing to do.
    if (!m_committed)
        (void)m_database.executeOnce("ROLLBACK");
    m_database.inTransaction = false;
}

Status Database::Private::OpenTransaction::commit()
{
    Status status = m_database.executeOnce("COMMIT");
    m_committed = status.ok();
    return status;
}

Database::Private::~Private()
{
    statements.clear();
    connection = QSqlDatabase();
    QSqlDatabase::removeDatabase(connectionName);
}

Status Database::Private::connect(const DatabaseSettings& settings)
{
    // A name that was in use would close the connection that has it.
    connectionName = QStringLiteral("kozav-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    connection = QSqlDatabase::addDatabase(settings.driver, connectionName);
    if (Status status = dialect->configure(connection, settings); !status.ok())
        return status;
    if (connection.open())
        return {};
    return Status(dialect->classify(connection.lastError()), connection.lastError().databaseText());
}

Status Database::Private::failure(const char* sql, const QSqlError& error) const
{
    constexpr int shown = 60;
    return located(
        Status(dialect->classify(error),
               QStringLiteral("%1: %2").arg(QString::fromLatin1(sql).left(shown), error.databaseText())));
}

Status Database::Private::located(const Status& status) const
{
    if (status.ok())
        return status;
    return Status(status.code(), QStringLiteral("database %1: %2").arg(location, status.message()));
}

Status Database::Private::execute(StatementCache::Use& statement, const char* sql, const QVariantList& values)
{
    if (Status status = checkValues(values); !status.ok())
        return status;
    if (!statement.prepare(connection))
        return failure(sql, statement.query().lastError());
    for (int i = 0; i < values.size(); ++i)
        statement.query().bindValue(i, bindable(values.at(i)));
    return statement.query().exec() ? Status() : failure(sql, statement.query().lastError());
}

Status Database::Private::executeOnce(const char* sql)
{
    StatementCache::Use statement(statements, sql);
    return execute(statement, sql, {});
}

Status Database::Private::use(Durability wanted)
{
    if (inTransaction || durability == wanted)
        return {};
    if (const char* sql = dialect->durabilitySql(wanted))
        if (Status status = dialect->run(connection, sql); !status.ok())
            return located(status);
    durability = wanted;
    return {};
}

Database::Database()
    : d(std::make_unique<Private>())
{
}

Database::~Database() = default;

Result<std::unique_ptr<Database>> Database::open(const DatabaseSettings& settings)
{
    Result<std::unique_ptr<Dialect>> dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    std::unique_ptr<Database> database(new Database);
    database->d->dialect = std::move(dialect.value());
    database->d->location = database->d->dialect->describe(settings);
    if (Status status = database->start(settings); !status.ok())
        return Status(
            status.code(),
            QStringLiteral("cannot open the database %1: %2").arg(database->d->location, status.message()));
    return database;
}

Status Database::start(const DatabaseSettings& settings)
{
    const Dialect& dialect = *d->dialect;
    if (Status status = dialect.prepare(settings); !status.ok())
        return status;
    if (Status status = d->connect(settings); !status.ok())
        return status;
    if (Status status = dialect.identify(d->connection); !status.ok())
        return status;
    if (Status status = refuseNewerSchema(*this, dialect.migrations()); !status.ok())
        return status;
    if (Status status = dialect.startSession(d->connection, settings); !status.ok())
        return status;
    Status status = migrate(*this, dialect.migrations());
    d->statements.clear();
    return status;
}

Status Database::query(const char* sql, const QVariantList& values, const RowVisitor& visit)
{
    StatementCache::Use statement(d->statements, sql);
    if (Status status = d->execute(statement, sql, values); !status.ok())
        return status;
    while (statement.query().next())
        if (!visit(statement.query()))
            return {};
    const QSqlError error = statement.query().lastError();
    return error.type() == QSqlError::NoError ? Status() : d->failure(sql, error);
}

Result<int> Database::change(const char* sql, const QVariantList& values, Durability durability)
{
    ++d->writes;
    if (Status status = d->use(durability); !status.ok())
        return status;
    StatementCache::Use statement(d->statements, sql);
    if (Status status = d->execute(statement, sql, values); !status.ok())
        return status;
    return statement.query().numRowsAffected();
}

Result<qint64> Database::insert(const char* sql, const QVariantList& values, Durability durability)
{
    ++d->writes;
    if (Status status = d->use(durability); !status.ok())
        return status;
    StatementCache::Use statement(d->statements, sql);
    if (Status status = d->execute(statement, sql, values); !status.ok())
        return status;
    return statement.query().lastInsertId().toLongLong();
}

Status Database::transaction(const std::function<Status()>& work, Durability durability)
{
    if (d->inTransaction)
        return d->located(Status(ErrorCode::Internal, QStringLiteral("a transaction is open already")));
    if (Status status = d->use(durability); !status.ok())
        return status;
    if (Status status = d->executeOnce(d->dialect->beginSql()); !status.ok())
        return status;
    Private::OpenTransaction open(*d);
    Status outcome = work();
    return outcome.ok() ? open.commit() : outcome;
}

Result<QString> Database::revision()
{
    const char* sql = d->dialect->dataVersionSql();
    if (!sql || d->inTransaction)
        return QString();
    QString others;
    const Status status = query(sql, {}, [&others](const QSqlQuery& row) {
        others = row.value(0).toString();
        return false;
    });
    if (!status.ok())
        return status;
    return QStringLiteral("%1 %2 %3").arg(d->connectionName, others).arg(d->writes);
}

Result<int> Database::schemaVersion()
{
    int tables = 0;
    Status status = query(d->dialect->versionTableSql(), {}, [&](const QSqlQuery& row) {
        tables = row.value(0).toInt();
        return false;
    });
    if (!status.ok() || tables == 0)
        return status.ok() ? Result<int>(0) : Result<int>(status);
    Result<int> version(Status(ErrorCode::Corrupt, QStringLiteral("the table schema_version is empty")));
    status = query("SELECT version FROM schema_version", {}, [&](const QSqlQuery& row) {
        version = row.value(0).toInt();
        return false;
    });
    return status.ok() ? version : Result<int>(status);
}

Result<QString> Database::engineVersion()
{
    QString version;
    const Status status = query(d->dialect->engineVersionSql(), {}, [&](const QSqlQuery& row) {
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
    health.place = d->location;
    health.latencyMs = latency.value();
    return health;
}

const QString& Database::place() const
{
    return d->location;
}

Status Database::checkIntegrity()
{
    return d->located(d->dialect->checkIntegrity(d->connection));
}

QString rowTime()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

} // namespace KOZAV::Backend
