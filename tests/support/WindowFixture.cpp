#include "support/WindowFixture.h"

#include <QApplication>

namespace Bleedwise::Testing {

WindowFixture::WindowFixture() {
    static int argumentCount = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static const auto* const application = new QApplication(argumentCount, arguments);
    static_cast<void>(application);
}

} // namespace Bleedwise::Testing
