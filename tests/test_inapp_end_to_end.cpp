// In-app campaigns from the reference service to the screen: a sync delivers campaigns of every layout, the SDK
// caches their images, stores those it can show and drops the rest with their lines; a recorded action shows its
// campaign, and a tap is reported to the service and changes the stored campaign.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "corvana/Corvana.hpp"
#include "corvana/cache.h"
#include "events/CRVDataManager.h"
#include "inapp/CRVInAppHandler.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVInAppViewController.h"
#include "support/Campaigns.h"
#include "support/ServiceProcess.h"
#include "support/TestImages.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using test::eventually;

class InAppEndToEnd : public testing::Test {
 protected:
  void SetUp() override {
    service = std::make_unique<test::ServiceProcess>(serviceDir.path());
    tp = &test::installTestPlatform(service->platformOptions());
    now = test::realNow();
    tp->clock->set(Date{now});
    for (const char* name : {"bg.png", "pic.png", "b1.png", "b2.png"}) service->serveImage(name, test::png(8));
    const std::string page = "<html><body>Not found</body></html>";
    service->serveImage("page.png", Data(page.begin(), page.end()));
  }
  void TearDown() override {
    if (HasFailure()) {
      for (const auto& line : tp->log->lines()) std::cerr << "  log: " << line << "\n";
    }
  }

  Value campaign(const std::string& cid, const std::string& layout, const std::string& frequency) {
    const std::string images = service->baseUrl("acme") + "images/";
    Value data = test::campaignJson([&images](const std::string& file) { return images + file; });
    data["cid"] = cid;
    data["display_trigger"] = "t-" + cid;
    data["display_frequency"] = frequency;
    data["start_time"] = test::campaignDate(now - 60);
    data["end_time"] = test::campaignDate(now + 3600);
    data["layout"]["type"] = layout;
    return data;
  }

  std::string shown() {
    const auto root = Platform::current().ui->keyWindowRootViewController();
    const auto controller = std::dynamic_pointer_cast<CRVInAppViewController>(root->presentedViewController());
    return controller ? controller->inapp()->getCampaignId() : "-";
  }
  Value storedCampaigns() {
    Value out = Value::object();
    CRVDataManager& store = CRVDataManager::sharedInstance();
    // The SDK's own threads use the same connection: read under its lock.
    std::lock_guard<std::recursive_mutex> lock(store.databaseLock());
    for (const Value& row : store.sql().getRowsForQuery(
             "select campaignId, event, enable, inapp_frequency from crvn_inapp order by _id")) {
      out[row["campaignId"].get<std::string>()] = {row["event"], row["enable"], row["inapp_frequency"]};
    }
    return out;
  }

  test::TempDir serviceDir;
  std::unique_ptr<test::ServiceProcess> service;
  test::TestPlatform* tp = nullptr;
  double now = 0;
};

TEST_F(InAppEndToEnd, ASyncedCampaignIsCachedShownTappedAndReported) {
  Value inapp = Value::array();
  const char* frequencies[] = {"everytime", "once_per_session", "everytime_until_cta", "once_per_session_until_cta",
                               "once", "sometimes"};
  for (int n = 1; n <= 6; ++n) {
    inapp.push_back(campaign("L" + std::to_string(n), "layout" + std::to_string(n), frequencies[n - 1]));
  }
  Value brokenImage = campaign("broken", "layout4", "once");
  brokenImage["layout"]["image"]["uri"] = service->baseUrl("acme") + "images/page.png";
  Value expired = campaign("old", "layout2", "once");
  expired["end_time"] = test::campaignDate(now - 60);
  inapp.push_back(brokenImage);
  inapp.push_back(expired);

  Value config = Value::parse(test::ServiceProcess::defaultConfig());
  config["accounts"]["acme"]["sync"]["inapp"] = inapp;
  service->setConfig(config);

  Corvana& sdk = Corvana::sharedInstance();
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
  ASSERT_TRUE(eventually([&] {
    return tp->log->contains("CorvanaFramework--[Corvana parseResponseForBlockedAndFeatures:]_block_invoke [Line 311] "
                             "Received 8 InAppMessages in sync call.");
  }));
  sdk.serialInAppQueue()->waitUntilIdle();

  // The valid, live campaigns are stored; every image a stored campaign names is in the cache.
  EXPECT_EQ(storedCampaigns(), Value::parse(R"({"L1": ["t-L1", 1, 1], "L2": ["t-L2", 1, 2], "L3": ["t-L3", 1, 3],
      "L4": ["t-L4", 1, 4], "L5": ["t-L5", 1, 5], "L6": ["t-L6", 1, 0]})"));
  for (int n = 1; n <= 6; ++n) {
    for (const char* file : {"bg.png", "pic.png", "b1.png", "b2.png"}) {
      EXPECT_TRUE(std::filesystem::exists(cacheDir() + "/L" + std::to_string(n) + "_" + file)) << n << file;
    }
  }
  EXPECT_FALSE(std::filesystem::exists(cacheDir() + "/broken_page.png")) << "a page that is no image is not kept";
  EXPECT_TRUE(tp->log->contains(test::droppedLine("broken", "image uri")));
  EXPECT_EQ(tp->log->count(test::droppedLine("old", "type")) +
                tp->log->count("CorvanaFramework--[CRVDataManager saveCampaign:] [Line 65] Saved CampaignId : old "
                               "successfully"),
            0u)
      << "an expired campaign builds but is not saved, silently";

  // The action whose name is L3's trigger shows L3; a tap on its button disables it for good and is reported.
  sdk.reportActionWithMetaData("t-L3", nullptr);
  ASSERT_TRUE(eventually([&] { return shown() == "L3"; }));
  const auto campaign = CRVInAppHandler::sharedInstance().message();
  CRVTapContext tap{"L3", campaign->getFrequency(), kCRVButtonTypeContent, "close", campaign->inAppViewController()};
  CRVInAppHandler::sharedInstance().processAction(tap);
  EXPECT_EQ(shown(), "-");
  EXPECT_EQ(storedCampaigns()["L3"][1], -1);

  // The in-app events the service received, in order. Overlapping forced reports may deliver a row twice; what
  // matters is that each arrived.
  const auto reported = [&] {
    Value seen = Value::array();
    const Value received = service->received("acme");
    for (const Value& entry : received["events"]) {
      const Value& event = entry["event"];
      if (event["event_type"] != "inapp") continue;
      const Value line = event["inapp"]["subtype"].get<std::string>() + " " + event["inapp"]["cid"].get<std::string>();
      if (std::find(seen.begin(), seen.end(), line) == seen.end()) seen.push_back(line);
    }
    return seen;
  };
  sdk.reportAll();
  const Value expected = {"displayed L3", "tapped L3"};
  EXPECT_TRUE(eventually([&] { return reported() == expected; })) << reported().dump();
}

}  // namespace
}  // namespace corvana
