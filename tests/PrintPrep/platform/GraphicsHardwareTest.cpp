#include "PrintPrep/platform/GraphicsHardware.h"

#include "support/TemporaryFolder.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::TemporaryFolder;

/// A folder of devices in which there is one device.
class DevicesWith {
public:
    explicit DevicesWith(const std::filesystem::path& device) {
        std::filesystem::create_directories((folder_ / device).parent_path());
        folder_.file(device, "");
    }

    const std::filesystem::path& folder() const { return folder_.path(); }

private:
    TemporaryFolder folder_;
};

TEST(GraphicsHardware, IsAbsentWithoutDevices) {
    const TemporaryFolder devices;
    EXPECT_FALSE(GraphicsHardware::isPresent(devices.path()));
}

TEST(GraphicsHardware, IsAbsentWhereOnlyAScreenIs) {
    EXPECT_FALSE(GraphicsHardware::isPresent(DevicesWith("dri/card0").folder()));
}

TEST(GraphicsHardware, IsARenderNode) {
    EXPECT_TRUE(GraphicsHardware::isPresent(DevicesWith("dri/renderD128").folder()));
}

TEST(GraphicsHardware, IsADriverWithADeviceOfItsOwn) {
    for (const auto* device : {"nvidiactl", "dxg"})
        EXPECT_TRUE(GraphicsHardware::isPresent(DevicesWith(device).folder())) << device;
}

} // namespace
} // namespace Bleedwise
