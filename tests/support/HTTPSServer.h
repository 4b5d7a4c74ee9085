#pragma once

#include "support/Authority.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <QSslServer>
#include <QString>
#include <QUrl>

class QTcpSocket;

namespace Bleedwise::Testing {

/// A web server on this computer, in the event loop of its test.
class HTTPSServer {
public:
    struct Response {
        std::string body;
        int status = 200;
        /// Whole lines, each with its line end.
        std::string headers = {};
        /// The length that it claims; that of the body when below 0.
        long claimedLength = -1;
        /// Whether it keeps the connection open after the body instead of ending.
        bool stalls = false;
        /// Whether it does not say how long the body is.
        bool hidesLength = false;
    };

    explicit HTTPSServer(const Authority::Certificate& certificate);

    /// Of a path such as "/feed.xml", with the name of this computer.
    QUrl url(const QString& path) const;

    void serve(const std::string& path, Response response);
    void redirect(const std::string& path, const QUrl& target);

    /// The paths that have been asked for.
    const std::vector<std::string>& requests() const { return requests_; }
    /// The last request, with its headers.
    const std::string& lastRequest() const { return lastRequest_; }

private:
    void accept();
    void answer(QTcpSocket& socket, const std::string& request);

    QSslServer server_;
    std::map<std::string, Response> responses_;
    std::vector<std::string> requests_;
    std::string lastRequest_;
};

} // namespace Bleedwise::Testing
