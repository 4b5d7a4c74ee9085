#include "BleedwiseApp/updater/MainBundleUpdater.h"

#include <QSslCertificate>
#include <QSslConfiguration>

// The program's updater, but for what it trusts: the authority whose certificate is in the file
// that the environment names, and no other.
extern "C" [[gnu::visibility("default")]] Bleedwise::StandardUpdaterController*
makeBleedwiseUpdaterController() {
    return Bleedwise::makeMainBundleUpdater([] {
               QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
               configuration.setCaCertificates(
                   QSslCertificate::fromPath(qEnvironmentVariable("BLEEDWISE_TEST_AUTHORITY")));
               return configuration;
           })
        .release();
}
