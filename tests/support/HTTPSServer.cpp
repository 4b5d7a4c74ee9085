#include "support/HTTPSServer.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include <QSslConfiguration>
#include <QTcpSocket>

namespace Bleedwise::Testing {

HTTPSServer::HTTPSServer(const Authority::Certificate& certificate) {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificate.certificate);
    configuration.setPrivateKey(certificate.key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    server_.setSslConfiguration(configuration);
    QObject::connect(&server_, &QSslServer::pendingConnectionAvailable, [this] { accept(); });
    if (!server_.listen(QHostAddress::LocalHost))
        throw std::runtime_error("no port to listen on");
}

QUrl HTTPSServer::url(const QString& path) const {
    return QUrl(QStringLiteral("https://localhost:%1%2").arg(server_.serverPort()).arg(path));
}

void HTTPSServer::serve(const std::string& path, Response response) {
    responses_.insert_or_assign(path, std::move(response));
}

void HTTPSServer::redirect(const std::string& path, const QUrl& target) {
    serve(path, {.body = {},
                 .status = 302,
                 .headers = "Location: " + target.toString().toStdString() + "\r\n"});
}

void HTTPSServer::accept() {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
        const auto request = std::make_shared<std::string>();
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QTcpSocket::readyRead, &server_, [this, socket, request] {
            *request += socket->readAll().toStdString();
            if (request->ends_with("\r\n\r\n"))
                answer(*socket, std::exchange(*request, {}));
        });
    }
}

void HTTPSServer::answer(QTcpSocket& socket, const std::string& request) {
    lastRequest_ = request;
    const std::string path = request.substr(4, request.find(' ', 4) - 4);
    requests_.push_back(path);
    const auto found = responses_.find(path);
    const Response response =
        found == responses_.end() ? Response{.body = "Not found", .status = 404} : found->second;
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + " Answer\r\n" +
                       "Connection: close\r\n" + response.headers;
    if (!response.hidesLength) {
        const long length = response.claimedLength < 0 ? static_cast<long>(response.body.size())
                                                       : response.claimedLength;
        text += "Content-Length: " + std::to_string(length) + "\r\n";
    }
    socket.write(QByteArray::fromStdString(text + "\r\n" + response.body));
    if (!response.stalls)
        socket.disconnectFromHost();
}

} // namespace Bleedwise::Testing
