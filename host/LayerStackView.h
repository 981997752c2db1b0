#pragma once

#include "host/odb/OdbJob.h"

#include <QWidget>

namespace KOZAV::Host {

/// Draws the board of a job as a stack of layers, top side up: conductors, masks, silk screens and pastes as
/// sheets in their colours, drills as barrels through the layers that they join. Layers outside the board
/// stand below, as a list.
class LayerStackView final : public QWidget
{
    Q_OBJECT
public:
    explicit LayerStackView(QWidget* parent = nullptr);

    void setMatrix(const Matrix& matrix);
    void clear();

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    /// A drill with the first and last sheet that it goes through.
    struct Barrel
    {
        QString name;
        int first;
        int last;
    };

    [[nodiscard]] int sheetIndex(const QString& layerName, int otherwise) const;
    [[nodiscard]] QPolygonF sheetShape(int index) const;
    void paintSheet(QPainter& painter, int index) const;
    void paintBarrel(QPainter& painter, const Barrel& barrel, int position) const;
    void paintOthers(QPainter& painter) const;

    std::vector<MatrixLayer> m_sheets;
    std::vector<Barrel> m_barrels;
    QStringList m_others;
};

} // namespace KOZAV::Host
