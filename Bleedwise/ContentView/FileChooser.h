#pragma once

#include <memory>

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <QWindow>
#include <QtQml/qqmlregistration.h>

class QFileDialog;

namespace Bleedwise {

/// Asks a person for PDFs, several at once, with the dialog of their desktop: that of the portal
/// (org.freedesktop.portal.FileChooser) where there is one, else that of Qt, which is GTK's in a
/// desktop for which Qt is set up so, and otherwise Qt's own.
///
/// Each use has a fresh dialog; one is open at a time. Main thread, with a QApplication.
class FileChooser : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    /// Whether Qt's own dialog is dark. The others know by themselves.
    Q_PROPERTY(bool dark MEMBER dark_ NOTIFY darkChanged)

public:
    explicit FileChooser(QObject* parent = nullptr);
    FileChooser(QDBusConnection bus, QObject* parent);
    ~FileChooser() override;

    bool isOpen() const { return isOpen_; }

    /// Opens the dialog above a window, which waits for it. Does nothing while one is open.
    Q_INVOKABLE void open(QWindow* window);

signals:
    /// Confirmed: the files, in the dialog's order. Nothing is emitted when it is cancelled.
    void chosen(const QList<QUrl>& urls);
    void isOpenChanged();
    void darkChanged();

private slots:
    void notePortalResponse(uint response, const QVariantMap& results);

private:
    void openPortal();
    void openQt();
    void close();
    void setIsOpen(bool open);

    QDBusConnection bus_;
    QPointer<QWindow> window_;
    bool isOpen_ = false;
    bool dark_ = false;
    /// The D-Bus object that stands for the portal's open dialog.
    QString requestPath_;
    std::unique_ptr<QFileDialog> dialog_;
};

} // namespace Bleedwise
