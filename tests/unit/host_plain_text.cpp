// Names with markup in the client's window: what is shown of them is their text.

#include "host/CamImport.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/site/SiteAccess.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTextDocument>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

const QString name = QStringLiteral("<b>job</b>&amp;<img src=\"/etc/hostname\">");

/// The widgets of the window but for those of the panel, whose looks are its own.
template <typename Widget>
QList<Widget*> widgetsOf(const MainWindow& window)
{
    QList<Widget*> widgets = window.findChildren<Widget*>();
    widgets.erase(std::remove_if(widgets.begin(), widgets.end(),
                                 [&](Widget* widget) { return window.importPanel()->isAncestorOf(widget); }),
                  widgets.end());
    return widgets;
}

} // namespace

class HostPlainText final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void labelsShowMarkupAsText();
    void toolTipsOfRowsHoldNoMarkup();

private:
    FreshSite m_site;
    ServiceLog m_log;
};

void HostPlainText::labelsShowMarkupAsText()
{
    SiteAccess access(m_site.configuration());
    QCOMPARE(access.open(), QString());
    const MainWindow window(access, m_log);
    Q_EMIT window.camImport().started(name);
    Q_EMIT window.camImport().failed(name, name);
    int shown = 0;
    for (const QLabel* label : widgetsOf<QLabel>(window)) {
        if (!label->text().contains(name))
            continue;
        ++shown;
        QVERIFY2(label->textFormat() == Qt::PlainText, qPrintable(label->text()));
    }
    QVERIFY(shown > 0);
}

void HostPlainText::toolTipsOfRowsHoldNoMarkup()
{
    m_site.addCompany(QStringLiteral("AB"), name);
    SiteAccess access(m_site.configuration());
    QCOMPARE(access.open(), QString());
    m_log.add(QtWarningMsg, name, name);
    const MainWindow window(access, m_log);
    int shown = 0;
    for (const QAbstractItemView* view : widgetsOf<QAbstractItemView>(window)) {
        const QAbstractItemModel* model = view->model();
        for (int row = 0; model != nullptr && row < model->rowCount(); ++row) {
            for (int column = 0; column < model->columnCount(); ++column) {
                const QModelIndex index = model->index(row, column);
                shown += index.data().toString().contains(name) ? 1 : 0;
                QVERIFY(!Qt::mightBeRichText(index.data(Qt::ToolTipRole).toString()) ||
                        !index.data(Qt::ToolTipRole).toString().contains(name));
            }
        }
    }
    QVERIFY(shown > 0);
}

ZAV_REGISTER_TEST(host_plain_text, HostPlainText, QApplication)

#include "host_plain_text.moc"
