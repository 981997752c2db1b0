#include "host/core/ManifestCheck.h"

#include "host/odb/WorkFolder.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <system_error>

namespace KOZAV::Host {

namespace {

/// A manifest is a few texts: a longer one is told, though the panel reads it.
constexpr qint64 usualBytes = 1024LL * 1024;
/// A longer file is no manifest.
constexpr qint64 mostBytes = 16LL * 1024 * 1024;

/// The manifest of a job folder, or why it cannot be kept; neither where there is none.
struct FoundManifest
{
    std::optional<QByteArray> content;
    QString refusal;
    bool isRegular = true;
    bool isTooLong = false; ///< to be kept
};

FoundManifest readManifest(const QString& folder)
{
    WorkFolder opened;
    QFile file;
    std::error_code error = opened.open(folder);
    if (!error)
        error = opened.openFile(manifestName(), file);
    if (error == std::errc::no_such_file_or_directory)
        return {};
    if (error) {
        const bool isOther =
            error == std::errc::too_many_symbolic_link_levels || error == std::errc::not_supported;
        return {std::nullopt, WorkFolder::reason(error), !isOther};
    }
    if (file.size() > mostBytes)
        return {std::nullopt, QStringLiteral("it is longer than %1 bytes").arg(mostBytes), true, true};
    QByteArray content = file.read(mostBytes);
    if (file.error() != QFile::NoError)
        return {std::nullopt, file.errorString()};
    return {std::move(content), QString()};
}

Remark broken(const QString& text)
{
    return {QStringLiteral("manifest-broken"), text + QStringLiteral(": the import does not use it")};
}

Remark tooLarge()
{
    return {QStringLiteral("manifest-too-large"),
            QStringLiteral("readme.json is longer than %1 bytes").arg(usualBytes)};
}

/// Why a row is refused that would hold it.
QString refusalOf(const QString& text)
{
    if (text.contains(QChar::Null))
        return QStringLiteral("holds a NUL character");
    if (text.startsWith(QChar::ByteOrderMark))
        return QStringLiteral("begins with a byte order mark");
    return {};
}

/// What a row will not hold as it is.
QString unstorable(const QString& text)
{
    if (QString refusal = refusalOf(text); !refusal.isEmpty())
        return refusal;
    if (!text.isValidUtf16())
        return QStringLiteral("holds half a surrogate pair, which is stored as another character");
    return {};
}

constexpr const char* textNames[] = {"resource", "customer2", "customer3"};

std::vector<Remark> flawsOfTexts(const QJsonObject& manifest)
{
    std::vector<Remark> flaws;
    for (const char* name : textNames) {
        const QJsonValue value = manifest.value(QLatin1String(name));
        const QString shown = QStringLiteral("\"%1\" in readme.json").arg(QLatin1String(name));
        if (!value.isUndefined() && !value.isString())
            flaws.push_back(broken(shown + QStringLiteral(" is not a text")));
        else if (const QString why = unstorable(value.toString()); !why.isEmpty())
            flaws.push_back({QStringLiteral("manifest-not-storable"), shown + QLatin1Char(' ') + why});
    }
    return flaws;
}

/// Tells what the import will take, what it will not use, or not store as it is, and whether that costs the
/// job.
void judge(const QByteArray& manifest, ManifestLook& look)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(manifest, &error);
    for (const char* name : textNames) {
        const QString text = document.object().value(QLatin1String(name)).toString();
        look.texts << text;
        if (const QString refusal = refusalOf(text); !refusal.isEmpty())
            look.refusal = QStringLiteral("\"%1\" in readme.json %2").arg(QLatin1String(name), refusal);
    }
    std::vector<Remark> flaws;
    if (manifest.size() > usualBytes)
        flaws = {tooLarge()};
    else if (error.error != QJsonParseError::NoError)
        flaws = {broken(QStringLiteral("readme.json is not JSON at byte %1, %2")
                            .arg(error.offset)
                            .arg(error.errorString()))};
    else if (!document.isObject())
        flaws = {broken(QStringLiteral("readme.json is no JSON object"))};
    else
        flaws = flawsOfTexts(document.object());
    look.remarks.insert(look.remarks.end(), flaws.begin(), flaws.end());
}

} // namespace

QString manifestName()
{
    return QStringLiteral("readme.json");
}

Remark manifestNotKept(const QString& reason)
{
    return {
        QStringLiteral("manifest-not-kept"),
        QStringLiteral("no copy of readme.json, which the import uses up, could be kept: %1").arg(reason)};
}

Remark manifestNotUsed(const QStringList& written)
{
    const bool hasNone = written.join(QString()).isEmpty();
    return {QStringLiteral("manifest-not-used"),
            hasNone ? QStringLiteral("the row has no texts: the import could not read readme.json")
                    : QStringLiteral("the row has other texts: the import found another readme.json")};
}

ManifestLook lookAtManifest(const QString& folder)
{
    FoundManifest found = readManifest(folder);
    ManifestLook look;
    if (found.isTooLong)
        look.remarks.push_back(tooLarge());
    if (!found.isRegular)
        look.remarks.push_back({QStringLiteral("manifest-not-regular"),
                                QStringLiteral("readme.json is not kept: %1").arg(found.refusal)});
    else if (!found.refusal.isEmpty())
        look.remarks.push_back(manifestNotKept(found.refusal));
    if (!found.content)
        return look;
    judge(*found.content, look);
    look.content = std::move(found.content);
    return look;
}

} // namespace KOZAV::Host
