#include "admin/NewConfiguration.h"

#include "backend/config/Settings.h"
#include "backend/io/FilePath.h"

#include <QFile>
#include <QUuid>

#include <utility>

namespace KOZAV::Admin {

using namespace Backend;

namespace {

std::string nativePath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

} // namespace

NewConfiguration::NewConfiguration(QString target)
    : m_target(std::move(target))
    , m_path(m_target + QStringLiteral(".new-") + QUuid::createUuid().toString(QUuid::Id128).left(8))
{
}

NewConfiguration::~NewConfiguration()
{
    if (!m_kept)
        QFile::remove(m_path);
}

Result<std::unique_ptr<NewConfiguration>>
NewConfiguration::create(const QString& target, const QString& dataRoot, const SettingValues& values)
{
    std::unique_ptr<NewConfiguration> file(new NewConfiguration(target));
    if (const Status made = createDefaultSettings(file->path(), dataRoot); !made.ok())
        return file->named(made);
    for (const auto& [key, value] : values)
        if (const Status written = writeSetting(file->path(), key, value); !written.ok())
            return file->named(written);
    return file;
}

Status NewConfiguration::keep()
{
    m_kept = true;
    return named(publishFile(nativePath(m_path), nativePath(m_target), ExistingTarget::Keep));
}

Status NewConfiguration::named(const Status& status) const
{
    QString message = status.message();
    return Status(status.code(), message.replace(m_path, m_target));
}

} // namespace KOZAV::Admin
