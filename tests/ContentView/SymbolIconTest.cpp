#include "ContentView/SymbolIcon.h"

#include "support/WindowFixture.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <QColor>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QSize>
#include <QString>
#include <QtGlobal>
#include <gtest/gtest.h>

extern void qml_register_types_Bleedwise_Window();

namespace Bleedwise {
namespace {

/// The drawing of an icon at a number of pixels for each of its units.
QImage drawn(SymbolIcon& icon, int scale = 1) {
    const auto size =
        QSize(static_cast<int>(icon.width()), static_cast<int>(icon.height())) * scale;
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.scale(scale, scale);
    icon.paint(&painter);
    return image;
}

/// Whether all that can be seen of an image has this colour.
bool isOnly(const QImage& image, const QColor& color) {
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const auto pixel = image.pixelColor(x, y);
            if (pixel.alpha() == 255 && pixel != color)
                return false;
        }
    }
    return true;
}

bool isBlank(const QImage& image) {
    QImage blank(image.size(), image.format());
    blank.fill(Qt::transparent);
    return image == blank;
}

class SymbolIconTest : public Testing::WindowFixture {
protected:
    SymbolIconTest() { qml_register_types_Bleedwise_Window(); }
};

TEST_F(SymbolIconTest, HasTheSizeOfItsDrawing) {
    SymbolIcon icon;
    icon.setSymbol("plus-circle");
    EXPECT_EQ(icon.implicitWidth(), 48);
    EXPECT_EQ(icon.implicitHeight(), 48);
}

TEST_F(SymbolIconTest, IsDrawnInItsColour) {
    SymbolIcon icon;
    icon.setSymbol("checkmark-circle-fill");
    icon.setColor(Qt::darkGreen);
    EXPECT_FALSE(isBlank(drawn(icon)));
    EXPECT_TRUE(isOnly(drawn(icon), Qt::darkGreen));
}

TEST_F(SymbolIconTest, IsDrawnInItsOwnColoursWhenTransparent) {
    SymbolIcon icon;
    icon.setSymbol("bleedwise");
    icon.setColor(Qt::transparent);
    EXPECT_EQ(drawn(icon).pixelColor(52, 52), QColor(0x00, 0x9f, 0xe3)); // the cyan ink's
}

TEST_F(SymbolIconTest, IsDrawnAfreshAtEachScale) {
    SymbolIcon icon;
    icon.setSymbol("cross-circle-fill");
    EXPECT_NE(drawn(icon, 2), drawn(icon).scaled(36, 36));
}

TEST_F(SymbolIconTest, DrawsNothingForAnUnknownName) {
    SymbolIcon icon;
    icon.setSymbol("circle");
    icon.setSize(QSize(18, 18));
    icon.setSymbol("no such symbol");
    EXPECT_TRUE(isBlank(drawn(icon)));
}

/// What a window without OpenGL shows of a symbol that is turned by an angle.
QImage shown(const QString& symbol, qreal angle) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickWindow window;
    window.resize(40, 40);
    auto* icon = new SymbolIcon(window.contentItem());
    icon->setPosition({10, 10});
    icon->setSymbol(symbol);
    icon->setRotation(angle);
    return window.grabWindow();
}

int largestDifference(const QImage& one, const QImage& other) {
    int largest = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            largest =
                std::max(largest, std::abs(qGray(one.pixel(x, y)) - qGray(other.pixel(x, y))));
    }
    return largest;
}

TEST_F(SymbolIconTest, IsSmoothWhileItIsTurned) {
    const auto straight = shown("circle", 0);
    ASSERT_GT(largestDifference(straight, shown("", 0)), 200);
    // A circle stays as it is, but for the softness of pixels that lie between others. Without that
    // its edge is off by up to half a pixel, which is half of the contrast: 125.
    EXPECT_LT(largestDifference(straight, shown("circle", 30)), 96);
}

TEST_F(SymbolIconTest, AnnouncesAChange) {
    SymbolIcon icon;
    int changes = 0;
    QObject::connect(&icon, &SymbolIcon::symbolChanged, [&] { ++changes; });
    icon.setSymbol("circle");
    icon.setSymbol("circle");
    EXPECT_EQ(changes, 1);
}

std::vector<std::string> allSymbols() {
    std::vector<std::string> result;
    const QDir folder(BLEEDWISE_SOURCE_FOLDER "/Bleedwise/ContentView/icons");
    for (const auto& file : folder.entryList({"*.svg"}))
        result.push_back(file.chopped(4).toStdString());
    return result;
}

class EachSymbolTest : public SymbolIconTest, public testing::WithParamInterface<std::string> {};

TEST_P(EachSymbolTest, IsPartOfTheWindow) {
    SymbolIcon icon;
    icon.setSymbol(QString::fromStdString(GetParam()));
    ASSERT_GT(icon.width(), 0);
    EXPECT_FALSE(isBlank(drawn(icon)));
}

std::string identifier(std::string symbol) {
    for (auto& letter : symbol) {
        if (letter == '-')
            letter = '_';
    }
    return symbol;
}

INSTANTIATE_TEST_SUITE_P(Symbols, EachSymbolTest, testing::ValuesIn(allSymbols()),
                         [](const auto& test) { return identifier(test.param); });

} // namespace
} // namespace Bleedwise
