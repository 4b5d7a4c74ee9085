#pragma once

#include "PrintPrep/platform/FileDescriptor.h"
#include "support/TemporaryFolder.h"

#include <string>

namespace Bleedwise::Testing {

/// Tells a test when a shell script has come to a point, from which it would live on for as long as
/// it is let, and when it and everything that it started is gone.
class Lifeline {
public:
    Lifeline();

    /// Shell text that says it was reached, and then waits for another program, which never ends.
    std::string script() const;

    /// Blocks until the script was reached. False when it is not within a minute.
    bool awaitStart() const;

    /// Blocks until nobody is left of those who run the script. False when they live on for a
    /// minute.
    bool awaitEnd() const;

private:
    TemporaryFolder folder_;
    FileDescriptor readEnd_;
};

} // namespace Bleedwise::Testing
