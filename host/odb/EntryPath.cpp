#include "host/odb/EntryPath.h"

#include <QFile>
#include <QList>
#include <QStringList>

namespace KOZAV::Host {

namespace {

EntryPath refused(const QString& shown, const char* why)
{
    return {QString(), QStringLiteral("%1 %2").arg(shown, QLatin1String(why))};
}

bool isDriveLetter(const QString& component)
{
    return component.size() >= 2 && component[1] == QLatin1Char(':') && component[0].isLetter();
}

} // namespace

EntryPath entryPath(const QByteArray& rawName)
{
    const QString name = QFile::decodeName(rawName);
    const QString shown = QString::fromLatin1(rawName.toPercentEncoding(QByteArrayLiteral("/ +")));
    if (rawName.isEmpty())
        return refused(QStringLiteral("an entry"), "has no name");
    if (QFile::encodeName(name) != rawName)
        return refused(shown, "is not a valid name in this system's encoding");
    if (name.startsWith(QLatin1Char('/')) || name.startsWith(QLatin1Char('\\')))
        return refused(shown, "is an absolute path");

    QStringList components;
    for (const QString& component : name.split(QLatin1Char('/'))) {
        if (component.isEmpty() || component == QLatin1String("."))
            continue;
        if (component == QLatin1String(".."))
            return refused(shown, "leads out of the job");
        if (components.isEmpty() && isDriveLetter(component))
            return refused(shown, "is an absolute path");
        components << component;
    }
    return {components.join(QLatin1Char('/')), QString()};
}

bool linkStaysInside(const QString& path, const QByteArray& target)
{
    if (target.isEmpty() || target.startsWith('/') || QFile::encodeName(QFile::decodeName(target)) != target)
        return false;
    auto folders = path.count(QLatin1Char('/'));
    bool goingUp = true;
    for (const QByteArray& component : target.split('/')) {
        if (component.isEmpty() || component == ".")
            continue;
        if (component != "..") {
            goingUp = false;
            continue;
        }
        if (!goingUp || --folders < 0)
            return false;
    }
    return true;
}

} // namespace KOZAV::Host
