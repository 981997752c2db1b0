#pragma once

#include "host/core/BatchReport.h"
#include "host/core/Remark.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <array>
#include <vector>

namespace KOZAV::Host {

/// What became of an entry, as operators count.
enum class Outcome {
    Imported,     ///< and nothing else to be known of it
    WithWarnings, ///< imported, with warnings
    Refused,      ///< not imported by a rule, before anything was tried
    Failed,       ///< not imported though it was tried
    Unknown,      ///< the site may have the job
    LeftOut       ///< as was asked for
};
constexpr std::size_t outcomeCount = 6;
constexpr std::array<Outcome, outcomeCount> allOutcomes = {Outcome::Imported, Outcome::WithWarnings,
                                                           Outcome::Refused,  Outcome::Failed,
                                                           Outcome::Unknown,  Outcome::LeftOut};

Outcome outcomeOf(const BatchReportRow& row);
/// The outcome as a word, such as "with-warnings".
QString outcomeName(Outcome outcome);
/// The outcome in the operator's language.
QString outcomeText(Outcome outcome);
/// Whether somebody has to do something about an entry of that outcome.
bool isWrong(Outcome outcome);

/// How many entries have each outcome.
class OutcomeCounts final
{
public:
    [[nodiscard]] int of(Outcome outcome) const { return m_counts[static_cast<std::size_t>(outcome)]; }
    void add(Outcome outcome, int number = 1) { m_counts[static_cast<std::size_t>(outcome)] += number; }
    [[nodiscard]] int total() const;
    /// How many have an outcome that isWrong().
    [[nodiscard]] int wrong() const;

    /// Numbers by the names of the outcomes; what is not there, or no number, is 0.
    [[nodiscard]] QJsonObject toJson() const;
    static OutcomeCounts fromJson(const QJsonObject& json);

private:
    std::array<int, outcomeCount> m_counts = {};
};

/// What is known of a run without its entries.
struct RunSummary
{
    QString guid;   ///< key of the run
    QString source; ///< the batch directory or the single source
    QDateTime start;
    QDateTime end;
    QString userName;
    QString host; ///< machine that it ran on
    OutcomeCounts counts;
    qint64 position = 0; ///< where a list of kept runs goes on behind it
};

/// A run of the import panel that has ended, as a value: what is shown, kept with the site, and written into
/// files.
struct RunRecord : RunSummary
{
    std::vector<BatchReportRow> rows;
    std::vector<Remark> remarks; ///< what belongs to no single entry

    /// Of a report that has ended, with a new key; who ran it is not known to that.
    static RunRecord of(const BatchReport& report);
    void count();
};

/// An entry as reports and kept runs have it (docs/outcomes.md); what is not known is null.
QJsonObject rowJson(const BatchReportRow& row);
/// What of a newer program is not known here is passed over.
BatchReportRow rowFromJson(const QJsonObject& json);
QJsonArray remarksJson(const std::vector<Remark>& remarks);
std::vector<Remark> remarksFromJson(const QJsonArray& json);

} // namespace KOZAV::Host
