#include "admin/ConfigSetCommand.h"

#include "admin/Workplace.h"
#include "backend/config/Redaction.h"
#include "terminal/PrintableText.h"

#include <QFileInfo>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

QString ConfigSetCommand::summary() const
{
    return QStringLiteral("change one key; a value that would make the file unusable is refused");
}

std::vector<Operand> ConfigSetCommand::operands() const
{
    return {{QStringLiteral("KEY")}, {QStringLiteral("VALUE")}};
}

Result<Report> ConfigSetCommand::run(const CommandLine& line, Workplace& workplace) const
{
    const QString& key = line.words.at(0);
    const QString& path = workplace.configurationPath();
    // A broken file may be mended by the very key that is set, so it is not loaded here.
    if (!QFileInfo::exists(path))
        return workplace.settings().status();
    const Status written = writeSetting(path, key, line.words.at(1));
    if (!written.ok())
        return written;
    const Result<QString> value = readSetting(path, key);
    if (!value.ok())
        return value.status();
    const QString shown = withoutPassword(value.value());
    return Report{{{QStringLiteral("key"), key}, {QStringLiteral("value"), shown}},
                  QStringLiteral("%1 = %2\n").arg(key, printable(shown))};
}

} // namespace KOZAV::Admin
