#include <cstdlib>

namespace {

/// Set before the first test, however it is started: neither a test nor a program that it starts
/// touches the user's settings or shows a window.
[[maybe_unused]] const bool ready = [] {
    ::setenv("XDG_CONFIG_HOME", BLEEDWISE_TEST_CONFIGURATION, 1);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    return true;
}();

} // namespace
