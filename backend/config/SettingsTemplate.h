#pragma once

#include <QByteArray>
#include <QString>

namespace KOZAV::Backend {

/// Text of a new configuration file: working defaults with all data under dataRoot, every optional key as a
/// comment.
QByteArray defaultSettingsText(const QString& dataRoot, const QString& userName);

} // namespace KOZAV::Backend
