// What the panels look like in a host: without its help, and with the theme that is made for them.

#include "ui/PanelTheme.h"

#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QPushButton>
#include <QStyle>
#include <QStyleFactory>
#include <QTest>
#include <QVBoxLayout>

using namespace KOZAV;
using KOZAV::Test::PanelHarness;

namespace {

/// The colour that most of a widget's picture has, without what stands on it.
QColor ground(QWidget& widget)
{
    const QImage image = widget.grab().toImage();
    QMap<QRgb, int> counts;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ++counts[image.pixel(x, y)];
    QRgb most = 0;
    for (auto count = counts.cbegin(); count != counts.cend(); ++count)
        if (counts.value(most) < count.value())
            most = count.key();
    return QColor(most);
}

} // namespace

class PanelThemeTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void panelTakesItsGroundFromTheHost();
    void placeIsDarkWhateverTheApplicationLooksLike();
    void applicationIsDark();
    void styleSheetNeedsNoPictures();

private:
    std::unique_ptr<QWidget> m_place;
    std::unique_ptr<PanelHarness> m_harness;
};

void PanelThemeTest::init()
{
    qApp->setStyleSheet(QString());
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(QPalette(QColor(0xef, 0xef, 0xef)));
    m_harness = std::make_unique<PanelHarness>();
}

void PanelThemeTest::cleanup()
{
    m_harness.reset();
    m_place.reset();
}

void PanelThemeTest::panelTakesItsGroundFromTheHost()
{
    m_harness->open();
    QCOMPARE(ground(*m_harness->view().fileName), QColor(Qt::white));
    QCOMPARE(m_harness->view().fileNameLabel->palette().windowText().color(), QColor(Qt::black));
}

void PanelThemeTest::placeIsDarkWhateverTheApplicationLooksLike()
{
    const QPalette palette = UI::panelPalette();
    m_place = std::make_unique<QWidget>();
    m_harness->open();
    (new QVBoxLayout(m_place.get()))->addWidget(&m_harness->panel());
    UI::applyPanelTheme(*m_place);
    m_place->resize(600, 700);
    m_place->show();

    QCOMPARE(m_place->grab().toImage().pixelColor(2, 2), palette.color(QPalette::Window));
    QCOMPARE(ground(*m_harness->view().fileName), palette.color(QPalette::Base));
    QCOMPARE(m_harness->view().fileNameLabel->palette().windowText(), palette.windowText());
    QCOMPARE(m_harness->view().company->palette().text(), palette.text());
    QCOMPARE(m_harness->view().fileName->font().pixelSize(), UI::panelFont().pixelSize());
    // What the panel has of its own stays.
    QCOMPARE(m_harness->view().singleImport->font().pixelSize(), 15);
    const QLabel outside;
    QCOMPARE(outside.palette().windowText().color(), QColor(Qt::black));
}

void PanelThemeTest::applicationIsDark()
{
    UI::applyPanelTheme(*qApp);
    m_harness->open();
    m_harness->panel().resize(600, 700);
    QCOMPARE(QApplication::palette(), UI::panelPalette());
    QCOMPARE(qApp->styleSheet(), UI::panelStyleSheet());
    QCOMPARE(QApplication::font().pixelSize(), 14);
    QCOMPARE(ground(*m_harness->view().fileName), UI::panelPalette().color(QPalette::Base));
    QCOMPARE(m_harness->panel().grab().toImage().pixelColor(2, 2),
             UI::panelPalette().color(QPalette::Window));
    // The panel's own colour of a button stays, on which the theme's border stands.
    QCOMPARE(ground(*m_harness->view().singleImport), QColor(0x27, 0x7a, 0xe7));
}

void PanelThemeTest::styleSheetNeedsNoPictures()
{
    QVERIFY(UI::panelStyleSheet().contains(QLatin1String("QPushButton:disabled")));
    QVERIFY(!UI::panelStyleSheet().contains(QLatin1String("url(")));
}

ZAV_REGISTER_TEST(panel_theme, PanelThemeTest, QApplication)
#include "panel_theme.moc"
