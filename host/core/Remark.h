#pragma once

#include <QString>

namespace KOZAV::Host {

/// Something to be known of an entry or a run beside its result.
struct Remark
{
    QString code; ///< a word of codeMeanings() (Reasons.h)
    QString text; ///< for people
};

} // namespace KOZAV::Host
