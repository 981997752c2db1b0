#pragma once

#include <QLatin1String>
#include <QString>

#include <vector>

namespace KOZAV::Host {

/// Something to be known of an entry or a run beside its result.
struct Remark
{
    QString code; ///< a word of remarkMeanings()
    QString text; ///< for people
};

/// What a code means. Codes are for programs that read reports: one that was given stays.
struct RemarkMeaning
{
    QLatin1String code;
    QLatin1String meaning;
};

/// All codes; docs/outcomes.md lists the same.
const std::vector<RemarkMeaning>& remarkMeanings();

} // namespace KOZAV::Host
