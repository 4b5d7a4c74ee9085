#include "BleedwiseApp/updater/SecureDownload.h"

#include <utility>

#include <QCoreApplication>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QVariant>

namespace Bleedwise {
namespace {

constexpr int mostRedirections = 5;
/// What may wait in memory for us to take it.
constexpr qint64 bufferSize = 1 << 20;

bool isHTTPS(const QUrl& url) {
    return url.scheme() == QLatin1String("https") && !url.host().isEmpty();
}

/// Not at once: perhaps the reply is in the midst of telling something.
void abortLater(QNetworkReply* reply) {
    QMetaObject::invokeMethod(reply, &QNetworkReply::abort, Qt::QueuedConnection);
}

void giveUp(QNetworkReply* reply) {
    reply->disconnect();
    abortLater(reply);
    reply->deleteLater();
}

} // namespace

SecureDownload::SecureDownload(QNetworkAccessManager& network,
                               const DownloadSurroundings& surroundings, Request request,
                               Listener listener)
    : surroundings_(surroundings), request_(std::move(request)), listener_(std::move(listener)),
      reply_(nullptr, giveUp) {
    limit_.setSingleShot(true);
    connect(&limit_, &QTimer::timeout, this,
            [this] { end(QStringLiteral("The %1 took too long.").arg(request_.serverName)); });
    begin(network);
}

SecureDownload::~SecureDownload() = default;

QUrl SecureDownload::finalURL() const {
    return reply_ ? reply_->url() : request_.url;
}

QString SecureDownload::mediaType() const {
    return reply_ ? reply_->header(QNetworkRequest::ContentTypeHeader).toString() : QString();
}

void SecureDownload::begin(QNetworkAccessManager& network) {
    if (!isHTTPS(request_.url)) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                end(QStringLiteral("The address of the %1 is not secure.")
                        .arg(request_.serverName));
            },
            Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(request_.url);
    if (surroundings_.tls)
        request.setSslConfiguration(surroundings_.tls());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setMaximumRedirectsAllowed(mostRedirections);
    request.setTransferTimeout(static_cast<int>(request_.longestSilence.count()));
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("Bleedwise/") + QCoreApplication::applicationVersion());
    // Qt would tell the user's language.
    request.setRawHeader("Accept-Language", "en");
    // What is signed, and what is limited, are the bytes as they come.
    request.setRawHeader("Accept-Encoding", "identity");

    reply_.reset(network.get(request));
    reply_->setReadBufferSize(bufferSize);
    connect(reply_.get(), &QNetworkReply::metaDataChanged, this, &SecureDownload::checkHeaders);
    connect(reply_.get(), &QNetworkReply::redirected, this, &SecureDownload::checkRedirection);
    connect(reply_.get(), &QNetworkReply::readyRead, this, &SecureDownload::takePieces);
    connect(reply_.get(), &QNetworkReply::finished, this, &SecureDownload::finish);
    connect(reply_.get(), &QNetworkReply::sslErrors, this, [this](const QList<QSslError>& errors) {
        if (!errors.isEmpty())
            certificateProblem_ = errors.first().errorString();
    });
    limit_.start(request_.longestTime);
}

void SecureDownload::checkHeaders() {
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 400) {
        const bool isMissing = status == 404 || status == 410;
        end((isMissing ? QStringLiteral("The %1 has nothing at this address (HTTP status %2).")
                       : QStringLiteral("The %1 answers with HTTP status %2."))
                .arg(request_.serverName)
                .arg(status));
        return;
    }
    const QVariant length = reply_->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && length.toLongLong() > request_.mostBytes)
        end(QStringLiteral("The %1 sends more than it should.").arg(request_.serverName));
}

void SecureDownload::checkRedirection(const QUrl& target) {
    if (!isHTTPS(target))
        end(QStringLiteral("The %1 redirects to an address that is not secure.")
                .arg(request_.serverName));
}

void SecureDownload::takePieces() {
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status < 200 || status > 299)
        return; // what a redirection says about itself
    while (!hasEnded_ && reply_->bytesAvailable() > 0) {
        const QByteArray piece = reply_->read(bufferSize);
        received_ += piece.size();
        if (received_ > request_.mostBytes)
            end(QStringLiteral("The %1 sends more than it should.").arg(request_.serverName));
        else if (!listener_.piece(piece))
            end(QStringLiteral("The download cannot be stored: the disk may be full."));
    }
}

void SecureDownload::finish() {
    if (reply_->error() == QNetworkReply::NoError && isHTTPS(reply_->url()))
        takePieces();
    end(failureOfReply());
}

void SecureDownload::end(const QString& failure) {
    if (std::exchange(hasEnded_, true))
        return;
    limit_.stop();
    if (reply_) {
        reply_->disconnect(this);
        if (reply_->isRunning())
            abortLater(reply_.get());
    }
    // The listener may destroy this object.
    const auto ended = std::move(listener_.ended);
    ended(failure);
}

QString SecureDownload::failureOfReply() const {
    const QString& name = request_.serverName;
    switch (reply_->error()) {
    case QNetworkReply::NoError:
        return isHTTPS(reply_->url())
                   ? QString()
                   : QStringLiteral("The %1 redirects to an address that is not secure.").arg(name);
    case QNetworkReply::InsecureRedirectError:
        return QStringLiteral("The %1 redirects to an address that is not secure.").arg(name);
    case QNetworkReply::TooManyRedirectsError:
        return QStringLiteral("The %1 redirects too often.").arg(name);
    case QNetworkReply::SslHandshakeFailedError:
        return certificateProblem_.isEmpty()
                   ? QStringLiteral("There is no secure connection to the %1.").arg(name)
                   : QStringLiteral("The certificate of the %1 cannot be trusted: %2.")
                         .arg(name, certificateProblem_);
    case QNetworkReply::OperationCanceledError: // after the longest silence
    case QNetworkReply::TimeoutError:
        return QStringLiteral("The %1 does not answer.").arg(name);
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("The %1 ended the connection too early.").arg(name);
    default:
        return failureToConnect();
    }
}

QString SecureDownload::failureToConnect() const {
    if (!surroundings_.isOnline())
        return QStringLiteral("This computer is not connected to a network.");
    if (reply_->error() == QNetworkReply::HostNotFoundError)
        return QStringLiteral("The %1, %2, cannot be found.")
            .arg(request_.serverName, finalURL().host());
    return QStringLiteral("The %1, %2, cannot be reached.")
        .arg(request_.serverName, finalURL().host());
}

} // namespace Bleedwise
