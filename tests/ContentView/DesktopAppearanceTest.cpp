#include "ContentView/DesktopAppearance.h"

#include "support/ScopedVariable.h"
#include "support/SessionBus.h"
#include "support/WindowFixture.h"

#include <string>
#include <vector>

#include <QApplication>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QFont>
#include <QMap>
#include <QPalette>
#include <QThread>
#include <QVariant>
#include <gtest/gtest.h>

namespace Bleedwise {

using SettingGroups = QMap<QString, QVariantMap>;

namespace {

using Testing::ScopedVariable;
using Testing::SessionBus;

constexpr auto portalPath = "/org/freedesktop/portal/desktop";

/// The desktop portal's settings.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    explicit FakePortal(SettingGroups groups) : groups_(std::move(groups)) {}

public slots:
    Bleedwise::SettingGroups ReadAll(const QStringList& /*groups*/) { return groups_; }

private:
    SettingGroups groups_;
};

/// A portal in a thread of its own, as it would be in a process of its own: it answers also while
/// the main thread waits for it.
class RunningPortal {
public:
    RunningPortal(SessionBus& bus, SettingGroups groups)
        : bus_(bus.connect()), portal_(new FakePortal(std::move(groups))) {
        portal_->moveToThread(&thread_);
        QObject::connect(&thread_, &QThread::finished, portal_, &QObject::deleteLater);
        thread_.start();
        QMetaObject::invokeMethod(
            portal_,
            [this] {
                bus_.registerObject(portalPath, portal_, QDBusConnection::ExportAllSlots);
                bus_.registerService("org.freedesktop.portal.Desktop");
            },
            Qt::BlockingQueuedConnection);
    }
    RunningPortal(const RunningPortal&) = delete;
    RunningPortal& operator=(const RunningPortal&) = delete;
    ~RunningPortal() {
        thread_.quit();
        thread_.wait();
    }

    void change(const QString& group, const QString& key, const QVariant& value) {
        auto signal = QDBusMessage::createSignal(portalPath, "org.freedesktop.portal.Settings",
                                                 "SettingChanged");
        signal << group << key << QVariant::fromValue(QDBusVariant(value));
        bus_.send(signal);
    }

private:
    QDBusConnection bus_;
    FakePortal* portal_;
    QThread thread_;
};

SettingGroups colorScheme(uint scheme) {
    return {{"org.freedesktop.appearance", {{"color-scheme", scheme}}}};
}

QPalette palette(QColor window, QColor text) {
    QPalette result;
    result.setColor(QPalette::Window, window);
    result.setColor(QPalette::WindowText, text);
    return result;
}

class DesktopAppearanceTest : public Testing::WindowFixture {
protected:
    DesktopAppearanceTest() { qDBusRegisterMetaType<SettingGroups>(); }

    void useDarkPalette() { QApplication::setPalette(palette(Qt::black, Qt::white)); }
    void useLightPalette() { QApplication::setPalette(palette(Qt::white, Qt::black)); }
    void useFont(double pointSize) {
        auto font = QApplication::font();
        font.setPointSizeF(pointSize);
        QApplication::setFont(font);
    }

    SessionBus bus;
};

TEST_F(DesktopAppearanceTest, IsDarkFromTheStartWhenARunningPortalSaysSo) {
    useLightPalette();
    const RunningPortal portal(bus, colorScheme(1));
    EXPECT_TRUE(DesktopAppearance(bus.connect()).isDark());
}

TEST_F(DesktopAppearanceTest, IsLightFromTheStartWhenARunningPortalSaysSo) {
    useDarkPalette();
    const RunningPortal portal(bus, colorScheme(2));
    EXPECT_FALSE(DesktopAppearance(bus.connect()).isDark());
}

TEST_F(DesktopAppearanceTest, FollowsAPortalThatChangesItsMind) {
    useLightPalette();
    RunningPortal portal(bus, colorScheme(2));
    DesktopAppearance appearance(bus.connect());
    // Qt asks the bus for the signal on a thread of its own, some time after the start.
    EXPECT_TRUE(runUntil([&] {
        portal.change("org.freedesktop.appearance", "color-scheme", 1U);
        return appearance.isDark();
    }));
}

TEST_F(DesktopAppearanceTest, AnnouncesAChangeOnce) {
    useLightPalette();
    RunningPortal portal(bus, colorScheme(2));
    DesktopAppearance appearance(bus.connect());
    ASSERT_TRUE(runUntil([&] { // until it listens
        portal.change("org.freedesktop.appearance", "color-scheme", 1U);
        return appearance.isDark();
    }));
    int announcements = 0;
    QObject::connect(&appearance, &DesktopAppearance::darkChanged, [&] { ++announcements; });
    portal.change("org.freedesktop.appearance", "color-scheme", 2U);
    portal.change("org.freedesktop.appearance", "color-scheme", 2U);
    portal.change("org.freedesktop.appearance", "reduced-motion", 1U);
    ASSERT_TRUE(runUntil([&] { return appearance.isReducedMotion(); }));
    EXPECT_EQ(announcements, 1);
}

TEST_F(DesktopAppearanceTest, TakesThePaletteWhereThePortalHasNoPreference) {
    useDarkPalette();
    const RunningPortal portal(bus, colorScheme(0));
    EXPECT_TRUE(DesktopAppearance(bus.connect()).isDark());
}

TEST_F(DesktopAppearanceTest, TakesThePaletteWithoutAPortal) {
    useDarkPalette();
    EXPECT_TRUE(DesktopAppearance(bus.connect()).isDark());
}

TEST_F(DesktopAppearanceTest, TakesThePaletteWithoutABus) {
    useDarkPalette();
    EXPECT_TRUE(DesktopAppearance(SessionBus::missing()).isDark());
}

TEST_F(DesktopAppearanceTest, FollowsThePalette) {
    useLightPalette();
    DesktopAppearance appearance(SessionBus::missing());
    useDarkPalette();
    EXPECT_TRUE(runUntil([&] { return appearance.isDark(); }));
}

TEST_F(DesktopAppearanceTest, MovesUnlessTheDesktopSaysOtherwise) {
    const RunningPortal portal(bus, colorScheme(1));
    EXPECT_FALSE(DesktopAppearance(bus.connect()).isReducedMotion());
}

struct MotionSetting {
    std::string name;
    QString group;
    QString key;
    QVariant value;
    bool isReduced = false;
};

class MotionSettingTest : public DesktopAppearanceTest,
                          public testing::WithParamInterface<MotionSetting> {};

TEST_P(MotionSettingTest, DecidesAboutMotion) {
    const auto& setting = GetParam();
    const RunningPortal portal(bus, {{setting.group, {{setting.key, setting.value}}}});
    EXPECT_EQ(DesktopAppearance(bus.connect()).isReducedMotion(), setting.isReduced);
}

const MotionSetting motionSettings[] = {
    {"ReducedMotion", "org.freedesktop.appearance", "reduced-motion", 1U, true},
    {"NoPreference", "org.freedesktop.appearance", "reduced-motion", 0U, false},
    {"AnimationsOff", "org.gnome.desktop.interface", "enable-animations", false, true},
    {"AnimationsOn", "org.gnome.desktop.interface", "enable-animations", true, false},
    {"NoDuration", "org.kde.kdeglobals.KDE", "AnimationDurationFactor", "0", true},
    {"LongDuration", "org.kde.kdeglobals.KDE", "AnimationDurationFactor", "1.4", false},
    {"DurationThatIsNoNumber", "org.kde.kdeglobals.KDE", "AnimationDurationFactor", "fast", false},
};

INSTANTIATE_TEST_SUITE_P(Settings, MotionSettingTest, testing::ValuesIn(motionSettings),
                         [](const auto& test) { return test.param.name; });

struct FontSetting {
    std::string name;
    std::string desktop;
    double pointSize = 0;
    double scale = 0;
};

class FontSettingTest : public DesktopAppearanceTest,
                        public testing::WithParamInterface<FontSetting> {};

TEST_P(FontSettingTest, DecidesAboutTheScale) {
    const auto& setting = GetParam();
    const ScopedVariable desktop("XDG_CURRENT_DESKTOP", setting.desktop);
    useFont(setting.pointSize);
    EXPECT_NEAR(DesktopAppearance(SessionBus::missing()).fontScale(), setting.scale, 0.01);
}

const FontSetting fontSettings[] = {
    {"UsualFontOfNoDesktop", "", 9, 1},
    {"UsualFontOfGNOME", "ubuntu:GNOME", 11, 1},
    {"UsualFontOfKDE", "KDE", 10, 1},
    {"LargerFont", "GNOME", 16.5, 1.5},
    {"SmallerFontWouldBeTooSmall", "GNOME", 8, 1},
    {"GiantFontWouldNotFit", "KDE", 100, 3},
};

INSTANTIATE_TEST_SUITE_P(Settings, FontSettingTest, testing::ValuesIn(fontSettings),
                         [](const auto& test) { return test.param.name; });

TEST_F(DesktopAppearanceTest, FollowsTheFont) {
    const ScopedVariable desktop("XDG_CURRENT_DESKTOP", "KDE");
    useFont(10);
    DesktopAppearance appearance(SessionBus::missing());
    useFont(15);
    EXPECT_TRUE(runUntil([&] { return appearance.fontScale() > 1.4; }));
}

} // namespace
} // namespace Bleedwise

#include "DesktopAppearanceTest.moc"
