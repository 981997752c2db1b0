#include "backend/database/Connection.h"

#include "backend/Operation.h"
#include "backend/database/BoundText.h"

#include <QDeadlineTimer>
#include <QSqlError>
#include <QUuid>

namespace KOZAV::Backend {

namespace {

constexpr int attemptsAtMost = 3;

/// A connection that was used within this time is taken to be there still.
constexpr int idleBeforeProbeMs = 1000;

/// A connection that was closed shows it within this; what takes longer is a server that does not answer, and
/// asking it again would keep the caller as long once more.
constexpr int closedAtOnceMs = 900;

/// A null QString is an empty text to its callers; what is meant as NULL has no type.
QVariant bindable(const QVariant& value)
{
    return value.userType() == QMetaType::QString && value.isNull() ? QVariant(QStringLiteral("")) : value;
}

bool isLoss(Dialect::FailureKind kind)
{
    return kind != Dialect::FailureKind::Definite && kind != Dialect::FailureKind::Contended;
}

} // namespace

Connection::Connection(std::unique_ptr<Dialect> dialect, const DatabaseSettings& settings)
    : m_dialect(std::move(dialect))
    , m_settings(settings)
    , m_place(m_dialect->describe(settings))
    // A name that was in use would close the connection that has it.
    , m_name(QStringLiteral("kozav-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
}

Connection::~Connection()
{
    m_statements.clear();
    m_handle = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_name);
}

Status Connection::open()
{
    m_handle = QSqlDatabase::addDatabase(m_settings.driver, m_name);
    return openHandle();
}

Status Connection::openHandle()
{
    if (Status status = m_dialect->configure(m_handle, m_settings); !status.ok())
        return status;
    if (!m_handle.open())
        return Status(m_dialect->classify(m_handle.lastError()), m_handle.lastError().databaseText());
    Status status = m_dialect->checkTransport(m_handle, m_settings);
    if (!status.ok())
        m_handle.close();
    return status;
}

Status Connection::startSession()
{
    return m_dialect->startSession(m_handle, m_settings);
}

Status Connection::execute(const char* sql, const QVariantList& values, Purpose purpose, const Answer& answer)
{
    for (int turn = 1;; ++turn) {
        if (Status ready = refresh(); !ready.ok())
            return located(ready);
        StatementCache::Use statement(m_statements, sql);
        const QDeadlineTimer quick(closedAtOnceMs);
        Attempt outcome = attempt(statement, sql, values);
        outcome.quick = !quick.hasExpired();
        if (outcome.status.ok()) {
            const Hold hold(*this);
            return answer(statement.query());
        }
        if (turn == attemptsAtMost || !mayRepeat(outcome, purpose))
            return verdict(outcome, purpose);
    }
}

Connection::Attempt Connection::attempt(StatementCache::Use& statement, const char* sql,
                                        const QVariantList& values)
{
    if (m_dialect->writesValuesIntoText())
        return attemptText(statement, sql, values);
    if (!statement.prepare(m_handle)) {
        Attempt unprepared = failed(sql, statement.query().lastError());
        if (unprepared.kind == FailureKind::LostUnanswered)
            unprepared.kind = FailureKind::LostUnsent; // the text has been sent, not the order to run it
        return unprepared;
    }
    for (int i = 0; i < values.size(); ++i)
        statement.query().bindValue(i, bindable(values.at(i)));
    if (!statement.query().exec())
        return failed(sql, statement.query().lastError());
    m_sinceUse.start();
    return {};
}

Connection::Attempt Connection::attemptText(StatementCache::Use& statement, const char* sql,
                                            const QVariantList& values)
{
    QVariantList bound;
    for (const QVariant& value : values)
        bound.append(bindable(value));
    const Result<QString> text = boundText(*m_handle.driver(), sql, bound);
    if (!text.ok())
        return {text.status(), FailureKind::Definite};
    if (!statement.runText(m_handle, text.value()))
        return failed(sql, statement.query().lastError());
    m_sinceUse.start();
    return {};
}

Connection::Attempt Connection::attemptPlain(const char* sql)
{
    QSqlQuery statement(m_handle);
    if (!statement.exec(QString::fromLatin1(sql)))
        return failed(sql, statement.lastError());
    m_sinceUse.start();
    return {};
}

Connection::Attempt Connection::failed(const char* sql, const QSqlError& error)
{
    constexpr int shown = 60;
    const FailureKind kind = m_dialect->kindOf(error);
    m_lost = m_lost || isLoss(kind);
    return {Status(m_dialect->classify(error),
                   QStringLiteral("%1: %2").arg(QString::fromLatin1(sql).left(shown), error.databaseText())),
            kind};
}

bool Connection::mayRepeat(const Attempt& attempt, Purpose purpose) const
{
    if (m_inTransaction || (m_lost && m_holds > 0))
        return false;
    return attempt.kind == FailureKind::Contended || attempt.kind == FailureKind::LostUnsent ||
           (attempt.kind == FailureKind::LostUnanswered && purpose == Purpose::Read && attempt.quick);
}

Status Connection::verdict(const Attempt& attempt, Purpose purpose) const
{
    // What was written in a transaction is undone by the server when it loses the connection.
    if (attempt.kind != FailureKind::LostUnanswered || purpose == Purpose::Read || m_inTransaction)
        return located(attempt.status);
    return located(Status::outcomeUnknown(
        QStringLiteral("%1; the connection was lost before the answer, so it is not known "
                       "whether this was carried out")
            .arg(attempt.status.message())));
}

Status Connection::located(const Status& status) const
{
    if (status.ok())
        return status;
    return status.in(QStringLiteral("database %1").arg(m_place));
}

bool Connection::isDoubtful() const
{
    return m_dialect->idleProbeSql() && m_sinceUse.isValid() && m_sinceUse.hasExpired(idleBeforeProbeMs);
}

bool Connection::isAlive()
{
    return attemptPlain(m_dialect->idleProbeSql()).status.ok();
}

Status Connection::refresh()
{
    if (m_inTransaction || m_holds > 0) {
        if (!m_lost)
            return {};
        return Status::unavailable(QStringLiteral("the connection was lost"));
    }
    if (!m_lost && (!isDoubtful() || isAlive()))
        return {};
    return m_pause.run([this] { return reopen(); });
}

Status Connection::reopen()
{
    m_lost = true;
    m_statements.clear();
    m_handle.close();
    m_durability.reset();
    Status status = openHandle();
    if (status.ok())
        status = startSession();
    if (!status.ok())
        return Status(
            status.code(),
            QStringLiteral("the connection was lost and cannot be opened again: %1").arg(status.message()));
    qCInfo(logDatabase).noquote()
        << QStringLiteral("database %1: the connection was lost and has been opened again").arg(m_place);
    m_lost = false;
    m_sinceUse.start();
    return status;
}

Status Connection::use(Durability wanted)
{
    if (m_inTransaction || m_durability == wanted)
        return {};
    if (const char* sql = m_dialect->durabilitySql(wanted))
        if (Attempt outcome = attemptPlain(sql); !outcome.status.ok())
            return located(outcome.status);
    m_durability = wanted;
    return {};
}

Status Connection::begin(const char* sql)
{
    for (int turn = 1;; ++turn) {
        if (Status ready = refresh(); !ready.ok())
            return located(ready);
        const QDeadlineTimer quick(closedAtOnceMs);
        Attempt outcome = attemptPlain(sql);
        outcome.quick = !quick.hasExpired();
        m_inTransaction = outcome.status.ok();
        if (m_inTransaction || turn == attemptsAtMost || !mayRepeat(outcome, Purpose::Read))
            return located(outcome.status);
    }
}

Status Connection::commit()
{
    const Attempt outcome = attemptPlain("COMMIT");
    if (!outcome.status.ok() && !m_lost)
        rollback();
    m_inTransaction = false;
    return outcome.status.ok() ? Status() : verdict(outcome, Purpose::Write);
}

void Connection::rollback()
{
    // After some failures the engine has rolled back by itself; then this one has nothing to do.
    if (!m_lost)
        (void)attemptPlain("ROLLBACK");
    m_inTransaction = false;
}

} // namespace KOZAV::Backend
