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
  // Replaces the device by one whose test facts are changed by `change`.
  template <typename Change>
  void useDevice(Change change) {
    LinuxPlatformOptions options = test::testPlatformOptions();
    change(options);
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
    useDevice([&](LinuxPlatformOptions& options) { options.carrierNames = carriers; });
    EXPECT_EQ(CRVUtil::deviceState()["network_info"], expected) << expected.dump();
  }
}

TEST_F(DeviceInfo, DeviceTypes) {
  const std::pair<const char*, const char*> models[] = {
      {"iPod touch", "iPod"}, {"iPad", "iPad"}, {"Linux", "unknown"}, {"iphone", "unknown"}};
  for (const auto& [model, type] : models) {
    useDevice([&](LinuxPlatformOptions& options) { options.deviceModel = model; });
    EXPECT_EQ(CRVUtil::deviceState()["hardware"]["screen"], (Value{{"screen-size", model}, {"device_type", type}}));
  }
}

TEST_F(DeviceInfo, EmailUrlAndTextChecks) {
  for (const char* text : {"user@example.com", "first last@example.com", "a@b.co.uk", "a@b@sub-domain.io"}) {
    EXPECT_TRUE(util().isValidEmail(text)) << text;
  }
  for (const char* text : {"user@example.c", "user@localhost", "@example.com", "user@.com", "user@example.com.",
                           "user@example.c0m", "user@example.com extra", ""}) {
    EXPECT_FALSE(util().isValidEmail(text)) << text;
  }
  EXPECT_FALSE(util().isValidEmail(std::nullopt));

  const std::pair<const char*, std::optional<std::string>> urls[] = {
      {"example.com/offer?id=1", "http://example.com/offer?id=1"},
      {"myapp://open/screen#top", "myapp://open/screen#top"},
      {"user:pw@example.com:8080/p%20q", "http://user:pw@example.com:8080/p%20q"},
      {"http://[::1]:8443/x", "http://[::1]:8443/x"},
      {"example.com/a b", std::nullopt}, {" example.com", std::nullopt}, {"example.com/<tag>", std::nullopt},
      {"example.com/100%", std::nullopt}, {"example.com:80a", std::nullopt}, {"1app://x", std::nullopt},
      {"example.com/caf\xc3\xa9", std::nullopt}};
  for (const auto& [text, url] : urls) EXPECT_EQ(util().getFormatedUrl(text), url) << text;

  const std::pair<const char*, const char*> sql[] = {
      {"it's", "it''s"}, {"a/'b", "a/''''b"}, {"line\nnext", "line next"}, {"/'/'\n'", "/''''/'''' ''"}};
  for (const auto& [text, formatted] : sql) EXPECT_EQ(util().formatString(text), formatted) << text;

  EXPECT_TRUE(CRVUtil::isStringEmpty(Value()) && CRVUtil::isStringEmpty(Value("")));
  EXPECT_FALSE(CRVUtil::isStringEmpty(Value(" ")) || CRVUtil::isStringEmpty(Value(0)));
  EXPECT_TRUE(CRVUtil::isStringEmpty(std::optional<std::string>()));
}

TEST_F(DeviceInfo, VersionsCompareByTheValueOfTheirDigitRuns) {
  const struct {
    const char* a;
    const char* b;
    int order;
  } cases[] = {{"9.3", "8", 1},  {"10.0", "8", 1}, {"10.0", "9.3", 1}, {"7.1.2", "8", -1}, {"8", "8", 0},
               {"08", "8", 0},   {"8.0", "8", 1},  {"", "8", -1},      {"8a", "8b", -1},   {"12", "9z", 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(CRVUtil::compareNumerically(c.a, c.b), c.order) << c.a << " vs " << c.b;
    EXPECT_EQ(CRVUtil::compareNumerically(c.b, c.a), -c.order) << c.b << " vs " << c.a;
  }
  EXPECT_EQ(CRVUtil::compareSystemVersion("8"), 1);  // the test device runs 9.3
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
