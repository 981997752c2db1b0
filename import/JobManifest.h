#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace KOZAV::Import {

/// What a job manifest says; absent where the key is missing or its value is not a text.
struct JobManifest
{
    std::optional<QString> resource;
    std::optional<QString> customer2;
    std::optional<QString> customer3;
};

/// Reads the JSON text of a manifest. Nothing is set where it is not one valid JSON object.
JobManifest parseManifest(const QByteArray& json);

} // namespace KOZAV::Import
