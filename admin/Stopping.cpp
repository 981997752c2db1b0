#include "admin/Stopping.h"

#include "terminal/PrintableText.h"

#include <QCoreApplication>

#include <utility>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

StoppableVerb::StoppableVerb()
    : m_work(&Interruption::isAskedFor)
{
}

Result<Report> StoppableVerb::ended(const Status& failure, Stop stop)
{
    if (failure.code() != ErrorCode::Stopped)
        return failure;
    Report report;
    report.outcome = failure;
    report.isWritten = true;
    report.stop = std::move(stop);
    return report;
}

QStringList argumentsWith(const Call& call, const QString& verb, const QStringList& operands)
{
    QStringList arguments = verb.split(QLatin1Char(' '));
    for (auto option = call.line.options.cbegin(); option != call.line.options.cend(); ++option) {
        // They name a batch, in the place of operands.
        if (option.key() == QLatin1String("company") || option.key() == QLatin1String("batch"))
            continue;
        arguments << QStringLiteral("--") + option.key();
        if (!option.value().isEmpty())
            arguments << option.value();
    }
    // A file may be named as an option is.
    return arguments << QStringLiteral("--") << operands;
}

QByteArray stopText(const Stop& stop, const QStringList& arguments, bool json)
{
    const QString program = QCoreApplication::arguments().value(0, QStringLiteral("zav_admin"));
    const QString command =
        shellCommand(QStringList(program) + (stop.goOn.isEmpty() ? arguments : stop.goOn));
    QString message = QStringLiteral("stopped by %1").arg(Interruption::signalName());
    if (!stop.done.isEmpty())
        message += QStringLiteral(": ") + stop.done;
    if (!json)
        return QStringLiteral("zav_admin: %1\nto go on: %2\n").arg(message, printable(command)).toUtf8();
    return jsonLine({{QStringLiteral("error"), message},
                     {QStringLiteral("code"), Interruption::exitCode()},
                     {QStringLiteral("interrupted"), true},
                     {QStringLiteral("signal"), Interruption::signalName()},
                     {QStringLiteral("done"), stop.json},
                     {QStringLiteral("go_on"), command}});
}

} // namespace KOZAV::Admin
