#include "admin/StatusMetrics.h"

#include <QCoreApplication>
#include <QJsonArray>

#include <algorithm>
#include <utility>

namespace KOZAV::Admin {

namespace {

using Labels = std::vector<std::pair<QString, QString>>;

QString escaped(QString value)
{
    value.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    value.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return value.replace(QLatin1Char('\n'), QLatin1String("\\n"));
}

/// Whole numbers up to 2^53 without an exponent, times to the millisecond.
QString numberText(double value)
{
    const bool isWhole = value == static_cast<double>(static_cast<qint64>(value));
    return QString::number(value, 'f', isWhole ? 0 : 3);
}

/// Writes the samples of one metric after the other, each below its head.
class Exposition final
{
public:
    explicit Exposition(const QJsonObject& document)
        : m_document(document)
    {
    }

    void add(const char* metric, double value, const Labels& labels = {})
    {
        if (m_last != QLatin1String(metric))
            addHead(metric);
        QStringList pairs;
        for (const auto& [label, text] : labels)
            pairs << QStringLiteral("%1=\"%2\"").arg(label, escaped(text));
        m_text += QLatin1String(metric);
        if (!pairs.isEmpty())
            m_text += QLatin1Char('{') + pairs.join(QLatin1Char(',')) + QLatin1Char('}');
        m_text += QLatin1Char(' ') + numberText(value) + QLatin1Char('\n');
    }

    /// A member of a member of the document, where it is there.
    void addNumber(const char* metric, const char* object, const char* member)
    {
        const QJsonValue value = m_document[QLatin1String(object)][QLatin1String(member)];
        if (value.isDouble())
            add(metric, value.toDouble());
    }
    void addTime(const char* metric, const QJsonValue& value)
    {
        const QDateTime time = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        constexpr double msOfSecond = 1000.0;
        if (time.isValid())
            add(metric, static_cast<double>(time.toMSecsSinceEpoch()) / msOfSecond);
    }
    void addTime(const char* metric, const char* object, const char* member)
    {
        addTime(metric, m_document[QLatin1String(object)][QLatin1String(member)]);
    }

    [[nodiscard]] QString text() const { return m_text; }

private:
    void addHead(const char* metric)
    {
        m_last = QLatin1String(metric);
        const auto& all = statusMetrics();
        const auto known = std::find_if(all.cbegin(), all.cend(), [this](const StatusMetric& one) {
            return m_last == QLatin1String(one.name);
        });
        Q_ASSERT(known != all.cend());
        m_text += QStringLiteral("# HELP %1 %2\n# TYPE %1 gauge\n").arg(m_last, QLatin1String(known->help));
    }

    const QJsonObject& m_document;
    QString m_text;
    QString m_last;
};

/// A part that cannot be used is told with its error.
bool isUp(const QJsonObject& document, const char* part)
{
    const QJsonObject told = document[QLatin1String(part)].toObject();
    return !told.isEmpty() && !told.contains(QLatin1String("error"));
}

void tellSite(Exposition& told, const QJsonObject& document)
{
    const bool rows = isUp(document, "rows");
    const bool files = isUp(document, "files");
    const bool isOneSite = !document.contains(QLatin1String("identity"));
    told.add("zav_up", rows && files && isOneSite ? 1 : 0);
    told.add("zav_part_up", rows ? 1 : 0, {{QStringLiteral("part"), QStringLiteral("rows")}});
    told.add("zav_part_up", files ? 1 : 0, {{QStringLiteral("part"), QStringLiteral("files")}});
    const auto text = [&document](const char* part, const char* member) {
        return document[QLatin1String(part)][QLatin1String(member)].toVariant().toString();
    };
    if (rows)
        told.add("zav_site_info", 1,
                 {{QStringLiteral("site"), text("rows", "identity")},
                  {QStringLiteral("rows_engine"), text("rows", "engine")},
                  {QStringLiteral("files_engine"), text("files", "engine")},
                  {QStringLiteral("schema"), text("rows", "schema")},
                  {QStringLiteral("version"), QCoreApplication::applicationVersion()}});
}

void tellJobs(Exposition& told, const QJsonObject& document)
{
    if (const QJsonValue companies = document[QLatin1String("companies")]; companies.isDouble())
        told.add("zav_companies", companies.toDouble());
    const QJsonArray states = document[QLatin1String("jobs")][QLatin1String("states")].toArray();
    for (const QJsonValue state : states)
        told.add("zav_jobs", state[QLatin1String("jobs")].toDouble(),
                 {{QStringLiteral("state"), QString::number(state[QLatin1String("state")].toInt())},
                  {QStringLiteral("sub_state"), QString::number(state[QLatin1String("sub_state")].toInt())}});
    told.addNumber("zav_jobs_waiting", "jobs", "waiting");
    told.addNumber("zav_jobs_unfinished", "jobs", "unfinished");
    told.addTime("zav_oldest_waiting_job_timestamp_seconds", "oldest_waiting", "time");
    told.addTime("zav_last_import_timestamp_seconds", "last_import", "time");
}

void tellCheck(Exposition& told, const QJsonObject& document)
{
    const QJsonObject check = document[QLatin1String("last_check")].toObject();
    told.addTime("zav_last_check_timestamp_seconds", check[QLatin1String("time")]);
    if (!check.isEmpty())
        told.add("zav_last_check_clean", check[QLatin1String("outcome")] == QLatin1String("clean") ? 1 : 0);
    const QJsonObject findings = check[QLatin1String("findings")].toObject();
    for (auto kind = findings.begin(); kind != findings.end(); ++kind)
        told.add("zav_last_check_findings", kind.value().toDouble(), {{QStringLiteral("kind"), kind.key()}});
    told.addTime("zav_database_read_through_timestamp_seconds", document[QLatin1String("read_through")]);
}

void tellFiles(Exposition& told)
{
    told.addNumber("zav_stored_files", "stored", "files");
    told.addNumber("zav_stored_bytes", "stored", "bytes");
    told.addNumber("zav_stored_unknown_length_files", "stored", "unknown_lengths");
    told.addNumber("zav_quarantined_files", "quarantined", "files");
    told.addNumber("zav_quarantined_bytes", "quarantined", "bytes");
    told.addTime("zav_quarantined_oldest_timestamp_seconds", "quarantined", "oldest");
    told.addNumber("zav_staged_files", "staged", "files");
    told.addNumber("zav_staged_bytes", "staged", "bytes");
    told.addTime("zav_staged_oldest_timestamp_seconds", "staged", "oldest");
}

} // namespace

const std::vector<StatusMetric>& statusMetrics()
{
    static const std::vector<StatusMetric> all = {
        {"zav_up", "", "whether rows and stored files of the site can be used, and belong together"},
        {"zav_part_up", "part", "whether the part can be used"},
        {"zav_site_info", "site,rows_engine,files_engine,schema,version",
         "always 1; the labels say which site it is"},
        {"zav_companies", "", "customer companies"},
        {"zav_jobs", "state,sub_state", "jobs in the state"},
        {"zav_jobs_waiting", "", "jobs that operators are offered"},
        {"zav_jobs_unfinished", "", "imports that did not come to their end, or are under way"},
        {"zav_oldest_waiting_job_timestamp_seconds", "", "when the job was imported that waits longest"},
        {"zav_last_import_timestamp_seconds", "", "when the last job was imported"},
        {"zav_last_check_timestamp_seconds", "", "when the site was checked last"},
        {"zav_last_check_clean", "", "whether the last check found nothing"},
        {"zav_last_check_findings", "kind", "what the last check found"},
        {"zav_database_read_through_timestamp_seconds", "", "when the database was last read through"},
        {"zav_stored_files", "", "stored files whose length is known"},
        {"zav_stored_bytes", "", "bytes of these files"},
        {"zav_stored_unknown_length_files", "", "stored files of earlier releases that were not read since"},
        {"zav_quarantined_files", "", "files in quarantine"},
        {"zav_quarantined_bytes", "", "bytes of these files"},
        {"zav_quarantined_oldest_timestamp_seconds", "", "since when the oldest of them is in quarantine"},
        {"zav_staged_files", "", "copies of archives in the upload cache of this machine"},
        {"zav_staged_bytes", "", "bytes of these copies"},
        {"zav_staged_oldest_timestamp_seconds", "", "when the oldest of them was made"},
        {"zav_status_timestamp_seconds", "", "when these numbers were taken"},
    };
    return all;
}

QString prometheusText(const QJsonObject& document, const QDateTime& now)
{
    Exposition told(document);
    tellSite(told, document);
    tellJobs(told, document);
    tellCheck(told, document);
    tellFiles(told);
    told.addTime("zav_status_timestamp_seconds", QJsonValue(now.toUTC().toString(Qt::ISODateWithMs)));
    return told.text();
}

} // namespace KOZAV::Admin
