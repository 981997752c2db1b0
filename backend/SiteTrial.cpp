#include "backend/SiteTrial.h"

#include "backend/store/DocumentStore.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUuid>

#include <algorithm>

namespace KOZAV::Backend {

namespace {

/// More than the piece that GridFS parts files into.
constexpr int contentBytes = 300'000;

Status writeContent(const QString& path, char filling)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(QByteArray(contentBytes, filling)) == contentBytes &&
        file.flush())
        return {};
    return Status::io(QStringLiteral("cannot write \"%1\": %2").arg(path, file.errorString()));
}

/// One trial file and what is done with it.
class StoreTrial final
{
public:
    StoreTrial(DocumentStore& store, const StoreLocation& location)
        : m_store(store)
        , m_location(location)
        , m_name("trial-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString())
    {
    }
    ~StoreTrial()
    {
        if (m_isStored)
            (void)m_store.remove(m_location, m_name);
    }
    Q_DISABLE_COPY(StoreTrial)

    Status run();

private:
    Status write();
    Status read();
    Status refuse();
    Status remove();

    [[nodiscard]] std::string local(const char* name) const
    {
        return QFile::encodeName(m_folder.filePath(QLatin1String(name))).toStdString();
    }

    DocumentStore& m_store;
    const StoreLocation& m_location;
    std::string m_name;
    QTemporaryDir m_folder;
    bool m_isStored = false;
};

Status StoreTrial::write()
{
    m_isStored = true; // Where its answer is lost, it may be.
    return m_store.put(m_location, m_name, local("first")).status();
}

Status StoreTrial::read()
{
    if (auto found = m_store.find(m_location, m_name); !found.ok())
        return found.status();
    if (auto fetched = m_store.get(m_location, m_name, local("fetched")); !fetched.ok())
        return fetched;
    QFile file(m_folder.filePath(QStringLiteral("fetched")));
    const bool same = file.open(QIODevice::ReadOnly) && file.readAll() == QByteArray(contentBytes, 'a');
    return same ? Status() : Status::corrupt(QStringLiteral("what was fetched is not what was stored"));
}

Status StoreTrial::refuse()
{
    const auto other = m_store.put(m_location, m_name, local("second"));
    if (other.code() == ErrorCode::AlreadyExists)
        return {};
    return other.ok() ? Status::corrupt(QStringLiteral("a name was given other content")) : other.status();
}

Status StoreTrial::remove()
{
    if (auto removed = m_store.remove(m_location, m_name); !removed.ok())
        return removed;
    m_isStored = false;
    const auto found = m_store.find(m_location, m_name);
    if (found.code() == ErrorCode::NotFound)
        return {};
    return found.ok() ? Status::corrupt(QStringLiteral("it is still there")) : found.status();
}

Status StoreTrial::run()
{
    for (const Status& made : {writeContent(m_folder.filePath(QStringLiteral("first")), 'a'),
                               writeContent(m_folder.filePath(QStringLiteral("second")), 'b')})
        if (!made.ok())
            return made;
    struct Step
    {
        const char* task;
        Status (StoreTrial::*run)();
    };
    constexpr Step steps[] = {{"writing a file", &StoreTrial::write},
                              {"reading it", &StoreTrial::read},
                              {"keeping its name for it", &StoreTrial::refuse},
                              {"removing it", &StoreTrial::remove}};
    for (const Step& step : steps)
        if (const auto done = (this->*step.run)(); !done.ok())
            return done.in(
                QStringLiteral("the document store fails a trial, %1").arg(QLatin1String(step.task)));
    return {};
}

/// What a listing does not show of a new location: an index that is missing, although it was asked for.
Status checkIndexes(DocumentStore& store, const StoreLocation& location)
{
    const auto flaws = store.survey(location);
    if (!flaws.ok())
        return flaws.status();
    const auto isIndex = [](const StoreFlaw& flaw) { return flaw.kind == StoreFlaw::Kind::IndexMissing; };
    const auto found = std::find_if(flaws->cbegin(), flaws->cend(), isIndex);
    return found == flaws->cend()
               ? Status()
               : Status::configuration(
                     QStringLiteral("the document store fails a trial: %1").arg(found->text));
}

} // namespace

Status tryStore(DocumentStore& store, const StoreLocation& location)
{
    return StoreTrial(store, location).run();
}

Status tryNewStore(DocumentStore& store, const StoreLocation& location)
{
    auto tried = tryStore(store, location);
    return tried.ok() ? checkIndexes(store, location) : tried;
}

} // namespace KOZAV::Backend
