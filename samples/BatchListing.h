#pragma once

#include "samples/BatchGenerator.h"

#include <QByteArray>
#include <QString>

namespace KOZAV::Samples {

/// The batch as a JSON document; docs/samples.md describes its members.
[[nodiscard]] QByteArray jsonListing(const BatchRequest& request, const BatchResult& result);

/// The batch for a person to read: a line for each company and each entry.
[[nodiscard]] QString textListing(const BatchResult& result);

} // namespace KOZAV::Samples
