#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/LinuxApplication.h"
#include "platform/LinuxDevice.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

using Lines = std::vector<std::string>;

class DeviceInfo : public ::testing::Test {
 protected:
  void SetUp() override { log().clear(); }
  test::CapturedLog& log() { return *test::installTestPlatform().log; }
  // Replaces the device by one whose test facts are changed as given.
  void useDevice(const std::vector<std::optional<std::string>>& carriers, const char* model = "iPhone") {
    LinuxPlatformOptions options = test::testPlatformOptions();
    options.carrierNames = carriers;
    options.deviceModel = model;
    Platform::current().device = std::make_shared<LinuxDevice>(options);
  }
  CRVUtil& util() { return CRVUtil::sharedInstance(); }
};

TEST_F(DeviceInfo, DeviceStateRecordsTheDeviceFactsInOrder) {
  CRVUtil::setBoolForKey(true, kKeyNewUser);
  EXPECT_EQ(CRVUtil::deviceState().dump(),
            R"({"model":"iPhone","manufacturer":"Apple","network_info":{"network_operator":"Carrier A"},)"
            R"("hardware":{"screen":{"screen-size":"iPhone","device_type":"iPhone"}},)"
            R"("software":{"sdk":"9.3","locale":"en_US","language":"en-US"},"new_install":true})");
  EXPECT_EQ(CRVUtil::getLocal() + " " + CRVUtil::getTimeZone(), "en-US America/New_York");

  using Carriers = std::vector<std::optional<std::string>>;
  const std::pair<Carriers, Value> networks[] = {
      {{}, Value::object()},
      {{std::string("First"), std::nullopt}, {{"network_operator", "No network"}}},
      {{std::nullopt, std::string("Second")}, {{"network_operator", "Second"}}},
  };
  for (const auto& [carriers, expected] : networks) {
    useDevice(carriers);
    EXPECT_EQ(CRVUtil::deviceState()["network_info"], expected) << expected.dump();
  }
}

TEST_F(DeviceInfo, DeviceTypesAndSystemVersion) {
  const std::pair<const char*, const char*> models[] = {
      {"iPod touch", "iPod"}, {"iPad", "iPad"}, {"iphone", "unknown"}};
  for (const auto& [model, type] : models) {
    useDevice({std::string("Carrier A")}, model);
    EXPECT_EQ(CRVUtil::deviceState()["hardware"]["screen"], (Value{{"screen-size", model}, {"device_type", type}}));
  }
  // Versions compare by the value of their digit runs; the test device runs 9.3.
  const std::pair<const char*, int> versions[] = {{"8", 1}, {"10.0", -1}, {"9.3", 0}, {"09.03", 0}, {"9.3.1", -1}};
  for (const auto& [version, order] : versions) EXPECT_EQ(CRVUtil::compareSystemVersion(version), order) << version;
}

// The checks applied to a lead's e-mail, a button's link and a campaign stored as SQL text.
TEST_F(DeviceInfo, EmailUrlAndTextChecks) {
  for (const char* text : {"first last@example.com", "a@b@sub-domain.io"}) {
    EXPECT_TRUE(util().isValidEmail(text)) << text;
  }
  for (const char* text : {"user@example.c", "user@localhost", "user@.com", "user@example.c0m", ""}) {
    EXPECT_FALSE(util().isValidEmail(text)) << text;
  }

  const std::pair<const char*, std::optional<std::string>> urls[] = {
      {"example.com/offer?id=1", "http://example.com/offer?id=1"},
      {"myapp://open/screen#top", "myapp://open/screen#top"},
      {"user:pw@example.com:8080/p%20q", "http://user:pw@example.com:8080/p%20q"},
      {"example.com/a b", std::nullopt}, {"example.com/100%", std::nullopt}, {"1app://x", std::nullopt}};
  for (const auto& [text, url] : urls) EXPECT_EQ(util().getFormatedUrl(text), url) << text;

  EXPECT_EQ(util().formatString("it's\n/'"), "it''s /''''");
}

TEST_F(DeviceInfo, ResourceBundleAndStoryboard) {
  test::TempDir app;
  Platform::current().application = std::make_shared<LinuxApplication>("2.3.1", "io.corvana.tests", app.path());
  EXPECT_EQ(util().getStoryboard(), std::nullopt);
  EXPECT_EQ(log().lines(), Lines{"CorvanaSDK-CRVResources.bundle not found !"});

  const auto bundle = std::filesystem::path(app.path()) / "CRVResources.bundle";
  std::filesystem::create_directory(bundle);
  log().clear();
  EXPECT_EQ(util().getBundel(), bundle.string());
  EXPECT_EQ(util().getStoryboard(), std::nullopt);
  EXPECT_EQ(log().lines(), Lines{"CorvanaSDK-CRVInApp Storyboard not found !"});

  std::ofstream(bundle / "CRVInApp.storyboard.json") << "{}";
  EXPECT_EQ(util().getStoryboard(), (bundle / "CRVInApp.storyboard.json").string());
}

}  // namespace
}  // namespace corvana
