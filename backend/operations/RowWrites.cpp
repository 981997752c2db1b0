#include "backend/operations/RowWrites.h"

#include "backend/Text.h"
#include "backend/operations/SiteWork.h"

#include <QUuid>

// How the operations write rows, so that a connection lost before the answer leaves no doubt wherever
// somebody can still be asked. An insert carries a key of its own: the key finds the row if it arrived, and
// keeps a second try from making another. An update sets values that do not depend on the row: made twice it
// is the same.

namespace KOZAV::Backend {

namespace {

const std::string byteOrderMark = "\xef\xbb\xbf";

Result<bool> isThere(Database& database, const KeyedRow& row)
{
    const auto found = database.value(row.findSql, {row.key});
    return found.ok() ? Result(found->isValid()) : found.status();
}

/// @param isRepeated  whether an insert of the row was tried before, without an answer
Status insertSettled(Database& database, const KeyedRow& row, const QVariantList& values,
                     Durability durability, bool isRepeated)
{
    if (isRepeated) {
        const auto arrived = isThere(database, row);
        if (!arrived.ok() || arrived.value())
            return arrived.status();
    }
    const auto insert = [&] { return database.insert(row.insertSql, values, durability).status(); };
    auto first = insert();
    if (first.code() != ErrorCode::OutcomeUnknown)
        return first;
    const auto arrived = isThere(database, row);
    if (!arrived.ok())
        return first;
    if (arrived.value())
        return {};
    auto second = insert();
    if (second.code() != ErrorCode::AlreadyExists)
        return second;
    // The first one may have been carried out after the question.
    const auto late = isThere(database, row);
    return late.ok() && late.value() ? Status() : second;
}

/// Has hold keep a write back, without a question to the server.
template <typename Hold>
Status whileTheyWait(Operation& call, const RowValues& values, const Hold& hold)
{
    if (!values.status().ok())
        return values.status();
    return patiently(call, [&]() -> Status {
        const auto database = Site::current().database();
        if (!database.ok())
            return ofOpening(database.status(), SitePart::Rows);
        hold(*database.value(), ImportRoad::ofThisThread().heldRows());
        return {};
    });
}

} // namespace

RowValues& RowValues::text(const char* what, const std::string& utf8)
{
    // Qt takes a byte order mark away, so that the text would not come back as it was given.
    const bool isMarked = utf8.compare(0, byteOrderMark.size(), byteOrderMark) == 0;
    if (m_status.ok() && (isMarked || !isValidUtf8(utf8)))
        m_status = Status::invalidArgument(
            QStringLiteral("the %1 is not UTF-8 text, or begins with a byte order mark")
                .arg(QLatin1String(what)));
    return text(QString::fromStdString(utf8));
}

RowValues& RowValues::text(const QString& value)
{
    m_values.append(value);
    return *this;
}

RowValues& RowValues::number(int value)
{
    m_values.append(value);
    return *this;
}

RowValues& RowValues::time()
{
    return text(rowTime());
}

RowValues& RowValues::content(const std::optional<ContentDigest>& content)
{
    m_values << (content ? QVariant(content->length) : QVariant())
             << (content ? QVariant(QString::fromLatin1(content->sha256)) : QVariant());
    return *this;
}

Status insertRow(Operation& call, const KeyedRow& row, const RowValues& values, Durability durability)
{
    if (!values.status().ok())
        return values.status();
    return withRows(call, [&](Database& database) {
        auto added = insertSettled(database, row, values.list(), durability, call.isRepeated);
        if (added.code() == ErrorCode::NotFound && row.noReference)
            return added.in(QLatin1String(row.noReference));
        return added;
    });
}

Status insertLastRow(Operation& call, const KeyedRow& row, const RowValues& values)
{
    if (!values.status().ok())
        return values.status();
    return withRows(call, [&](Database& database) {
        HeldRows& held = ImportRoad::ofThisThread().heldRows();
        return held.sendWith(database, row, values.list(), call.isRepeated);
    });
}

Status holdRow(Operation& call, const KeyedRow& row, const RowValues& values)
{
    return whileTheyWait(
        call, values, [&](Database& database, HeldRows& held) { held.hold(database, row, values.list()); });
}

Status holdFlowChange(Operation& call, const char* sql, const RowValues& values)
{
    return whileTheyWait(
        call, values, [&](Database& database, HeldRows& held) { held.hold(database, sql, values.list()); });
}

void sendHeldRows()
{
    ImportRoad& road = ImportRoad::ofThisThread();
    if (!road.holdsRows())
        return;
    (void)guarded([&road] {
        const auto database = Site::current().database();
        road.heldRows().end(database.ok() ? database.value() : nullptr);
        return Status();
    });
}

Result<StoredFile> requireStoredFile(Operation& call, const std::string& storedName,
                                     const std::optional<std::string>& fileStore)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    StoreLocation place = storeLocation(settings->documentStore);
    place.fileStore = fileStore.value_or(place.fileStore);
    if (const StoredFile* known = ImportRoad::ofThisThread().justStored(place, storedName))
        return *known;
    StoredFile file;
    auto status = withFiles(call, [&](DocumentStore& store, StoreLocation location) {
        location.fileStore = fileStore.value_or(location.fileStore);
        auto found = store.find(location, storedName);
        if (found.ok())
            file = std::move(found.value());
        return found.status().in(QStringLiteral("no row is written for the stored file \"%1\"")
                                     .arg(QString::fromStdString(storedName)));
    });
    return status.ok() ? Result(std::move(file)) : status;
}

std::optional<ContentDigest> contentOf(const StoredFile& file)
{
    if (file.sha256.isEmpty())
        return std::nullopt;
    return ContentDigest{file.length, file.sha256};
}

Status changeFlow(Operation& call, const char* sql, RowValues values, const std::string& flowGuid,
                  Durability durability)
{
    if (flowGuid.empty())
        return Status::invalidArgument(QStringLiteral("the flow key is empty"));
    values.text("flow key", flowGuid);
    if (!values.status().ok())
        return values.status();
    return withRows(call, [&](Database& database) {
        auto changed = database.change(sql, values.list(), durability);
        // The same values again: whether the first write was carried out makes no difference then.
        if (changed.code() == ErrorCode::OutcomeUnknown)
            changed = database.change(sql, values.list(), durability);
        if (changed.ok() && changed.value() == 0)
            return Status::notFound(QStringLiteral("there is no job flow with that key"));
        if (changed.code() == ErrorCode::NotFound)
            return changed.status().in(QStringLiteral("the original file does not exist"));
        return changed.status();
    });
}

QString newGuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

} // namespace KOZAV::Backend
