#include "ContentView/DesktopAppearance.h"

#include "ContentView/DesktopPortal.h"

#include <algorithm>
#include <utility>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QEvent>
#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QMap>
#include <QPalette>
#include <QStringList>

namespace Bleedwise {
namespace {

constexpr auto portalInterface = "org.freedesktop.portal.Settings";

constexpr auto appearance = "org.freedesktop.appearance";
constexpr auto gnomeInterface = "org.gnome.desktop.interface";
constexpr auto kdeGlobals = "org.kde.kdeglobals.KDE";

/// A running portal answers within a few milliseconds; a stuck one must not hold up the window.
constexpr int portalPatienceInMilliseconds = 250;

constexpr double smallestFontScale = 1;
constexpr double largestFontScale = 3;

using Settings = QMap<QString, QVariantMap>;

QDBusMessage readAllRequest() {
    auto request = QDBusMessage::createMethodCall(DesktopPortal::service, DesktopPortal::path,
                                                  portalInterface, "ReadAll");
    request << QStringList{appearance, gnomeInterface, kdeGlobals};
    return request;
}

bool paletteIsDark() {
    const auto palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

/// The point size of text as this desktop is delivered, where Qt learns it from the desktop.
double usualPointSize() {
    const auto desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(':');
    if (desktops.contains("GNOME"))
        return 11;
    for (const auto* desktop : {"KDE", "XFCE", "MATE"}) {
        if (desktops.contains(desktop))
            return 10;
    }
    return 9; // Qt's own choice where no desktop tells it
}

} // namespace

DesktopAppearance::DesktopAppearance(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {
    qApp->installEventFilter(this);
    // By its name alone Qt does not know the type yet, and then connects nothing, without a word.
    qRegisterMetaType<QDBusVariant>();
    bus_.connect(DesktopPortal::service, DesktopPortal::path, portalInterface, "SettingChanged",
                 this, SLOT(noteSetting(QString, QString, QDBusVariant)));
    readPortal();
    announceChanges();
}

DesktopAppearance* DesktopAppearance::create(QQmlEngine* engine, QJSEngine*) {
    return new DesktopAppearance(QDBusConnection::sessionBus(), reinterpret_cast<QObject*>(engine));
}

bool DesktopAppearance::isDark() const {
    if (colorScheme_ == ColorScheme::NoPreference)
        return paletteIsDark();
    return colorScheme_ == ColorScheme::Dark;
}

bool DesktopAppearance::isReducedMotion() const {
    return portalReducesMotion_ || !animationsEnabled_ || animationDurationFactor_ == 0;
}

double DesktopAppearance::fontScale() const {
    const auto font = QGuiApplication::font();
    // A font that is given in pixels has no size in points of its own.
    const auto pointSize = font.pointSizeF() > 0 ? font.pointSizeF() : QFontInfo(font).pointSizeF();
    auto scale = pointSize / usualPointSize();
    // Under X11 this factor is already in the screen's resolution, hence in the scale of the
    // window.
    if (QGuiApplication::platformName().startsWith("wayland"))
        scale *= textScalingFactor_;
    return std::clamp(scale, smallestFontScale, largestFontScale);
}

QString DesktopAppearance::fixedFontFamily() const {
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

bool DesktopAppearance::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qApp && (event->type() == QEvent::ApplicationPaletteChange ||
                            event->type() == QEvent::ApplicationFontChange))
        announceChanges();
    return QObject::eventFilter(watched, event);
}

void DesktopAppearance::noteSetting(const QString& group, const QString& key,
                                    const QDBusVariant& value) {
    apply(group, key, value.variant());
    announceChanges();
}

void DesktopAppearance::readPortal() {
    if (!bus_.isConnected())
        return;
    const auto isRunning = bus_.interface()->isServiceRegistered(DesktopPortal::service);
    if (isRunning.isValid() && isRunning.value()) {
        const auto reply = bus_.call(readAllRequest(), QDBus::Block, portalPatienceInMilliseconds);
        if (reply.type() == QDBusMessage::ReplyMessage)
            noteSettings(reply.arguments().value(0));
        return;
    }
    auto* reply = new QDBusPendingCallWatcher(bus_.asyncCall(readAllRequest()), this);
    connect(reply, &QDBusPendingCallWatcher::finished, this, [this, reply] {
        if (!reply->isError())
            noteSettings(reply->reply().arguments().value(0));
        announceChanges();
        reply->deleteLater();
    });
}

void DesktopAppearance::noteSettings(const QVariant& groups) {
    if (groups.metaType() != QMetaType::fromType<QDBusArgument>())
        return;
    const auto settings = qdbus_cast<Settings>(groups.value<QDBusArgument>());
    for (auto group = settings.cbegin(); group != settings.cend(); ++group) {
        for (auto entry = group->cbegin(); entry != group->cend(); ++entry)
            apply(group.key(), entry.key(), entry.value());
    }
}

void DesktopAppearance::apply(const QString& group, const QString& key, const QVariant& value) {
    if (group == appearance && key == "color-scheme") {
        // 1 and 2 as the portal defines them; any other number means no preference.
        const auto scheme = value.toUInt();
        colorScheme_ = scheme == 1   ? ColorScheme::Dark
                       : scheme == 2 ? ColorScheme::Light
                                     : ColorScheme::NoPreference;
    } else if (group == appearance && key == "reduced-motion") {
        portalReducesMotion_ = value.toUInt() == 1;
    } else if (group == gnomeInterface && key == "enable-animations") {
        animationsEnabled_ = value.toBool();
    } else if (group == gnomeInterface && key == "text-scaling-factor") {
        textScalingFactor_ = value.toDouble();
    } else if (group == kdeGlobals && key == "AnimationDurationFactor") {
        bool isNumber = false;
        const auto factor = value.toDouble(&isNumber);
        animationDurationFactor_ = isNumber ? factor : 1;
    }
}

void DesktopAppearance::announceChanges() {
    const auto replaces = [](auto& announced, auto current) {
        return std::exchange(announced, current) != current;
    };
    if (replaces(announcedDark_, isDark()))
        emit darkChanged();
    if (replaces(announcedReducedMotion_, isReducedMotion()))
        emit reducedMotionChanged();
    if (replaces(announcedFontScale_, fontScale()))
        emit fontScaleChanged();
}

} // namespace Bleedwise
