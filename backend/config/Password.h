#pragma once

#include "backend/Status.h"

#include <QString>

namespace KOZAV::Backend {

/// Environment variables that passwords are taken from where no file is named.
constexpr const char* databasePasswordVariable = "ZAV_DATABASE_PASSWORD";
constexpr const char* documentStorePasswordVariable = "ZAV_DOCUMENT_STORE_PASSWORD";

/// The password that a file or, where file is empty, an environment variable holds; empty where neither is
/// given. Of a file the first line counts, UTF-8, without its line end. Configuration where the file cannot
/// be read, holds no such line, or may be read by others than its owner.
Result<QString> readPassword(const QString& file, const char* variable);

} // namespace KOZAV::Backend
