#include "robot/RobotRequest.h"

namespace KOZAV::Robot {

namespace {

const QLatin1String parametersKey("msgParams");
const QLatin1String jobNameKey("jobname");
const QLatin1String fromWebKey("fromWeb");

/// Names come from the peer and can be as long as a document.
QString quoted(const QString& name)
{
    constexpr int longestShown = 64;
    return QLatin1Char('"') + name.left(longestShown) + QLatin1Char('"');
}

QString typeName(QJsonValue::Type type)
{
    switch (type) {
    case QJsonValue::Bool:
        return QStringLiteral("a boolean");
    case QJsonValue::Double:
        return QStringLiteral("a number");
    case QJsonValue::String:
        return QStringLiteral("a string");
    case QJsonValue::Array:
        return QStringLiteral("an array");
    case QJsonValue::Object:
        return QStringLiteral("an object");
    default:
        return QStringLiteral("null");
    }
}

/// Why an object has not exactly the members, of the types, that the wanted one has; empty where it has.
QString whyNotMembers(const QJsonObject& object, const QJsonObject& wanted)
{
    for (auto member = wanted.begin(); member != wanted.end(); ++member) {
        if (!object.contains(member.key()))
            return quoted(member.key()) + QStringLiteral(" is missing");
        const QJsonValue::Type type = object.value(member.key()).type();
        if (type != member.value().type())
            return QStringLiteral("%1 is %2, not %3")
                .arg(quoted(member.key()), typeName(type), typeName(member.value().type()));
    }
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (!wanted.contains(member.key()))
            return quoted(member.key()) + QStringLiteral(" is unknown");
    }
    return {};
}

/// Why a member has not its fixed value; empty where it has.
QString whyNotValue(const QJsonValue& value, const QString& name, const QJsonValue& wanted)
{
    // By number, so that 1.0 and 1e0, which JSON does not tell from 1, are 1.
    if (wanted.isDouble() && value.toDouble() != wanted.toDouble())
        return QStringLiteral("%1 is not %2").arg(quoted(name)).arg(wanted.toInt());
    if (wanted.isString() && value.toString() != wanted.toString())
        return QStringLiteral("%1 is not %2").arg(quoted(name), quoted(wanted.toString()));
    return {};
}

QString whyNotRequest(const QJsonObject& document)
{
    const QJsonObject wanted = robotRequest(QString(), false);
    QString whyNot = whyNotMembers(document, wanted);
    for (auto member = wanted.begin(); member != wanted.end() && whyNot.isEmpty(); ++member)
        whyNot = whyNotValue(document.value(member.key()), member.key(), member.value());
    if (!whyNot.isEmpty())
        return whyNot;
    return whyNotMembers(document.value(parametersKey).toObject(), wanted.value(parametersKey).toObject());
}

} // namespace

QJsonObject robotRequest(const QString& jobName, bool fromWeb)
{
    const QJsonObject parameters{{fromWebKey, fromWeb}, {jobNameKey, jobName}};
    return {{QStringLiteral("module"), QStringLiteral("robot")},
            {QStringLiteral("msgType"), 1},
            {parametersKey, parameters}};
}

CheckedRequest checkRobotRequest(const QJsonObject& document)
{
    const QJsonObject parameters = document.value(parametersKey).toObject();
    return {parameters.value(jobNameKey).toString(), parameters.value(fromWebKey).toBool(),
            whyNotRequest(document)};
}

} // namespace KOZAV::Robot
