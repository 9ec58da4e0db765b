// zorlan/Environment/Device.hpp: family tests, the platform chooser, disk capacity and its
// failure reports.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/LogCapture.hpp"
#include "support/LoggingTestSupport.hpp"
#include "zorlan/Environment/Device.hpp"

namespace zorlan {
namespace {

class DeviceTest : public ::testing::Test {
 protected:
  ~DeviceTest() override { Device::setFamily(DeviceFamily::unspecified); }
};

TEST_F(DeviceTest, FamilyDecidesEachTestAndThePlatformValue) {
  struct Case {
    DeviceFamily family;
    const char* flags;  // tv, watch, iOS, pad, phone, vision
    int chosen;         // from platform(1, 2, 3, other: 0)
  };
  const Case cases[] = {
      {DeviceFamily::unspecified, "000000", 0}, {DeviceFamily::phone, "001010", 1},
      {DeviceFamily::pad, "001100", 1},         {DeviceFamily::tv, "100000", 2},
      {DeviceFamily::watch, "010000", 0},       {DeviceFamily::mac, "000000", 0},
      {DeviceFamily::vision, "000001", 3}};
  for (const Case& c : cases) {
    SCOPED_TRACE(rawValue(c.family));
    Device::setFamily(c.family);
    const bool flags[] = {device::isTV(),  device::isWatch(), device::isIOS(),
                          device::isPad(), device::isPhone(), device::isVision()};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(flags[i], c.flags[i] == '1') << "flag " << i;
    EXPECT_EQ(device::platform<int>(1, 2, 3, 0), c.chosen);
    EXPECT_EQ(device::platform<int>(std::nullopt, std::nullopt, std::nullopt, 9), 9);
  }
}

TEST_F(DeviceTest, CapacityOfTheHomeVolumeOrAbsentWithADebugReport) {
  {
    testing::ScopedEnv home("HOME", std::filesystem::temp_directory_path().c_str());
    const auto available = device::availableDiskCapacity(), total = device::totalDiskCapacity();
    ASSERT_TRUE(available && total);
    EXPECT_TRUE(*total > 0 && *available <= *total);
  }
  testing::ScopedEnv home("HOME", "/nonexistent/zorlan-home");
  testing::LogCapture log;
  EXPECT_FALSE(device::availableDiskCapacity());
  EXPECT_FALSE(device::totalDiskCapacity());
  EXPECT_EQ(log.messages(),
            (std::vector<std::string>{
                "Could not get available disk space - error: No such file or directory",
                "Could not get total disk space - error: No such file or directory"}));
  for (const auto& event : log.events()) {
    EXPECT_EQ(event.level, LoggerLevel::debug);
    EXPECT_EQ(event.file, "Extensions/Device+Extensions");
  }
}

}  // namespace
}  // namespace zorlan
