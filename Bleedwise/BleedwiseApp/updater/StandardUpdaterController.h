#pragma once

class QObject;

namespace Bleedwise {

/// The updater's owner, seen from outside of the library that it is in: nothing here needs Qt, nor
/// a symbol of that library. It lives as long as the application object. Main thread.
class StandardUpdaterController {
public:
    StandardUpdaterController() = default;
    StandardUpdaterController(const StandardUpdaterController&) = delete;
    StandardUpdaterController& operator=(const StandardUpdaterController&) = delete;
    virtual ~StandardUpdaterController() = default;

    /// An `Updater`, always the same, whose `checkForUpdates()` is what the menu offers.
    virtual QObject* updater() = 0;
};

} // namespace Bleedwise
