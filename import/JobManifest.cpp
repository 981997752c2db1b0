#include "import/JobManifest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

namespace KOZAV::Import {

namespace {

std::optional<QString> textOf(const QJsonObject& object, QLatin1String key)
{
    const QJsonValue value = object.value(key);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

} // namespace

JobManifest parseManifest(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (document.isNull() || error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    const QJsonObject object = document.object();
    return {textOf(object, QLatin1String("resource")), textOf(object, QLatin1String("customer2")),
            textOf(object, QLatin1String("customer3"))};
}

} // namespace KOZAV::Import
