// The drawn stack of layers.

#include "host/LayerStackView.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QImage>
#include <QTest>

using namespace KOZAV::Host;

namespace {

MatrixLayer layer(int row, const char* type, const char* name, const char* context = "BOARD")
{
    MatrixLayer made;
    made.row = row;
    made.context = QString::fromLatin1(context);
    made.type = QString::fromLatin1(type);
    made.name = QString::fromLatin1(name);
    return made;
}

Matrix board()
{
    Matrix matrix;
    matrix.steps = {{1, QStringLiteral("pcb")}};
    matrix.layers = {layer(1, "SIGNAL", "top"), layer(2, "SOLDER_MASK", "smb"), layer(3, "DRILL", "drill"),
                     layer(4, "DOCUMENT", "notes", "MISC")};
    return matrix;
}

QImage picture(LayerStackView& view)
{
    view.resize(view.sizeHint());
    return view.grab().toImage();
}

} // namespace

class HostLayerStack : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void drawsTheLayersOfTheBoard();
    void growsWithTheLayers();
    void isReadToThoseWhoDoNotSee();
    void drillOfUnknownLayers();
    void clears();
};

void HostLayerStack::drawsTheLayersOfTheBoard()
{
    LayerStackView view;
    view.setMatrix(board());
    const QImage both = picture(view);
    Matrix other = board();
    other.layers[1].type = QStringLiteral("SIGNAL");
    view.setMatrix(other);
    QVERIFY(picture(view) != both);
    Matrix withoutDrill = board();
    withoutDrill.layers.erase(withoutDrill.layers.begin() + 2);
    view.setMatrix(withoutDrill);
    QVERIFY(picture(view) != both);
}

void HostLayerStack::growsWithTheLayers()
{
    LayerStackView view;
    view.setMatrix(board());
    const int before = view.sizeHint().height();
    Matrix many = board();
    for (int row = 5; row < 65; ++row)
        many.layers.push_back(layer(row, "SIGNAL", "inner"));
    view.setMatrix(many);
    QVERIFY(view.sizeHint().height() >= before + 60 * 20);
}

void HostLayerStack::isReadToThoseWhoDoNotSee()
{
    LayerStackView view;
    view.setMatrix(board());
    QCOMPARE(view.accessibleDescription(), QStringLiteral("top, smb, drill, notes"));
}

void HostLayerStack::drillOfUnknownLayers()
{
    Matrix matrix = board();
    matrix.layers[2].startName = QStringLiteral("no such layer");
    matrix.layers[2].endName = QStringLiteral("neither");
    LayerStackView view;
    view.setMatrix(matrix);
    QVERIFY(!picture(view).isNull());
    Matrix onlyDrill = board();
    onlyDrill.layers = {layer(1, "DRILL", "drill")};
    view.setMatrix(onlyDrill);
    QVERIFY(!picture(view).isNull());
}

void HostLayerStack::clears()
{
    LayerStackView view;
    const QImage empty = picture(view);
    view.setMatrix(board());
    view.clear();
    QCOMPARE(picture(view), empty);
}

ZAV_REGISTER_TEST(host_layer_stack, HostLayerStack, QApplication)

#include "host_layer_stack.moc"
