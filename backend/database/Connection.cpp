#include "backend/database/Connection.h"

#include "backend/Operation.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QStringList>
#include <QUuid>

// A server's connection can be lost at any moment, and with it the answer to what was just sent. What may
// follow depends on what is known of the statement (Dialect::FailureKind):
//
// - The server has not seen it, or refused it because of others' locks: it is sent again, a few times.
// - No answer came: a read is sent again if its connection turned out to be closed at once, as one is that a
//   firewall has cut over night. A write never is: it ends as OutcomeUnknown, and the caller looks for its
//   row.
// - In a transaction or a Hold nothing is repeated. What the session held is gone, and the server has rolled
// the
//   transaction back; it fails as a whole, and its next statements with it.
//
// The driver could reconnect by itself, but would do so in the middle of a transaction and keep its second
// half only. So a new connection is made in one place, refresh(), where the next statement outside a
// transaction begins; it goes through the same checks and settings as the first one, and prepared statements
// and the durability that was set are forgotten with the old one. A connection that was idle is asked for a
// sign of life before.
//
// Durability is a mode of the connection, not of a statement: it is switched only where it changes, so that a
// series of like writes costs no statement more.

namespace KOZAV::Backend {

namespace {

constexpr int attemptsAtMost = 3;

/// A connection that was used within this time is taken to be there still.
constexpr int idleBeforeProbeMs = 1000;

/// A null QString is an empty text to its callers; what is meant as NULL has no type.
QVariant bindable(const QVariant& value)
{
    return value.userType() == QMetaType::QString && value.isNull() ? QVariant(QStringLiteral("")) : value;
}

QVariantList bindable(const QVariantList& values)
{
    QVariantList bound;
    for (const QVariant& value : values)
        bound.append(bindable(value));
    return bound;
}

bool isLoss(Dialect::FailureKind kind)
{
    return kind != Dialect::FailureKind::Definite && kind != Dialect::FailureKind::Contended;
}

QString quoted(const QSqlDriver& driver, const QVariant& value)
{
    QSqlField field(QString(), value.type());
    field.setValue(value);
    return driver.formatValue(field);
}

/// The text of a statement with its values in the places of the question marks, quoted by the driver: what Qt
/// does itself for engines without prepared statements. No literal of the text may hold a question mark.
Result<QString> boundText(const QSqlDriver& driver, const char* sql, const QVariantList& values)
{
    const QString text = QString::fromLatin1(sql);
    const QStringList pieces = text.split(QLatin1Char('?'));
    if (pieces.size() != values.size() + 1)
        return Status::internal(QStringLiteral("%1 values for the %2 places of a statement")
                                    .arg(values.size())
                                    .arg(pieces.size() - 1));
    QString bound = pieces.first();
    for (int i = 0; i < values.size(); ++i)
        bound += quoted(driver, values.at(i)) + pieces.at(i + 1);
    return bound;
}

/// A statement in which the engine runs all of the writes, in one transaction.
Result<QString> compoundText(const QSqlDriver& driver, const Dialect::CompoundParts& parts,
                             const std::vector<RowWrite>& writes)
{
    QString text = QLatin1String(parts.begin);
    for (const RowWrite& write : writes) {
        const auto bound = boundText(driver, write.sql, bindable(write.values));
        if (!bound.ok())
            return bound.status();
        text += bound.value() + QLatin1String(parts.mustHit);
    }
    return text + QLatin1String(parts.end);
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
    if (auto status = m_dialect->configure(m_handle, m_settings); !status.ok())
        return status;
    if (!m_handle.open())
        return m_dialect->failure(m_handle.lastError());
    auto status = m_dialect->checkTransport(m_handle, m_settings);
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
    std::optional<StatementCache::Use> statement;
    const Attempt outcome = settled(purpose, [&] {
        statement.emplace(m_statements, sql);
        Attempt tried = attempt(*statement, sql, values);
        // A new connection is not made before all statements of the old one are put away.
        if (!tried.status.ok())
            statement.reset();
        return tried;
    });
    if (!outcome.status.ok())
        return verdict(outcome, purpose);
    const Hold hold(*this);
    return answer(statement->query());
}

std::optional<Status> Connection::executeAsOne(const std::vector<RowWrite>& writes)
{
    // Which engine it is, is known of a session that has begun: the connection first.
    if (auto ready = refresh(); !ready.ok())
        return located(ready);
    const auto* parts = m_dialect->compoundParts();
    if (parts == nullptr)
        return {};
    const auto text = compoundText(*m_handle.driver(), *parts, writes);
    if (!text.ok())
        return text.status();
    const Attempt outcome = settled(Purpose::Write, [&] { return attemptCompound(text.value()); });
    return outcome.status.ok() ? Status() : verdict(outcome, Purpose::Write);
}

/// Runs once, on a connection that is there as far as can be told, and again while that may help.
Connection::Attempt Connection::settled(Purpose purpose, const std::function<Attempt()>& once)
{
    for (int turn = 1;; ++turn) {
        if (auto ready = refresh(); !ready.ok())
            return {ready, FailureKind::Definite};
        const AnswerWatch watch;
        Attempt outcome = once();
        outcome.atOnce = watch.isAtOnce();
        if (outcome.status.ok() || turn == attemptsAtMost || !mayRepeat(outcome, purpose))
            return outcome;
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
    const auto text = boundText(*m_handle.driver(), sql, bindable(values));
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

Connection::Attempt Connection::attemptCompound(const QString& text)
{
    QSqlQuery statement(m_handle);
    if (statement.exec(text)) {
        m_sinceUse.start();
        return {};
    }
    Attempt refused = failed("several writes", statement.lastError());
    if (!m_lost)
        (void)attemptPlain("ROLLBACK");
    return refused;
}

Connection::Attempt Connection::failed(const char* sql, const QSqlError& error)
{
    constexpr int shown = 60;
    const FailureKind kind = m_dialect->kindOf(error);
    m_lost = m_lost || isLoss(kind);
    return {m_dialect->failure(error).in(QString::fromLatin1(sql).left(shown)), kind};
}

bool Connection::mayRepeat(const Attempt& attempt, Purpose purpose) const
{
    if (m_inTransaction || (m_lost && m_holds > 0))
        return false;
    return attempt.kind == FailureKind::Contended || attempt.kind == FailureKind::LostUnsent ||
           (attempt.kind == FailureKind::LostUnanswered && purpose == Purpose::Read && attempt.atOnce);
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
    auto status = openHandle();
    if (status.ok())
        status = startSession();
    if (!status.ok())
        return status.in(QStringLiteral("the connection was lost and cannot be opened again"));
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
    const Attempt outcome = settled(Purpose::Read, [&] { return attemptPlain(sql); });
    m_inTransaction = outcome.status.ok();
    return located(outcome.status);
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
