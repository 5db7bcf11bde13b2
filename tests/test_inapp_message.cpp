// Building campaigns from sync JSON against the reference service's images: every reason a campaign is refused
// with its exact log line, the status pushed to the store first, the fields and the dates.

#include <gtest/gtest.h>

#include "events/CRVDataManager.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVIAClose.h"
#include "support/Campaigns.h"
#include "support/ServiceProcess.h"
#include "support/TestImages.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using Lines = std::vector<std::string>;

std::string dropped(const std::string& label, const std::string& cid = "c7") { return test::droppedLine(cid, label); }

class InAppMessage : public testing::Test {
 protected:
  void SetUp() override {
    service = std::make_unique<test::ServiceProcess>(serviceDir.path());
    tp = &test::installTestPlatform(service->platformOptions());
    for (const char* name : {"bg.png", "pic.png", "b1.png", "b2.png"}) service->serveImage(name, test::png(4));
  }

  std::string url(const std::string& file) { return service->baseUrl("acme") + "images/" + file; }

  // A campaign that every layout accepts: it carries every component, each image served.
  Value campaign() {
    return test::campaignJson([this](const std::string& file) { return url(file); });
  }

  // The log without the resource cache's download lines.
  Lines takeLog() {
    Lines lines;
    for (const auto& line : tp->log->lines()) {
      if (line.rfind("CorvanaSDK-Dowload", 0) != 0) lines.push_back(line);
    }
    tp->log->clear();
    return lines;
  }

  test::TempDir serviceDir;
  std::unique_ptr<test::ServiceProcess> service;
  test::TestPlatform* tp = nullptr;
};

TEST_F(InAppMessage, RefusesEachBrokenFieldWithItsLine) {
  const std::string missing = url("missing.png");
  const Value plainButton = {{"uri", nullptr}, {"color", nullptr}, {"style", nullptr}, {"gradient", nullptr}};
  const struct {
    const char* name;
    Value patch;  // merged into the valid campaign; null removes a key
    Lines log;    // empty: the campaign is accepted
  } cases[] = {
      {"no cid", {{"cid", nullptr}}, {dropped("campaingId", "nil")}},
      {"no status", {{"status", nullptr}}, {dropped("status")}},
      {"first failure only", {{"status", nullptr}, {"display_trigger", nullptr}}, {dropped("status")}},
      {"no trigger", {{"display_trigger", nullptr}}, {dropped("display_trigger")}},
      {"no frequency", {{"display_frequency", nullptr}}, {dropped("display_frequency")}},
      {"no end", {{"end_time", nullptr}}, {dropped("end_time")}},
      {"numeric end", {{"end_time", 1772379000}}, {dropped("end_time")}},
      {"unreadable end", {{"end_time", "2026-03-01 10:30"}}, {dropped("end_time")}},
      {"no layout", {{"layout", nullptr}}, {dropped("type")}},
      {"numeric type", {{"layout", {{"type", 1}}}}, {dropped("type")}},
      {"unknown type", {{"layout", {{"type", "layout7"}}}}, {dropped("type")}},
      {"listed component missing", {{"layout", {{"secondary_text", nullptr}}}}, {dropped("layout1")}},
      {"listed component refused", {{"layout", {{"type", "layout3"}, {"primary_button", {{"style", "style9"}}}}}},
       {dropped("style"), dropped("layout3")}},
      {"no close button", {{"layout", {{"close_button", nullptr}}}}, {dropped("close_button")}},
      {"unlisted image without uri", {{"layout", {{"type", "layout3"}, {"image", {{"uri", nullptr}}}}}},
       {dropped("image uri")}},
      {"unlisted background unreachable",
       {{"layout", {{"type", "layout4"}, {"background", {{"uri", missing}, {"color", "#FFF"}}}}}},
       {dropped("background uri")}},
      {"listed background unreachable", {{"layout", {{"background", {{"uri", missing}, {"color", nullptr}}}}}},
       {dropped("background uri")}},
      {"plain primary button", {{"layout", {{"primary_button", plainButton}}}},
       {dropped("primary button uri")}},
      {"plain secondary button", {{"layout", {{"type", "layout3"}, {"secondary_button", plainButton}}}},
       {dropped("secondary button uri")}},
      // Accepted: a colour stands in for an image, and unknown or unreadable optional values are kept.
      {"background colour, image unreachable", {{"layout", {{"background", {{"uri", missing}, {"color", "#FFF"}}}}}},
       {}},
      {"background colour, no uri", {{"layout", {{"background", {{"uri", nullptr}, {"color", "#FFF"}}}}}}, {}},
      {"button colour, image unreachable", {{"layout", {{"primary_button", {{"uri", missing}}}}}}, {}},
      {"unknown frequency", {{"display_frequency", "sometimes"}}, {}},
      {"unreadable start", {{"start_time", "soon"}}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Value data = campaign();
    data.merge_patch(c.patch);
    const auto message = CRVInAppMessage::initWithDictionary(data);
    EXPECT_EQ(takeLog(), c.log);
    EXPECT_EQ(message != nullptr, c.log.empty());
  }
  EXPECT_EQ(CRVInAppMessage::initWithDictionary(Value()), nullptr);
  EXPECT_EQ(takeLog(), Lines{});
}

TEST_F(InAppMessage, PushesStatusToTheStoreBeforeValidating) {
  CRVDataManager& store = CRVDataManager::sharedInstance();
  const auto stored = [&] {
    return Value(store.sql().getRowsForQuery("select campaignId, enable, paused from crvn_inapp"));
  };
  const auto row = [](int paused) {
    return Value::array({Value{{"campaignId", "9"}, {"enable", 1}, {"paused", paused}}});
  };
  Value data = campaign();
  data["cid"] = "9";
  store.saveCampaign(CRVInAppMessage::initWithDictionary(data));
  ASSERT_EQ(stored(), row(0));
  const std::pair<Value, Value> cases[] = {{"pause", row(1)}, {"active", row(0)},  {"pause", row(1)},
                                           {"Pause", row(0)}, {1, row(0)},         {nullptr, row(0)},
                                           {"stop", Value::array()}};
  for (const auto& [status, rows] : cases) {
    SCOPED_TRACE(status.dump());
    // Refused later for its missing trigger: the status has reached the stored campaign all the same.
    EXPECT_EQ(CRVInAppMessage::initWithDictionary({{"cid", "9"}, {"status", status}}), nullptr);
    EXPECT_EQ(stored(), rows);
  }
}

TEST(InAppMessageDates, ReadsEveryOffsetForm) {
  test::installTestPlatform();  // New York time, so an offset-less reading would differ
  const double nine = 1772355600000.0;  // 2026-03-01 09:00:00 UTC
  const struct {
    const char* text;
    std::optional<double> ms;
  } cases[] = {
      {"2026-03-01T10:00:00+0100", nine},      {"2026-03-01T10:00:00+01:00", nine},
      {"2026-03-01T10:00:00GMT+01:00", nine},  {"2026-03-01T09:00:00Z", nine},
      {"2026-03-01T03:30:00-0530", nine},      {"2026-03-01T09:00:00", std::nullopt},
      {"2026-02-30T09:00:00Z", std::nullopt},  {"2026-03-01T09:00:00Z later", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(CRVInAppMessage::getTimeStamp(c.text), c.ms) << c.text;
}

TEST_F(InAppMessage, FieldsTimesAndValidity) {
  const auto message = CRVInAppMessage::initWithDictionary(campaign());
  ASSERT_NE(message, nullptr);
  // The close button carries the campaign's frequency, which its tap applies.
  EXPECT_EQ((Value{message->version(), *message->getAction(), message->getDisplayTrigger(), message->getFrequency(),
                   message->closeButton()->frequency(), message->containerView()}),
            (Value{3, "app://deal", "purchase", CRVFrequencyOnce, CRVFrequencyOnce, "CRVInAppViewControllerPop"}));
  EXPECT_EQ(message->getStartTime(), "1772355600000");
  EXPECT_EQ(message->getEndTime(), "1772379000000");
  tp->clock->set(Date{1772379000.0});  // exactly the end
  EXPECT_TRUE(message->isValid());
  tp->clock->set(Date{1772379000.001});
  EXPECT_FALSE(message->isValid());
  tp->clock->set(Date{1.0});  // long before the start: the start is not considered
  EXPECT_TRUE(message->isValid());

  Value noStart = campaign();
  noStart["start_time"] = "soon";
  const auto unstarted = CRVInAppMessage::initWithDictionary(noStart);
  ASSERT_NE(unstarted, nullptr);
  EXPECT_FALSE(unstarted->start_time());
  tp->clock->set(Date{1772355600.25});
  EXPECT_EQ(unstarted->getStartTime(), "1772355600250");
}

TEST_F(InAppMessage, JsonDataRoundTripsThroughAQuotedSqlLiteral) {
  Value data = campaign();
  data["layout"]["primary_text"]["text"] = "Don't miss\nit";
  const auto message = CRVInAppMessage::initWithDictionary(data);
  ASSERT_NE(message, nullptr);
  std::string text = message->getJsonData().value();
  EXPECT_EQ(text.find('\n'), std::string::npos);
  for (size_t at = text.find("''"); at != std::string::npos; at = text.find("''", at + 1)) text.erase(at, 1);
  EXPECT_EQ(Value::parse(text), data);

  data["layout"]["primary_text"]["text"] = "\xff";  // not UTF-8: cannot be written
  const auto unwritable = CRVInAppMessage::initWithDictionary(data);
  ASSERT_NE(unwritable, nullptr);
  takeLog();
  EXPECT_EQ(unwritable->getJsonData(), std::nullopt);
  EXPECT_EQ(takeLog(), Lines{"CorvanaSDK-Failed to create json strin in InAppNotification"});
}

}  // namespace
}  // namespace corvana
