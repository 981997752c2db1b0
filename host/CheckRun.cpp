#include "host/CheckRun.h"

#include "host/core/Foresight.h"
#include "host/site/SiteAccess.h"
#include "terminal/Interruption.h"
#include "terminal/PrintableText.h"
#include "terminal/ProgressLine.h"
#include "terminal/TextTable.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace KOZAV::Host {

using Terminal::printable;

namespace {

bool leadsOut(const Foreseen& foreseen)
{
    const auto isLink = [](const Remark& remark) { return remark.code == QLatin1String("leads-out"); };
    const auto hasLink = [&isLink](const ForeseenEntry& entry) {
        return std::any_of(entry.warnings.begin(), entry.warnings.end(), isLink);
    };
    return std::any_of(foreseen.remarks.begin(), foreseen.remarks.end(), isLink) ||
           std::any_of(foreseen.entries.begin(), foreseen.entries.end(), hasLink);
}

QString byteText(qint64 bytes)
{
    return bytes < 0 ? QString() : QString::number(bytes);
}

QJsonValue textOr(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonValue numberOr(qint64 number)
{
    return number < 0 ? QJsonValue() : QJsonValue(number);
}

QJsonArray jsonOf(const std::vector<Remark>& remarks)
{
    QJsonArray array;
    for (const Remark& remark : remarks)
        array << QJsonObject{{QStringLiteral("code"), remark.code}, {QStringLiteral("text"), remark.text}};
    return array;
}

QJsonObject jsonOf(const ForeseenEntry& entry)
{
    return {{QStringLiteral("company"), textOr(entry.company)},
            {QStringLiteral("entry"), entry.entry},
            {QStringLiteral("source"), textOr(entry.sourcePath)},
            {QStringLiteral("outlook"), outlookName(entry.outlook)},
            {QStringLiteral("bytes"), numberOr(entry.bytes)},
            {QStringLiteral("reason"), textOr(entry.reason)},
            {QStringLiteral("reason_code"), textOr(entry.reasonCode)},
            {QStringLiteral("warnings"), jsonOf(entry.warnings)}};
}

QJsonObject jsonOf(const ForeseenCompany& company)
{
    return {{QStringLiteral("name"), company.name},
            {QStringLiteral("known"), company.isKnown ? QJsonValue(*company.isKnown) : QJsonValue()},
            {QStringLiteral("entries"), company.entries}};
}

QJsonObject jsonOf(const ForeseenSpace& space)
{
    return {{QStringLiteral("folder"), space.folder},
            {QStringLiteral("needed"), space.needed},
            {QStringLiteral("needed_at_most"), space.neededAtMost},
            {QStringLiteral("free"), numberOr(space.free)}};
}

template <typename Values>
QJsonArray arrayOf(const Values& values)
{
    QJsonArray array;
    for (const auto& value : values)
        array << jsonOf(value);
    return array;
}

} // namespace

CheckRun::CheckRun(const SiteAccess& site, CheckOptions options, QTextStream& out, QTextStream& messages)
    : m_site(site)
    , m_options(std::move(options))
    , m_out(out)
    , m_messages(messages)
{
}

int CheckRun::run()
{
    constexpr int notStarted = 2;
    if (!QFileInfo(m_options.directory).isDir()) {
        m_messages << "error: " << m_options.directory << " is not a directory\n";
        m_messages.flush();
        return notStarted;
    }
    Foreseen foreseen;
    const Terminal::Interruption interruption;
    const bool isStopped = !look(foreseen);
    if (isStopped)
        tellStop(foreseen);
    const bool isRefused = !m_options.allowLinks && leadsOut(foreseen);
    if (isRefused)
        foreseen.remarks.push_back(
            {QStringLiteral("links-out"),
             QStringLiteral("links lead out of the batch directory: --batch imports nothing of it without "
                            "--allow-links")});
    const int looked = foreseen.allImported() && !isRefused ? 0 : 1;
    const int exitCode = isStopped ? Terminal::Interruption::exitCode() : looked;
    if (m_options.json) {
        printJson(foreseen, exitCode);
    } else {
        printTables(foreseen);
        printRest(foreseen);
    }
    m_out.flush();
    return exitCode;
}

/// @return whether the look came to its end
bool CheckRun::look(Foreseen& foreseen)
{
    QElapsedTimer clock;
    clock.start();
    m_messages.flush();
    QIODevice* const device = m_messages.device();
    Terminal::ProgressLine line(
        device, device ? Terminal::ProgressLine::viewOf(device) : Terminal::ProgressLine::View(),
        [&clock] { return clock.elapsed(); });
    const PanelSource source = {PanelSource::Kind::Batch, m_options.directory, QString()};
    bool isWhole = false;
    foresee(source, 0, Terminal::Interruption::flag(), [&](ForesightPiece&& piece) {
        isWhole = isWhole || piece.isLast;
        piece.addTo(foreseen);
        const double fraction =
            piece.toDo > 0 ? static_cast<double>(piece.done) / static_cast<double>(piece.toDo) : -1;
        line.show(QStringLiteral("looking"), fraction,
                  QStringLiteral("%1 entries").arg(foreseen.entries.size()));
    });
    return isWhole;
}

/// What nobody has looked at is told as such.
void CheckRun::tellStop(Foreseen& foreseen)
{
    for (ForeseenEntry& entry : foreseen.entries) {
        if (entry.outlook != Outlook::Open || !entry.reasonCode.isEmpty())
            continue;
        entry.reasonCode = QStringLiteral("stopped");
        entry.reason = QStringLiteral("not looked at");
    }
    foreseen.remarks.push_back(
        {QStringLiteral("stopped"),
         QStringLiteral("stopped by %1, not everything was looked at; to look again: %2")
             .arg(Terminal::Interruption::signalName(),
                  Terminal::shellCommand(QCoreApplication::arguments()))});
}

void CheckRun::printTables(const Foreseen& foreseen)
{
    const QString company = QStringLiteral("company");
    const QString entryTitle = QStringLiteral("entry");
    const QString code = QStringLiteral("code");
    const QString why = QStringLiteral("why");
    Terminal::TextTable imported({company, entryTitle, QStringLiteral("bytes")});
    imported.alignRight({2});
    Terminal::TextTable refused({company, entryTitle, code, why});
    Terminal::TextTable open({company, entryTitle});
    Terminal::TextTable warnings({company, entryTitle, code, QStringLiteral("what")});
    for (const ForeseenEntry& entry : foreseen.entries) {
        if (entry.outlook == Outlook::Imported)
            imported.addRow({entry.company, entry.entry, byteText(entry.bytes)});
        else if (entry.outlook == Outlook::NotImported)
            refused.addRow({entry.company, entry.entry, entry.reasonCode, entry.reason});
        else
            open.addRow({entry.company, entry.entry});
        for (const Remark& warning : entry.warnings)
            warnings.addRow({entry.company, entry.entry, warning.code, warning.text});
    }
    m_out << "\nWould be imported: " << imported.rowCount() << '\n' << imported.toString();
    if (open.rowCount() > 0)
        m_out << "\nNot known: " << open.rowCount() << '\n' << open.toString();
    m_out << "\nWould not be imported: " << refused.rowCount() << '\n' << refused.toString();
    if (warnings.rowCount() > 0)
        m_out << "\nWarnings: " << warnings.rowCount() << '\n' << warnings.toString();
}

void CheckRun::printRest(const Foreseen& foreseen)
{
    for (const ForeseenCompany& company : foreseen.companies) {
        if (company.isKnown && !*company.isKnown)
            m_out << "unknown company: " << printable(company.name) << ", " << company.entries
                  << " entries\n";
    }
    for (const ForeseenSpace& space : foreseen.spaces) {
        m_out << "space: " << printable(space.folder) << ": " << space.needed << " to " << space.neededAtMost
              << " bytes needed, ";
        if (space.free < 0)
            m_out << "it is not known what is free\n";
        else
            m_out << space.free << " free\n";
    }
    m_out << "bytes: " << foreseen.bytes() << '\n';
    if (foreseen.seconds)
        m_out << "time: about " << qRound64(*foreseen.seconds) << " s\n";
    else
        m_out << "time: not known, there was no run before\n";
    for (const Remark& remark : foreseen.remarks)
        m_out << "remark: " << remark.code << ": " << printable(remark.text) << '\n';
}

void CheckRun::printJson(const Foreseen& foreseen, int exitCode)
{
    const QJsonObject counts{{QStringLiteral("imported"), foreseen.count(Outlook::Imported)},
                             {QStringLiteral("not_imported"), foreseen.count(Outlook::NotImported)},
                             {QStringLiteral("open"), foreseen.count(Outlook::Open)},
                             {QStringLiteral("warned"), foreseen.warned()}};
    const QJsonObject site{{QStringLiteral("rows"), m_site.part(Backend::SitePart::Rows).place},
                           {QStringLiteral("files"), m_site.part(Backend::SitePart::Files).place}};
    QJsonObject document{
        {QStringLiteral("configuration"), m_site.configurationPath()},
        {QStringLiteral("site"), site},
        {QStringLiteral("directory"), m_options.directory},
        {QStringLiteral("exit_code"), exitCode},
        {QStringLiteral("counts"), counts},
        {QStringLiteral("bytes"), foreseen.bytes()},
        {QStringLiteral("seconds"), foreseen.seconds ? QJsonValue(*foreseen.seconds) : QJsonValue()},
        {QStringLiteral("companies"), arrayOf(foreseen.companies)},
        {QStringLiteral("rows"), arrayOf(foreseen.entries)},
        {QStringLiteral("space"), arrayOf(foreseen.spaces)},
        {QStringLiteral("remarks"), jsonOf(foreseen.remarks)}};
    if (exitCode > 2)
        document.insert(QStringLiteral("interrupted"), true);
    m_out << QString::fromUtf8(QJsonDocument(document).toJson());
}

} // namespace KOZAV::Host
