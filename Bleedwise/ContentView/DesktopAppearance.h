#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

namespace Bleedwise {

/// How the desktop wants windows to look: dark or light, with or without motion, with what size of
/// text. Follows changes while the program runs.
///
/// Asks the settings portal (org.freedesktop.portal.Settings) on the session bus. Where there is
/// none, or where it has no preference, the application's palette tells dark from light. A portal
/// that is running answers before the constructor returns, so that a dark window is dark from its
/// first frame; one that has yet to be started is not waited for. Main thread, after the
/// QGuiApplication.
class DesktopAppearance : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ isDark NOTIFY darkChanged)
    Q_PROPERTY(bool reducedMotion READ isReducedMotion NOTIFY reducedMotionChanged)
    Q_PROPERTY(double fontScale READ fontScale NOTIFY fontScaleChanged)
    Q_PROPERTY(QString fixedFontFamily READ fixedFontFamily NOTIFY fontScaleChanged)

public:
    explicit DesktopAppearance(QDBusConnection bus, QObject* parent = nullptr);
    static DesktopAppearance* create(QQmlEngine* engine, QJSEngine* scriptEngine);

    bool isDark() const;
    bool isReducedMotion() const;

    /// The desktop's text size as a multiple of what is usual on that desktop. Never below 1: the
    /// window's smallest text is at the limit of what can be read.
    double fontScale() const;

    /// The family of the desktop's font of fixed width.
    QString fixedFontFamily() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void darkChanged();
    void reducedMotionChanged();
    void fontScaleChanged();

private slots:
    void noteSetting(const QString& group, const QString& key, const QDBusVariant& value);

private:
    enum class ColorScheme { NoPreference, Dark, Light };

    void readPortal();
    void noteSettings(const QVariant& groups);
    void apply(const QString& group, const QString& key, const QVariant& value);
    void announceChanges();

    QDBusConnection bus_;
    ColorScheme colorScheme_ = ColorScheme::NoPreference;
    bool portalReducesMotion_ = false;
    bool animationsEnabled_ = true;
    double animationDurationFactor_ = 1;
    double textScalingFactor_ = 1;

    bool announcedDark_ = false;
    bool announcedReducedMotion_ = false;
    double announcedFontScale_ = 1;
};

} // namespace Bleedwise
