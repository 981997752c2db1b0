#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace KOZAV::Host {

struct RunRecord;

/// The forms of a report of a run as a file.
enum class ReportForm {
    Csv,  ///< RFC 4180 in UTF-8 with a byte order mark, for spreadsheets: no cell is taken for a formula
    Json, ///< as --json prints it
    Html  ///< one page to print, with nothing beside it, in the operator's language
};

/// The suffixes of the forms, in their order: "csv", "json", "html".
QStringList reportSuffixes();
/// By the suffix of a file's name, in whatever case; nothing where it is none of them.
std::optional<ReportForm> reportFormOf(const QString& path);

/// @param beside  what only the caller knows: further members of the JSON document
QByteArray reportContent(const RunRecord& run, ReportForm form, const QJsonObject& beside = {});

/// Writes the report into a file whose suffix says its form, all of it or nothing; a file that is there is
/// replaced. @return why that was not possible; empty on success
QString writeReportFile(const QString& path, const RunRecord& run, const QJsonObject& beside = {});

} // namespace KOZAV::Host
