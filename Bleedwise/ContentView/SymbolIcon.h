#pragma once

#include <QColor>
#include <QImage>
#include <QQuickItem>
#include <QRectF>
#include <QString>
#include <QSvgRenderer>

class QPainter;

namespace Bleedwise {

/// One of the window's symbols in one colour, drawn afresh at the size and the scale of the screen
/// that it is shown on. `symbol` is the name of a drawing in `icons/`; its own colours do not
/// count, only where it is opaque, unless `color` is transparent. An unknown name draws nothing.
/// Smooth also while it is turned or enlarged, which QQuickPaintedItem is not where Qt Quick draws
/// without OpenGL.
class SymbolIcon : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString symbol READ symbol WRITE setSymbol NOTIFY symbolChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit SymbolIcon(QQuickItem* parent = nullptr);

    QString symbol() const { return symbol_; }
    void setSymbol(const QString& symbol);
    QColor color() const { return color_; }
    void setColor(const QColor& color);

    /// Draws it, in the item's own coordinates.
    void paint(QPainter* painter);

signals:
    void symbolChanged();
    void colorChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    QImage drawn(qreal scale);

    QString symbol_;
    QColor color_ = Qt::black;
    QSvgRenderer drawing_;
};

} // namespace Bleedwise
