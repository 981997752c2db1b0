#include "bench/Report.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

namespace KOZAV::Bench {

void print(const QJsonObject& line)
{
    std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

void report(const QString& measure, const QString& contender, double at, const QString& unit,
            const std::vector<double>& values)
{
    QJsonArray numbers;
    for (const double value : values)
        numbers.append(value);
    print({{QStringLiteral("measure"), measure},
           {QStringLiteral("contender"), contender},
           {QStringLiteral("at"), at},
           {QStringLiteral("unit"), unit},
           {QStringLiteral("values"), numbers}});
}

double memory(const char* name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(name))
            return line.mid(static_cast<int>(qstrlen(name)) + 1).simplified().split(' ').front().toDouble() /
                   1024;
    return 0;
}

void forgetMostMemory()
{
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    if (references.open(QIODevice::WriteOnly))
        references.write("5");
}

void require(bool done, const char* what)
{
    if (!done)
        qFatal("%s failed", what);
}

} // namespace KOZAV::Bench
