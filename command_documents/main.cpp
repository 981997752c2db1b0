// Writes man pages and completions while the project is built:
//     zav_command_documents DIR VERSION DATE
// writes man/man1, man/man5 and completions/{bash,zsh,fish} below DIR. The date may be empty.

#include "admin/Verbs.h"
#include "command_documents/ConfigurationPage.h"
#include "host/CommandLine.h"
#include "robot_server/CommandLine.h"
#include "samples/CommandLine.h"
#include "terminal/Completions.h"
#include "terminal/ManPage.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

#include <cstdio>

namespace {

using namespace KOZAV;

constexpr int parameters = 3;

std::vector<Terminal::CommandDescription> programs()
{
    return {
        Admin::commandDescription(),
        Robot::commandDescription(),
        Samples::commandDescription(),
#ifdef ZAV_WITH_CLIENT
        Host::commandDescription(),
#endif
    };
}

bool write(const QDir& folder, const QString& name, const QByteArray& content)
{
    const QString path = folder.filePath(name);
    QSaveFile file(path);
    if (QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
        file.write(content) == content.size() && file.commit())
        return true;
    std::fprintf(stderr, "zav_command_documents: %s: %s\n", qPrintable(path), qPrintable(file.errorString()));
    return false;
}

bool writeProgram(const QDir& folder, const Terminal::CommandDescription& program,
                  const Terminal::ManEdition& edition)
{
    const QString& name = program.program;
    return write(folder, QStringLiteral("man/man1/%1.1").arg(name), manPageOf(program, edition)) &&
           write(folder, QStringLiteral("completions/bash/") + name, bashCompletion(program)) &&
           write(folder, QStringLiteral("completions/zsh/_") + name, zshCompletion(program)) &&
           write(folder, QStringLiteral("completions/fish/%1.fish").arg(name), fishCompletion(program));
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() != parameters) {
        std::fputs("usage: zav_command_documents DIR VERSION DATE\n", stderr);
        return 2;
    }
    const QDir folder(arguments.at(0));
    const Terminal::ManEdition edition{arguments.at(1), arguments.at(2)};
    bool isWritten =
        write(folder, QStringLiteral("man/man5/zav.ini.5"), CommandDocuments::configurationPage(edition));
    for (const Terminal::CommandDescription& program : programs())
        isWritten = isWritten && writeProgram(folder, program, edition);
    return isWritten ? 0 : 1;
}
