// Imports as an operator sees them: the file import panel with real services, on a fresh site, worked through
// its buttons and dialogs. What is timed is the slot of the import button, from the press to its end, without
// the time in which a message box waits for its answer: packing, store and rows, all of it durable.
//
//     bench_import [--servers] [--delay-ms MS]
//
// It prints where the site's configuration is, then carries out orders from its standard input, a line each
// (folder PATH, archive PATH, batch PATH, and counts, which only tells what has passed), and answers each
// with a JSON object in a line. It ends with its input, and the site with it; so that a peer's turn can come
// between two orders, and whoever wants may look at the site. With --servers the site is on MariaDB and
// GridFS, with that delay each way. $TMPDIR is where the site is.

#include "bench/BenchSite.h"
#include "bench/Report.h"
#include "tests/support/OperatedPanel.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEvent>
#include <QMessageBox>
#include <QPushButton>

#include <iostream>
#include <string>

#include <sys/resource.h>

using namespace KOZAV;
using namespace KOZAV::Bench;

namespace {

const QString company = QStringLiteral("Bench");

/// Counts the time since a button was pressed outside of any dialog, while no message box is shown.
class SlotClock final : public QObject
{
public:
    SlotClock() { qApp->installEventFilter(this); }

    /// Seconds, to now.
    [[nodiscard]] double seconds() const
    {
        return static_cast<double>(m_before + (m_timer.isValid() ? m_timer.nsecsElapsed() : 0)) / 1e9;
    }

    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonRelease) {
            const auto* button = qobject_cast<QPushButton*>(object);
            if (button && !qobject_cast<QDialog*>(button->window())) {
                m_before = 0;
                m_timer.start();
            }
        } else if (event->type() == QEvent::Show && qobject_cast<QMessageBox*>(object)) {
            m_before += m_timer.nsecsElapsed();
            m_timer.invalidate();
        } else if (event->type() == QEvent::Hide && qobject_cast<QMessageBox*>(object)) {
            m_timer.start();
        }
        return false;
    }

private:
    QElapsedTimer m_timer;
    qint64 m_before = 0;
};

double processorSeconds()
{
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

QJsonObject traffic(const BenchSite& site)
{
    const auto number = [](std::uint64_t value) { return static_cast<double>(value); };
    return {{QStringLiteral("row_exchanges"), number(site.rowTraffic().exchanges)},
            {QStringLiteral("file_exchanges"), number(site.fileTraffic().exchanges)}};
}

/// Carries out an order. @return false where there is no such order, or something went otherwise than it does
/// when the import succeeds
bool import(Test::OperatedPanel& panel, const QString& order, const QString& source)
{
    if (order == QLatin1String("folder"))
        panel.importFolder(company, source);
    else if (order == QLatin1String("archive"))
        panel.importArchive(company, source);
    else if (order == QLatin1String("batch"))
        panel.importBatch(source);
    else
        return false;
    return panel.complaint().isEmpty();
}

QJsonObject timedImport(Test::OperatedPanel& panel, const BenchSite& site, const SlotClock& clock,
                        const QString& order, const QString& source)
{
    const int jobs = site.jobs();
    const qint64 bytes = site.storedBytes();
    const QJsonObject before = traffic(site);
    const double processor = processorSeconds();
    forgetMostMemory();
    if (!import(panel, order, source))
        qFatal("%s %s: %s", qUtf8Printable(order), qUtf8Printable(source), qUtf8Printable(panel.complaint()));
    QJsonObject answer{{QStringLiteral("seconds"), clock.seconds()},
                       {QStringLiteral("processor_seconds"), processorSeconds() - processor},
                       {QStringLiteral("most_mb"), memory("VmHWM:")}};
    const QJsonObject after = traffic(site);
    for (auto count = after.begin(); count != after.end(); ++count)
        answer.insert(count.key(), count.value().toDouble() - before[count.key()].toDouble());
    answer.insert(QStringLiteral("jobs"), site.jobs() - jobs);
    answer.insert(QStringLiteral("stored_bytes"), static_cast<double>(site.storedBytes() - bytes));
    return answer;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption servers(QStringLiteral("servers"));
    const QCommandLineOption delay(QStringLiteral("delay-ms"), {}, QStringLiteral("MS"), QStringLiteral("0"));
    parser.addOptions({servers, delay});
    parser.process(application);

    const BenchSite site(parser.isSet(servers) ? BenchSite::Engines::MariaDbGridFs
                                               : BenchSite::Engines::Embedded,
                         std::chrono::milliseconds(parser.value(delay).toInt()));
    site.addCompany(QStringLiteral("BN"), company);
    Test::OperatedPanel panel;
    const SlotClock clock;
    print({{QStringLiteral("configuration"), site.configuration()},
           {QStringLiteral("servers"), site.serverDescription()}});
    for (std::string line; std::getline(std::cin, line);) {
        const QString text = QString::fromStdString(line);
        const QString order = text.section(QLatin1Char(' '), 0, 0);
        print(order == QLatin1String("counts")
                  ? traffic(site)
                  : timedImport(panel, site, clock, order, text.section(QLatin1Char(' '), 1)));
    }
    return 0;
}
