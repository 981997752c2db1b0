// The state names one place: every file before it is read. A file may have come in behind the reading's back
// since, under a name before the place; so only files that were stored before the reading began are passed
// over. Those that were not good are kept by name and read again, so that going on reports them too.
//
// The lock is a file beside the state, which itself is replaced as a whole with each writing.

#include "backend/check/ReadingState.h"

#include "backend/Text.h"
#include "backend/io/File.h"
#include "backend/io/PrivateFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr qint64 longestState = 16 << 20;
constexpr qint64 staleAfterDays = 7;
constexpr qint64 secondsBetweenSaves = 2;
constexpr int formatVersion = 1;

/// Names are bytes; JSON holds texts.
QJsonObject placeJson(const ReadingPlace& place)
{
    return {{QStringLiteral("name"), QString::fromLatin1(QByteArray::fromStdString(place.name).toBase64())},
            {QStringLiteral("file_store"), QString::fromStdString(place.fileStore)}};
}

ReadingPlace placeOf(const QJsonObject& json)
{
    const QByteArray name = QByteArray::fromBase64(json[QStringLiteral("name")].toString().toLatin1());
    return {name.toStdString(), json[QStringLiteral("file_store")].toString().toStdString()};
}

QDateTime timeOf(const QJsonObject& json, const char* key)
{
    return QDateTime::fromString(json[QLatin1String(key)].toString(), Qt::ISODateWithMs);
}

std::string native(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

} // namespace

ReadingState::ReadingState(QString path, QString site, FileLock lock)
    : m_path(std::move(path))
    , m_site(std::move(site))
    , m_lock(std::move(lock))
{
}

Result<std::unique_ptr<ReadingState>> ReadingState::open(const QString& downloadCache, const QString& site,
                                                         bool goOn)
{
    if (const auto made = makePrivateFolder(downloadCache); !made.ok())
        return made.status();
    const QString path = downloadCache + QStringLiteral("check-state");
    auto lock = FileLock::tryAcquire(native(path + QStringLiteral(".lock")));
    if (!lock.ok())
        return lock.status();
    if (!lock.value())
        return Status::unavailable(
            QStringLiteral("another check reads the stored files: it keeps the file \"%1\"").arg(path));
    std::unique_ptr<ReadingState> state(new ReadingState(path, site, std::move(*lock.value())));
    if (goOn)
        state->load();
    if (!state->m_before)
        (void)removeFile(native(path));
    return state;
}

ReadingState::~ReadingState()
{
    if (!m_finished && !m_place.name.empty())
        save();
}

void ReadingState::load()
{
    const auto text = readSmallFile(native(m_path), longestState);
    if (!text.ok())
        return;
    const QJsonObject json = QJsonDocument::fromJson(QByteArray::fromStdString(text.value())).object();
    const QDateTime begun = timeOf(json, "begun");
    const QDateTime saved = timeOf(json, "saved");
    const bool fits = json[QStringLiteral("version")].toInt() == formatVersion &&
                      json[QStringLiteral("site")].toString() == m_site && begun.isValid() &&
                      saved.isValid() && saved.daysTo(m_begun) < staleAfterDays;
    if (!fits)
        return;
    m_before = Before{begun, placeOf(json[QStringLiteral("place")].toObject()), {}};
    const QJsonArray notGood = json[QStringLiteral("not_good")].toArray();
    for (const QJsonValue& place : notGood)
        m_before->notGood.insert(placeOf(place.toObject()));
    m_begun = begun;
    m_place = m_before->place;
    m_notGood = m_before->notGood;
}

bool ReadingState::isRead(const ReadingPlace& place, const QDateTime& storedAt) const
{
    if (!m_before || m_before->place < place || m_before->notGood.count(place) > 0)
        return false;
    return storedAt.isValid() && storedAt <= m_before->begun;
}

void ReadingState::reached(const ReadingPlace& place)
{
    m_place = std::max(m_place, place);
    if (!m_saved.isValid() || m_saved.secsTo(QDateTime::currentDateTimeUtc()) >= secondsBetweenSaves)
        save();
}

void ReadingState::notGood(const ReadingPlace& place)
{
    m_notGood.insert(place);
}

void ReadingState::save()
{
    m_saved = QDateTime::currentDateTimeUtc();
    QJsonArray notGood;
    for (const ReadingPlace& place : m_notGood)
        notGood.append(placeJson(place));
    const QJsonObject json = {{QStringLiteral("version"), formatVersion},
                              {QStringLiteral("site"), m_site},
                              {QStringLiteral("begun"), QString::fromLatin1(isoTime(m_begun))},
                              {QStringLiteral("saved"), QString::fromLatin1(isoTime(m_saved))},
                              {QStringLiteral("place"), placeJson(m_place)},
                              {QStringLiteral("not_good"), notGood}};
    (void)writePrivateFile(m_path, QJsonDocument(json).toJson(QJsonDocument::Compact),
                           ExistingTarget::Replace);
}

void ReadingState::finish()
{
    m_finished = true;
    (void)removeFile(native(m_path));
}

} // namespace KOZAV::Backend
