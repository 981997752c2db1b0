#include "admin/Application.h"
#include "terminal/FileSizeLimit.h"
#include "terminal/StandardStreams.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

int main(int argc, char* argv[])
{
    KOZAV::Terminal::holdStandardStreams();
    KOZAV::Terminal::outliveFileSizeLimit();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(ZAV_ADMIN_VERSION));
    QFile out;
    QFile err;
    if (!out.open(stdout, QIODevice::WriteOnly) || !err.open(stderr, QIODevice::WriteOnly))
        return static_cast<int>(KOZAV::Admin::ExitCode::Failure);
    return static_cast<int>(KOZAV::Admin::runCommandLine(QCoreApplication::arguments().mid(1), out, err));
}
