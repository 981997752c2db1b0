#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace KOZAV::Test {

/// The regular files of a folder by relative path, hidden ones included, each with the SHA-256 of its
/// content.
QMap<QString, QByteArray> filesOf(const QString& folder);

/// Runs a program to its end. @return its standard output; ends the test program where it fails
QByteArray run(const QString& program, const QStringList& arguments, const QString& workingDirectory = {});

} // namespace KOZAV::Test
