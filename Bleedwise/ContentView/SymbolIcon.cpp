#include "ContentView/SymbolIcon.h"

#include <QFile>
#include <QPainter>

namespace Bleedwise {

SymbolIcon::SymbolIcon(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
}

void SymbolIcon::setSymbol(const QString& symbol) {
    if (symbol == symbol_)
        return;
    symbol_ = symbol;
    const auto file = QString(":/qt-project.org/imports/Bleedwise/Window/icons/%1.svg").arg(symbol);
    if (QFile::exists(file))
        drawing_.load(file);
    else
        drawing_.load(QByteArray());
    setImplicitSize(drawing_.defaultSize().width(), drawing_.defaultSize().height());
    update();
    emit symbolChanged();
}

void SymbolIcon::setColor(const QColor& color) {
    if (color == color_)
        return;
    color_ = color;
    update();
    emit colorChanged();
}

void SymbolIcon::paint(QPainter* painter) {
    if (!drawing_.isValid())
        return;
    drawing_.render(painter, boundingRect());
    painter->setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter->fillRect(boundingRect(), color_);
}

} // namespace Bleedwise
