#include "ContentView/FileChooser.h"

#include "ContentView/DesktopPortal.h"

#include <utility>

#include <QColor>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QFileDialog>
#include <QGuiApplication>
#include <QPalette>
#include <QStringList>
#include <QUuid>

namespace Bleedwise {

/// A filter of the portal's dialog, on the bus of type (sa(us)).
struct PortalFilter {
    struct Rule {
        uint kind = 0;
        QString pattern;
    };
    QString name;
    QList<Rule> rules;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalFilter::Rule& rule) {
    argument.beginStructure();
    argument << rule.kind << rule.pattern;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalFilter::Rule& rule) {
    argument.beginStructure();
    argument >> rule.kind >> rule.pattern;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const PortalFilter& filter) {
    argument.beginStructure();
    argument << filter.name << filter.rules;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalFilter& filter) {
    argument.beginStructure();
    argument >> filter.name >> filter.rules;
    argument.endStructure();
    return argument;
}

namespace {

constexpr auto chooserInterface = "org.freedesktop.portal.FileChooser";
constexpr auto requestInterface = "org.freedesktop.portal.Request";

constexpr auto title = "Choose PDFs";
constexpr auto filterName = "PDF files";

// Kinds of rules, and responses, as the portal numbers them.
constexpr uint globRule = 0;
constexpr uint mediaTypeRule = 1;
constexpr uint confirmed = 0;

/// A portal that does not take the request by then is as good as none.
constexpr int portalPatienceInMilliseconds = 5000;

QList<PortalFilter> pdfFilters() {
    return {{filterName,
             {{mediaTypeRule, "application/pdf"},
              {globRule, "*.pdf"},
              {globRule, "*.PDF"},
              {globRule, "*.Pdf"}}}};
}

/// How the portal names a window, so that it can put its dialog above it. Under Wayland that takes
/// a protocol that Qt keeps to itself; without a name the dialog stands alone.
QString portalName(const QWindow* window) {
    if (!window || QGuiApplication::platformName() != "xcb")
        return {};
    return "x11:" + QString::number(window->winId(), 16);
}

QPalette darkPalette() {
    QPalette palette;
    const QColor text(0xf2, 0xf3, 0xf5);
    const QColor quietText(0x8a, 0x8e, 0x97);
    palette.setColor(QPalette::Window, QColor(0x2b, 0x2c, 0x31));
    palette.setColor(QPalette::Base, QColor(0x1f, 0x20, 0x24));
    palette.setColor(QPalette::AlternateBase, QColor(0x25, 0x26, 0x2b));
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3c, 0x42));
    palette.setColor(QPalette::Highlight, QColor(0x2a, 0x6b, 0xe0));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, quietText);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, quietText);
    }
    return palette;
}

} // namespace

FileChooser::FileChooser(QObject* parent) : FileChooser(QDBusConnection::sessionBus(), parent) {}

FileChooser::FileChooser(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {
    qDBusRegisterMetaType<PortalFilter::Rule>();
    qDBusRegisterMetaType<QList<PortalFilter::Rule>>();
    qDBusRegisterMetaType<PortalFilter>();
    qDBusRegisterMetaType<QList<PortalFilter>>();
}

FileChooser::~FileChooser() = default;

void FileChooser::open(QWindow* window) {
    if (isOpen_)
        return;
    window_ = window;
    setIsOpen(true);
    if (bus_.isConnected())
        openPortal();
    else
        openQt();
}

void FileChooser::openPortal() {
    // The portal forms the path from the caller's name and this token. Listening before the call
    // misses no answer.
    const auto token = "bleedwise" + QUuid::createUuid().toString(QUuid::Id128);
    const auto sender = bus_.baseService().mid(1).replace('.', '_');
    requestPath_ = QString("%1/request/%2/%3").arg(DesktopPortal::path, sender, token);
    bus_.connect(DesktopPortal::service, requestPath_, requestInterface, "Response", this,
                 SLOT(notePortalResponse(uint, QVariantMap)));

    auto request = QDBusMessage::createMethodCall(DesktopPortal::service, DesktopPortal::path,
                                                  chooserInterface, "OpenFile");
    request << portalName(window_) << title
            << QVariantMap{{"handle_token", token},
                           {"multiple", true},
                           {"modal", true},
                           {"filters", QVariant::fromValue(pdfFilters())}};
    auto* reply =
        new QDBusPendingCallWatcher(bus_.asyncCall(request, portalPatienceInMilliseconds), this);
    connect(reply, &QDBusPendingCallWatcher::finished, this, [this, reply] {
        reply->deleteLater();
        if (reply->isError() && isOpen_)
            openQt();
    });
}

void FileChooser::notePortalResponse(uint response, const QVariantMap& results) {
    const auto uris = results.value("uris").toStringList();
    close();
    if (response != confirmed)
        return;
    QList<QUrl> urls;
    for (const auto& uri : uris)
        urls.append(QUrl::fromEncoded(uri.toUtf8()));
    emit chosen(urls);
}

void FileChooser::openQt() {
    dialog_ = std::make_unique<QFileDialog>();
    dialog_->setWindowTitle(title);
    dialog_->setFileMode(QFileDialog::ExistingFiles);
    dialog_->setNameFilter(QString("%1 (*.pdf *.PDF *.Pdf)").arg(filterName));
    if (dark_)
        dialog_->setPalette(darkPalette());
    dialog_->winId(); // makes the window that stands above ours
    dialog_->windowHandle()->setTransientParent(window_);
    connect(dialog_.get(), &QFileDialog::finished, this, [this](int result) {
        const auto urls = dialog_->selectedUrls();
        close();
        if (result == QDialog::Accepted)
            emit chosen(urls);
    });
    dialog_->open();
}

void FileChooser::close() {
    if (!requestPath_.isEmpty()) {
        bus_.disconnect(DesktopPortal::service, requestPath_, requestInterface, "Response", this,
                        SLOT(notePortalResponse(uint, QVariantMap)));
        requestPath_.clear();
    }
    if (dialog_)
        dialog_.release()->deleteLater(); // it may be what is calling
    setIsOpen(false);
}

void FileChooser::setIsOpen(bool open) {
    if (std::exchange(isOpen_, open) != open)
        emit isOpenChanged();
}

} // namespace Bleedwise
