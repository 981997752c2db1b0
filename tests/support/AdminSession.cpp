#include "tests/support/AdminSession.h"

#include "admin/Application.h"

#include <QBuffer>
#include <QJsonDocument>

namespace KOZAV::Test {

QJsonObject AdminOutcome::json() const
{
    return QJsonDocument::fromJson(out.toUtf8()).object();
}

QJsonObject AdminOutcome::failure() const
{
    return QJsonDocument::fromJson(err.toUtf8()).object();
}

AdminOutcome AdminSession::run(QStringList arguments) const
{
    QBuffer out;
    QBuffer err;
    out.open(QIODevice::WriteOnly);
    err.open(QIODevice::WriteOnly);
    arguments.prepend(m_file.path());
    arguments.prepend(QStringLiteral("--config"));
    const Admin::ExitCode code = Admin::runCommandLine(arguments, out, err);
    return {code, QString::fromUtf8(out.data()), QString::fromUtf8(err.data())};
}

} // namespace KOZAV::Test
