#include "ContentView/SymbolIcon.h"

#include <cmath>

#include <QFile>
#include <QPainter>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGTexture>

namespace Bleedwise {

SymbolIcon::SymbolIcon(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
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
    painter->setRenderHint(QPainter::Antialiasing);
    drawing_.render(painter, boundingRect());
    if (color_.alpha() == 0)
        return;
    painter->setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter->fillRect(boundingRect(), color_);
}

QImage SymbolIcon::drawn(qreal scale) {
    QImage image(static_cast<int>(std::ceil(width() * scale)),
                 static_cast<int>(std::ceil(height() * scale)),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.scale(image.width() / width(), image.height() / height());
    paint(&painter);
    return image;
}

QSGNode* SymbolIcon::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* /*data*/) {
    delete oldNode; // with its texture
    if (!drawing_.isValid() || boundingRect().isEmpty())
        return nullptr;
    auto* node = window()->createImageNode();
    node->setOwnsTexture(true);
    node->setTexture(window()->createTextureFromImage(drawn(window()->effectiveDevicePixelRatio()),
                                                      QQuickWindow::TextureCanUseAtlas));
    node->setFiltering(QSGTexture::Linear);
    node->setRect(boundingRect());
    return node;
}

void SymbolIcon::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size())
        update();
}

void SymbolIcon::itemChange(ItemChange change, const ItemChangeData& data) {
    QQuickItem::itemChange(change, data);
    if (change == ItemDevicePixelRatioHasChanged)
        update();
}

} // namespace Bleedwise
