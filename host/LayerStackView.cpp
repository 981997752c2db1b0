// The stack is drawn as sheets in a slanted view, from the lowest to the top one, so that each covers what
// lies behind it. Drills and routs have no sheet: they are barrels from the first to the last layer that they
// pass, and a layer that the matrix does not name stands for the outermost one. Layers outside the board are
// only listed. All lengths are pixels of the widget; sizeHint() adds up the same constants that the painting
// uses.

#include "host/LayerStackView.h"

#include <QPainter>
#include <QStringList>

#include <algorithm>

namespace KOZAV::Host {

namespace {

constexpr int margin = 24;
constexpr int sheetWidth = 190;
constexpr int sheetDepth = 46; ///< how far a sheet reaches down the picture
constexpr int sheetSkew = 60;
constexpr int sheetStep = 30; ///< from one sheet to the next
constexpr int labelGap = 26;
constexpr int nameWidth = 120;
constexpr int typeWidth = 104;
constexpr int textLine = 22;

bool isType(const MatrixLayer& layer, const char* type)
{
    return layer.type.compare(QLatin1String(type), Qt::CaseInsensitive) == 0;
}

bool isDrill(const MatrixLayer& layer)
{
    return isType(layer, "DRILL") || isType(layer, "ROUT");
}

QColor sheetColor(const MatrixLayer& layer)
{
    if (isType(layer, "SIGNAL"))
        return QColor(0xd0, 0x8a, 0x4e);
    if (isType(layer, "POWER_GROUND") || isType(layer, "MIXED"))
        return QColor(0xb8, 0x6b, 0x3a);
    if (isType(layer, "SOLDER_MASK"))
        return QColor(0x2f, 0x9e, 0x5b);
    if (isType(layer, "SILK_SCREEN"))
        return QColor(0xe8, 0xec, 0xf2);
    if (isType(layer, "SOLDER_PASTE"))
        return QColor(0x9a, 0xa7, 0xb8);
    if (isType(layer, "COMPONENT"))
        return QColor(0x5b, 0x8d, 0xd9);
    if (isType(layer, "DIELECTRIC"))
        return QColor(0xc9, 0xb9, 0x7c);
    return QColor(0x7d, 0x78, 0x90);
}

} // namespace

LayerStackView::LayerStackView(QWidget* parent)
    : QWidget(parent)
{
    setAccessibleName(tr("Layer stack"));
}

void LayerStackView::setMatrix(const Matrix& matrix)
{
    clear();
    for (const MatrixLayer& layer : matrix.layers) {
        if (layer.isBoard() && !isDrill(layer))
            m_sheets.push_back(layer);
        else if (!layer.isBoard())
            m_others << layer.name;
    }
    const int last = static_cast<int>(m_sheets.size()) - 1;
    for (const MatrixLayer& layer : matrix.layers) {
        if (layer.isBoard() && isDrill(layer))
            m_barrels.push_back(
                {layer.name, sheetIndex(layer.startName, 0), sheetIndex(layer.endName, last)});
    }
    QStringList names;
    for (const MatrixLayer& layer : matrix.layers)
        names << layer.name;
    setAccessibleDescription(names.join(QStringLiteral(", ")));
    updateGeometry();
    update();
}

void LayerStackView::clear()
{
    m_sheets.clear();
    m_barrels.clear();
    m_others.clear();
    updateGeometry();
    update();
}

QSize LayerStackView::sizeHint() const
{
    if (m_sheets.empty() && m_others.isEmpty())
        return {260, 120};
    const int sheets = static_cast<int>(m_sheets.size());
    const int others = m_others.isEmpty() ? 0 : textLine * (m_others.size() + 2);
    return {2 * margin + sheetWidth + sheetSkew + labelGap + nameWidth + typeWidth,
            2 * margin + sheets * sheetStep + sheetDepth + static_cast<int>(m_barrels.size()) * textLine +
                others};
}

int LayerStackView::sheetIndex(const QString& layerName, int otherwise) const
{
    const auto found = std::find_if(m_sheets.begin(), m_sheets.end(), [&](const MatrixLayer& layer) {
        return !layerName.isEmpty() && layer.name.compare(layerName, Qt::CaseInsensitive) == 0;
    });
    return found == m_sheets.end() ? otherwise : static_cast<int>(found - m_sheets.begin());
}

QPolygonF LayerStackView::sheetShape(int index) const
{
    const qreal top = margin + index * sheetStep;
    const qreal left = margin;
    return {{{left + sheetSkew, top},
             {left + sheetSkew + sheetWidth, top},
             {left + sheetWidth, top + sheetDepth},
             {left, top + sheetDepth}}};
}

void LayerStackView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_sheets.empty() && m_others.isEmpty()) {
        return;
    }
    for (int index = static_cast<int>(m_sheets.size()) - 1; index >= 0; --index)
        paintSheet(painter, index);
    for (int position = 0; position < static_cast<int>(m_barrels.size()); ++position)
        paintBarrel(painter, m_barrels[static_cast<std::size_t>(position)], position);
    paintOthers(painter);
}

void LayerStackView::paintSheet(QPainter& painter, int index) const
{
    const MatrixLayer& layer = m_sheets[static_cast<std::size_t>(index)];
    const QPolygonF shape = sheetShape(index);
    QColor fill = sheetColor(layer);
    painter.setPen(QPen(fill.lighter(130), 1.2));
    fill.setAlpha(205);
    painter.setBrush(fill);
    painter.drawPolygon(shape);

    const QPointF edge((shape[1].x() + shape[2].x()) / 2, shape[1].y() + sheetDepth / 2.0);
    const qreal labelLeft = margin + sheetWidth + sheetSkew + labelGap;
    const qreal labelMiddle = shape[1].y() + sheetStep / 2.0;
    painter.setPen(QPen(palette().color(QPalette::Disabled, QPalette::Text), 1));
    painter.drawLine(edge, QPointF(labelLeft - 6, labelMiddle));
    const QRectF nameBox(labelLeft, labelMiddle - textLine / 2.0, nameWidth - 6, textLine);
    const QRectF typeBox(labelLeft + nameWidth, labelMiddle - textLine / 2.0, typeWidth, textLine);
    painter.drawText(typeBox, Qt::AlignVCenter, layer.type.toLower());
    painter.setPen(palette().color(QPalette::Text));
    const QString name = painter.fontMetrics().elidedText(layer.name, Qt::ElideMiddle, int(nameBox.width()));
    painter.drawText(nameBox, Qt::AlignVCenter, name);
}

void LayerStackView::paintBarrel(QPainter& painter, const Barrel& barrel, int position) const
{
    if (m_sheets.empty())
        return;
    const qreal x = margin + sheetSkew + 20 + (position * 26) % (sheetWidth - sheetSkew - 20);
    const qreal top = sheetShape(std::min(barrel.first, barrel.last))[0].y() + sheetDepth / 2.0;
    const qreal bottom = sheetShape(std::max(barrel.first, barrel.last))[0].y() + sheetDepth / 2.0;
    const QColor metal(0xf2, 0xd2, 0x8b);
    painter.setPen(QPen(metal.darker(160), 1));
    painter.setBrush(metal);
    painter.drawRoundedRect(QRectF(x - 4, top, 8, bottom - top), 4, 4);
    painter.setBrush(QColor(0x24, 0x24, 0x24));
    painter.drawEllipse(QPointF(x, top + 2), 4, 2.2);

    const qreal line =
        margin + static_cast<int>(m_sheets.size()) * sheetStep + sheetDepth + position * textLine;
    painter.setPen(palette().color(QPalette::Text));
    const QString first = m_sheets[static_cast<std::size_t>(barrel.first)].name;
    const QString last = m_sheets[static_cast<std::size_t>(barrel.last)].name;
    painter.drawText(QRectF(margin, line, width() - 2 * margin, textLine), Qt::AlignVCenter,
                     QStringLiteral("⌀ %1: %2 – %3").arg(barrel.name, first, last));
}

void LayerStackView::paintOthers(QPainter& painter) const
{
    if (m_others.isEmpty())
        return;
    qreal line = margin + static_cast<int>(m_sheets.size()) * sheetStep + sheetDepth +
                 static_cast<int>(m_barrels.size()) * textLine + textLine / 2.0;
    painter.setPen(palette().color(QPalette::Disabled, QPalette::Text));
    painter.drawText(QRectF(margin, line, width() - 2 * margin, textLine), Qt::AlignVCenter,
                     tr("Layers outside the board"));
    painter.setPen(palette().color(QPalette::Text));
    for (const QString& name : m_others) {
        line += textLine;
        painter.drawText(QRectF(margin + 12, line, width() - 2 * margin, textLine), Qt::AlignVCenter, name);
    }
}

} // namespace KOZAV::Host
