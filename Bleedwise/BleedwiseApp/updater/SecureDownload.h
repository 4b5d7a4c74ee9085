#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <QByteArray>
#include <QByteArrayView>
#include <QNetworkReply>
#include <QObject>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>
#include <QTimer>
#include <QUrl>

class QNetworkAccessManager;

namespace Bleedwise {

/// How downloads reach the network.
struct DownloadSurroundings {
    /// For tests, whose servers have an authority of their own; without it the system's authorities
    /// are trusted, and no others.
    std::function<QSslConfiguration()> tls = {};
    /// Whether this computer has a network at all.
    std::function<bool()> isOnline;
};

/// One thing fetched over HTTPS from servers with a valid certificate, and from nowhere else: a
/// redirection to anything but https ends it. Begins when it is made; ends with one call of
/// `ended`, from the event loop, unless it is destroyed before, which cancels it.
class SecureDownload : public QObject {
    Q_OBJECT

public:
    struct Request {
        QUrl url;
        /// What the server is called in sentences, such as "update server".
        QString serverName;
        qint64 mostBytes;
        /// For the whole, and between two pieces.
        std::chrono::milliseconds longestTime;
        std::chrono::milliseconds longestSilence = std::chrono::seconds(30);
    };

    struct Listener {
        /// Takes the next piece; false when it cannot, which ends the download.
        std::function<bool(QByteArrayView piece)> piece;
        /// Without a failure its text is empty.
        std::function<void(const QString& failure)> ended;
    };

    SecureDownload(QNetworkAccessManager& network, const DownloadSurroundings& surroundings,
                   Request request, Listener listener);
    ~SecureDownload() override;

    /// Where the data comes from in the end, and of which media type it is.
    QUrl finalURL() const;
    QString mediaType() const;

private:
    void begin(QNetworkAccessManager& network);
    void checkHeaders();
    void checkRedirection(const QUrl& target);
    void takePieces();
    void finish();
    void end(const QString& failure);
    QString failureOfReply() const;
    QString failureToConnect() const;

    DownloadSurroundings surroundings_;
    Request request_;
    Listener listener_;
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply_;
    QTimer limit_;
    QString certificateProblem_;
    qint64 received_ = 0;
    bool hasEnded_ = false;
};

} // namespace Bleedwise
