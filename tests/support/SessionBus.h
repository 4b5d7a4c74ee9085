#pragma once

#include "support/TemporaryFolder.h"

#include <QDBusConnection>
#include <QProcess>
#include <QString>

namespace Bleedwise::Testing {

/// A D-Bus message bus of one test, on which there is nothing but what the test puts there.
class SessionBus {
public:
    SessionBus();
    ~SessionBus();

    /// A connection of its own: a further program on the bus.
    QDBusConnection connect();

    /// One that leads nowhere.
    static QDBusConnection missing();

private:
    TemporaryFolder folder_;
    QProcess daemon_;
    QString address_;
    QStringList connections_;
};

} // namespace Bleedwise::Testing
