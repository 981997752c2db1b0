#include "tests/fuzz/FuzzTarget.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <utility>

namespace KOZAV::Test {

namespace {

std::vector<FuzzTarget>& registeredTargets()
{
    static std::vector<FuzzTarget> targets;
    return targets;
}

} // namespace

RegisteredFuzzTarget::RegisteredFuzzTarget(FuzzTarget target)
{
    registeredTargets().push_back(std::move(target));
}

const std::vector<FuzzTarget>& fuzzTargets()
{
    return registeredTargets();
}

QString fuzzFolder()
{
    const QString memory = QStringLiteral("/dev/shm");
    static const QTemporaryDir folder((QDir(memory).exists() ? memory : QDir::tempPath()) +
                                      QStringLiteral("/zav-fuzz-XXXXXX"));
    return folder.path();
}

bool writeFuzzFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
           file.write(content) == content.size() && file.flush();
}

} // namespace KOZAV::Test
