#include "support/SessionBus.h"

#include <stdexcept>

#include <QUuid>

namespace Bleedwise::Testing {
namespace {

/// As the usual session bus, but it starts no services.
constexpr auto configuration = R"(<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

SessionBus::SessionBus() {
    const auto file = folder_.file("bus.conf", configuration);
    daemon_.start("dbus-daemon", {"--config-file=" + QString::fromStdString(file.native()),
                                  "--nofork", "--print-address"});
    if (!daemon_.waitForReadyRead())
        throw std::runtime_error("dbus-daemon does not start");
    address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
}

SessionBus::~SessionBus() {
    for (const auto& name : connections_)
        QDBusConnection::disconnectFromBus(name);
    daemon_.kill();
    daemon_.waitForFinished();
}

QDBusConnection SessionBus::connect() {
    connections_.append(QUuid::createUuid().toString());
    return QDBusConnection::connectToBus(address_, connections_.back());
}

QDBusConnection SessionBus::missing() {
    return QDBusConnection("no such connection");
}

} // namespace Bleedwise::Testing
