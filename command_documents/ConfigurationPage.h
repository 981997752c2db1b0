#pragma once

#include "terminal/ManPage.h"

namespace KOZAV::CommandDocuments {

/// zav.ini(5), with every key of the configuration as its rule tells it.
QByteArray configurationPage(const Terminal::ManEdition& edition);

} // namespace KOZAV::CommandDocuments
