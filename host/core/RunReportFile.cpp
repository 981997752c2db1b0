// Names, reasons and texts come from directories and servers that others fill. In a spreadsheet a cell that
// begins with a sign of a formula would be run by whoever opens it, and gets an apostrophe before it; in the
// page every text is escaped, and the page brings no script and asks for nothing.

#include "host/core/RunReportFile.h"

#include "host/core/Reasons.h"
#include "host/core/ReportJson.h"
#include "host/core/RunRecord.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLocale>
#include <QSaveFile>

#include <algorithm>

namespace KOZAV::Host {

namespace {

class ReportPage final
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::RunReportFile)
public:
    static QString of(const RunRecord& run);

private:
    static QString facts(const RunRecord& run);
    static QString counts(const RunRecord& run);
    static QString entries(const RunRecord& run);
    static QString entry(const BatchReportRow& row);
    static QString remarks(const RunRecord& run);
};

QString warningsText(const BatchReportRow& row)
{
    QStringList texts;
    for (const Remark& warning : row.warnings)
        texts << QStringLiteral("%1: %2").arg(warning.code, warning.text);
    return texts.join(QLatin1Char('\n'));
}

/// A text of others as one cell.
QString csvCell(QString text)
{
    // The wide forms are taken for the narrow ones in some languages.
    static const QString formulaSigns = QStringLiteral("=+-@\t\r\n＝＋－＠");
    if (!text.isEmpty() && formulaSigns.contains(text.at(0)))
        text.prepend(QLatin1Char('\''));
    const auto needsQuotes = [](QChar c) {
        return c == QLatin1Char('"') || c == QLatin1Char(',') || c == QLatin1Char('\r') ||
               c == QLatin1Char('\n');
    };
    if (std::none_of(text.cbegin(), text.cend(), needsQuotes))
        return text;
    return QLatin1Char('"') + text.replace(QLatin1Char('"'), QLatin1String("\"\"")) + QLatin1Char('"');
}

QStringList csvCells(const BatchReportRow& row)
{
    const bool isStored = !row.storedName.isEmpty();
    return {csvCell(row.company),
            csvCell(row.entry),
            outcomeName(outcomeOf(row)),
            csvCell(row.generatedName),
            csvCell(row.storedName),
            isStored ? QString::number(row.bytes) : QString(),
            isStored ? QString::number(row.seconds, 'f', 3) : QString(),
            row.reasonCode,
            csvCell(reasonText(row.reasonCode)),
            csvCell(reasonAdvice(row.reasonCode)),
            csvCell(row.reason),
            csvCell(warningsText(row)),
            csvCell(row.sourcePath)};
}

QByteArray csvOf(const RunRecord& run)
{
    const QString lineEnd = QStringLiteral("\r\n");
    QString text =
        QStringLiteral("company,entry,outcome,generated_name,stored_name,bytes,seconds,reason_code,"
                       "meaning,what_to_do,reason,warnings,source") +
        lineEnd;
    for (const BatchReportRow& row : run.rows)
        text += csvCells(row).join(QLatin1Char(',')) + lineEnd;
    for (const Remark& remark : run.remarks) {
        BatchReportRow row;
        row.reasonCode = remark.code;
        row.reason = remark.text;
        QStringList cells = csvCells(row);
        cells[2] = QStringLiteral("remark");
        text += cells.join(QLatin1Char(',')) + lineEnd;
    }
    return QByteArrayLiteral("\xef\xbb\xbf") + text.toUtf8();
}

QString escaped(const QString& text)
{
    QString html = text.toHtmlEscaped();
    return html.replace(QLatin1Char('\n'), QLatin1String("<br>"));
}

QString element(const char* name, const QString& text, const QString& kind = {})
{
    const QString attribute = kind.isEmpty() ? QString() : QStringLiteral(" class=\"%1\"").arg(kind);
    return QStringLiteral("<%1%2>%3</%1>").arg(QLatin1String(name), attribute, text);
}

QString timeText(const QDateTime& time)
{
    return time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

/// Meaning and advice in the operator's language, and the particulars beneath.
QString explainedHtml(const QString& code, const QString& text)
{
    QStringList pieces;
    if (const QString meaning = reasonText(code); !meaning.isEmpty())
        pieces << escaped(meaning);
    if (const QString advice = reasonAdvice(code); !advice.isEmpty())
        pieces << element("b", escaped(advice));
    if (!text.isEmpty())
        pieces << element("small", escaped(text));
    return pieces.join(QStringLiteral("<br>"));
}

const char* const pageStyle = R"(
body { font: 14px/1.45 sans-serif; color: #1b1e23; margin: 24px; }
h1 { font-size: 20px; } h2 { font-size: 16px; }
table { border-collapse: collapse; width: 100%; }
th, td { border: 1px solid #9aa3ad; padding: 4px 8px; text-align: left; vertical-align: top; overflow-wrap: anywhere; }
th { background: #e6eaef; } td.number { text-align: right; white-space: nowrap; }
ul.counts { list-style: none; padding: 0; } ul.counts li { display: inline-block; margin-right: 18px; }
ul.counts b { font-size: 20px; }
.wrong { color: #a40000; font-weight: bold; } .warned { color: #7a4b00; font-weight: bold; }
small { color: #444b54; }
@media print { body { margin: 0; font-size: 11px; } tr { break-inside: avoid; } thead { display: table-header-group; } }
@page { size: landscape; margin: 12mm; }
)";

QString htmlKindOf(Outcome outcome)
{
    if (isWrong(outcome))
        return QStringLiteral("wrong");
    return outcome == Outcome::WithWarnings ? QStringLiteral("warned") : QString();
}

QString ReportPage::of(const RunRecord& run)
{
    const QString title = tr("Import results");
    return QStringLiteral(
               "<!DOCTYPE html>\n<html lang=\"%1\">\n<head>\n<meta charset=\"utf-8\">\n<title>%2</title>\n"
               "<style>%3</style>\n</head>\n<body>\n")
               .arg(QLocale().bcp47Name().toHtmlEscaped(), escaped(title), QLatin1String(pageStyle)) +
           element("h1", escaped(title)) + facts(run) + counts(run) + entries(run) + remarks(run) +
           QStringLiteral("</body>\n</html>\n");
}

QString ReportPage::facts(const RunRecord& run)
{
    const auto line = [](const QString& what, const QString& text) {
        return text.isEmpty()
                   ? QString()
                   : QStringLiteral("%1: %2<br>\n").arg(element("b", escaped(what)), escaped(text));
    };
    return element("p", line(tr("Source"), run.source) + line(tr("Begin"), timeText(run.start)) +
                            line(tr("End"), timeText(run.end)) + line(tr("User"), run.userName) +
                            line(tr("Machine"), run.host));
}

QString ReportPage::counts(const RunRecord& run)
{
    QString items;
    for (const Outcome outcome : allOutcomes) {
        const int number = run.counts.of(outcome);
        const QString kind = number > 0 ? htmlKindOf(outcome) : QString();
        items += element(
            "li", element("b", QString::number(number)) + QLatin1Char(' ') + escaped(outcomeText(outcome)),
            kind);
    }
    return element("ul", items, QStringLiteral("counts")) + QLatin1Char('\n');
}

QString ReportPage::entries(const RunRecord& run)
{
    QString heads;
    for (const QString& head : {tr("Company"), tr("Job"), tr("Generated name"), tr("Bytes"), tr("Seconds"),
                                tr("Outcome"), tr("Reason and what to do")})
        heads += element("th", escaped(head));
    QString rows;
    for (const BatchReportRow& row : run.rows)
        rows += entry(row);
    return element("table",
                   element("thead", element("tr", heads)) + QLatin1Char('\n') + element("tbody", rows)) +
           QLatin1Char('\n');
}

QString ReportPage::entry(const BatchReportRow& row)
{
    const bool isStored = !row.storedName.isEmpty();
    const QString number = QStringLiteral("number");
    QStringList why;
    if (!row.reason.isEmpty() || !row.reasonCode.isEmpty())
        why << explainedHtml(row.reasonCode, row.reason);
    for (const Remark& warning : row.warnings)
        why << explainedHtml(warning.code, warning.text);
    const Outcome outcome = outcomeOf(row);
    return element("tr",
                   element("td", escaped(row.company)) + element("td", escaped(row.entry)) +
                       element("td", escaped(row.generatedName)) +
                       element("td", isStored ? QString::number(row.bytes) : QString(), number) +
                       element("td", isStored ? QString::number(row.seconds, 'f', 1) : QString(), number) +
                       element("td", escaped(outcomeText(outcome)), htmlKindOf(outcome)) +
                       element("td", why.join(QStringLiteral("<hr>")))) +
           QLatin1Char('\n');
}

QString ReportPage::remarks(const RunRecord& run)
{
    if (run.remarks.empty())
        return {};
    QString items;
    for (const Remark& remark : run.remarks)
        items += element("li", explainedHtml(remark.code, remark.text));
    return element("h2", escaped(tr("Remarks"))) + element("ul", items) + QLatin1Char('\n');
}

QByteArray jsonOf(const RunRecord& run, const QJsonObject& beside)
{
    QJsonObject document = reportJson(run);
    for (auto one = beside.begin(); one != beside.end(); ++one)
        document.insert(one.key(), one.value());
    return QJsonDocument(document).toJson();
}

} // namespace

QStringList reportSuffixes()
{
    return {QStringLiteral("csv"), QStringLiteral("json"), QStringLiteral("html")};
}

std::optional<ReportForm> reportFormOf(const QString& path)
{
    const auto index = reportSuffixes().indexOf(QFileInfo(path).suffix().toLower());
    return index < 0 ? std::nullopt : std::optional(static_cast<ReportForm>(index));
}

QByteArray reportContent(const RunRecord& run, ReportForm form, const QJsonObject& beside)
{
    switch (form) {
    case ReportForm::Csv:
        return csvOf(run);
    case ReportForm::Json:
        return jsonOf(run, beside);
    case ReportForm::Html:
        break;
    }
    return ReportPage::of(run).toUtf8();
}

QString writeReportFile(const QString& path, const RunRecord& run, const QJsonObject& beside)
{
    const auto form = reportFormOf(path);
    if (!form)
        return QStringLiteral("the name of a report ends in .%1")
            .arg(reportSuffixes().join(QStringLiteral(", .")));
    const QByteArray content = reportContent(run, *form, beside);
    QSaveFile file(path);
    const bool isWritten =
        file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
    return isWritten ? QString()
                     : QStringLiteral("the report %1 cannot be written: %2").arg(path, file.errorString());
}

} // namespace KOZAV::Host
