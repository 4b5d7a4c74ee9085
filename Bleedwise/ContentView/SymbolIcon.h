#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QString>
#include <QSvgRenderer>

namespace Bleedwise {

/// One of the window's symbols in one colour, drawn afresh at the size and the scale of the screen
/// that it is shown on. `symbol` is the name of a drawing in `icons/`; its own colours do not
/// count, only where it is opaque. An unknown name draws nothing.
class SymbolIcon : public QQuickPaintedItem {
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

    void paint(QPainter* painter) override;

signals:
    void symbolChanged();
    void colorChanged();

private:
    QString symbol_;
    QColor color_ = Qt::black;
    QSvgRenderer drawing_;
};

} // namespace Bleedwise
