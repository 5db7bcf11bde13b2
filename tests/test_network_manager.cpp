// The network manager against the reference service: the identification headers, how answers are judged, what
// the integrating developer reads in the log, and which failures report nil twice.

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "net/CRVNetworkManager.h"
#include "platform/CurlHttpClient.h"
#include "storage/UIDeviceAdditionalInfo.h"
#include "support/ServiceProcess.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

using Lines = std::vector<std::string>;
using Calls = std::vector<Value>;
const Value kNil = nullptr;
const Value kOk = Value::parse(R"({"success": true})");
const Value kSynced = Value::parse(R"({"success": true, "lst": 1})");

// Forwards to a real client, checks that completions run off the main thread, and tells when every task
// started so far has returned from its completion: then every report of a request is in.
class SettlingClient : public HttpClient {
 public:
  explicit SettlingClient(std::shared_ptr<HttpClient> inner) : inner_(std::move(inner)) {}
  void dataTask(const HttpRequest& request, HttpCompletion completion) override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ++started_;
    }
    inner_->dataTask(request, [this, completion](const auto&... outcome) {
      EXPECT_FALSE(Platform::current().mainQueue->isMainThread());
      completion(outcome...);
      std::lock_guard<std::mutex> lock(mutex_);
      ++settled_;
      changed_.notify_all();
    });
  }
  std::optional<Data> fetch(const std::string& url) override { return inner_->fetch(url); }
  void waitUntilSettled() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(30), [&] { return settled_ == started_; });
  }

 private:
  std::shared_ptr<HttpClient> inner_;
  std::mutex mutex_;
  std::condition_variable changed_;
  size_t started_ = 0, settled_ = 0;
};

class NetworkManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    log = test::installTestPlatform(service.platformOptions()).log;
    client = std::make_shared<SettlingClient>(Platform::current().http);
    Platform::current().http = client;
    CRVUtil::setObjectForKey(Value("acme"), kKeyQuorvel);
    answerSyncWith(kSynced);
    // What logs once per process, out of the way of the lines the tests compare.
    Corvana::sharedInstance();
    UIDeviceAdditionalInfo::sharedInstance().installIdentifier();
    UIDeviceAdditionalInfo::sharedInstance().uniqueGlobalDeviceIdentifier();
  }
  // Without an initialised SDK no "sec" header goes out; this account needs none.
  void answerSyncWith(const Value& answer) {
    service.setConfig({{"accounts", {{"acme", {{"secret", ""}, {"sync", answer}}}}}});
  }

  // Runs one GET (or POST, with a body) to the end and answers every completion call it made.
  Calls request(const std::string& endpoint, const std::optional<std::string>& post = std::nullopt) {
    auto calls = std::make_shared<Calls>();
    auto record = [calls](const Value& document) { calls->push_back(document); };
    log->clear();
    auto& manager = CRVNetworkManager::sharedInstance();
    post ? manager.postDataSyncToTheEndpointWithBlock(Data(post->begin(), post->end()), endpoint, record)
         : manager.getDataFromTheEndpointWithBlock(endpoint, record);
    client->waitUntilSettled();
    return *calls;
  }
  // The lines written for the developer, traces left out.
  Lines sdkLines() const {
    Lines lines = log->lines();
    std::erase_if(lines, [](const std::string& line) { return line.rfind("CorvanaSDK-", 0) != 0; });
    return lines;
  }

  test::TempDir dir;
  test::ServiceProcess service{dir.path()};
  std::shared_ptr<test::CapturedLog> log;
  std::shared_ptr<SettlingClient> client;
};

TEST_F(NetworkManagerTest, EveryHeaderArrivesWithItsValue) {
  service.setConfig(Value::parse(test::ServiceProcess::defaultConfig()));
  // The installation the SDK last saw, so that it initialises at once.
  const std::pair<const char*, const char*> stored[] = {
      {kKeyAppVersion, "2.3.1"}, {kKeyAppSecret, "s3cret"}, {kKeyQuorvel, "acme"}, {kKeyFrameworkType, "native"}};
  for (const auto& [key, value] : stored) CRVUtil::setObjectForKey(Value(value), key);
  Corvana::sharedInstance().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret",
                                                                                              "native");
  ASSERT_TRUE(log->waitFor("CorvanaSDK-v.0.8.4 initialized successfully."));
  EXPECT_EQ(1700000000, request("api/v1/sync/s3cret?lst=42").at(0)["lst"]);
  EXPECT_EQ(Calls{kOk}, request("report/events/?n=1", "{\"e\":1}"));

  auto& identity = UIDeviceAdditionalInfo::sharedInstance();
  const Value expected = {{"lc", "en-US"}, {"tz", "America/New_York"}, {"p", "ios"}, {"sec", "s3cret"},
                          {"sdkvr", "6"}, {"appbd", "Framework Type: native, SDK Version: 0.8.4"},
                          {"appver", "2.3.1"}, {"uuid", identity.installIdentifier()},
                          {"tduuid", identity.uniqueGlobalDeviceIdentifier()}};
  const Value sent = service.requests()["requests"];
  const std::pair<const char*, const char*> requests[] = {{"lst=42", "text/plain"}, {"n=1", "application/json"}};
  for (const auto& request : requests) {
    SCOPED_TRACE(request.first);
    auto found = std::find_if(sent.begin(), sent.end(), [&](const Value& entry) {
      return entry["query"] == request.first;
    });
    ASSERT_NE(sent.end(), found);
    const Value& headers = (*found)["headers"];
    for (const auto& [name, value] : expected.items()) EXPECT_EQ(value, headers.value(name, Value())) << name;
    EXPECT_EQ(request.second, headers.value("Content-type", ""));
    EXPECT_FALSE(headers.contains("If-None-Match"));
  }
}

TEST_F(NetworkManagerTest, AnswersAreJudgedByTheirEnvelope) {
  const std::string invalid = "CorvanaSDK-Invalid response, please contact Corvana support.";
  struct Case {
    const char* name;
    Value syncAnswer;  // null: as before
    Value fault;
    const char* postBody;  // null: a GET of the sync endpoint
    Lines lines;
    Calls calls;
  } cases[] = {
      {"no success, no message", {{"success", false}}, nullptr, nullptr, {invalid}, {kNil}},
      {"service message", {{"success", false}, {"error_message", "Disabled"}}, nullptr, nullptr,
       {"CorvanaSDK-Disabled"}, {kNil}},
      {"unreadable body", nullptr, {{"broken_body", true}}, nullptr, {"CorvanaSDK-Internal Error Occured", invalid},
       {kNil, kNil}},
      {"GET answered 500", nullptr, {{"status", 500}}, nullptr, {}, {kNil}},
      {"GET answered 304", nullptr, {{"status", 304}}, nullptr, {"CorvanaSDK-No update available"}, {kNil, kNil}},
      {"POST answered 500", nullptr, {{"status", 500}}, "{}", {}, {kOk}},
      {"connection lost", nullptr, {{"close", true}}, "{}", {"CorvanaSDK-The network connection was lost."}, {kNil}},
      {"success", kSynced, nullptr, nullptr, {}, {kSynced}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (!c.syncAnswer.is_null()) answerSyncWith(c.syncAnswer);
    c.fault.is_null() ? service.clearFaults() : service.setFaults(c.fault);
    EXPECT_EQ(c.calls, c.postBody ? request("report/events/", std::string(c.postBody)) : request("api/v1/sync/"));
    EXPECT_EQ(c.lines, sdkLines());
  }
}

TEST_F(NetworkManagerTest, TheEntityTagIsStoredButSentOnlyFromTheKeyItIsReadUnder) {
  ASSERT_EQ(Calls{kSynced}, request("api/v1/sync/"));
  const std::string tag = CRVUtil::getStringForKey(kKeyEtag);
  ASSERT_FALSE(tag.empty());
  EXPECT_EQ(Calls{kSynced}, request("api/v1/sync/"));  // "crvn.Etag" alone sends no "If-None-Match"
  CRVUtil::setObjectForKey(Value(tag), kKeyLorrowETag);
  EXPECT_EQ((Calls{kNil, kNil}), request("api/v1/sync/"));
  EXPECT_EQ(Lines{"CorvanaSDK-No update available"}, sdkLines());
  EXPECT_EQ(tag, service.requests()["requests"].back()["headers"].value("If-None-Match", ""));
}

// An unknown certificate authority and a refused connection are told in the fault and round-trip tests.
TEST_F(NetworkManagerTest, NoConnectivityTellsTheDeveloperWhatToCheck) {
  log->clear();
  CRVNetworkManager::sharedInstance().printErrorMessage(makeURLError(NSURLErrorNotConnectedToInternet));
  CRVNetworkManager::sharedInstance().printErrorMessage(std::nullopt);
  EXPECT_EQ(Lines{"CorvanaSDK-Cannot connect to the Corvana, Please check network connectivity."}, sdkLines());

  Corvana::sharedInstance().setTimeoutInterval(2);  // the facade's floor applies to the GET's time-out
  EXPECT_EQ(5, CRVNetworkManager::sharedInstance().timeoutInterval());
}

TEST_F(NetworkManagerTest, WithoutAnAccountIdentifierBothRequestsReportNilTwice) {
  CRVUtil::setObjectForKey(Value(""), kKeyQuorvel);
  const std::pair<std::optional<std::string>, std::string> requests[] = {
      {std::nullopt, "-[CRVNetworkManager getDataFromTheEndpoint:withBlock:] [Line 52] Getting data from"},
      {"{}", "-[CRVNetworkManager postDataSync:toTheEndpoint:withBlock:] [Line 147] Posting data to"}};
  for (const auto& [post, trace] : requests) {
    EXPECT_EQ((Calls{kNil, kNil}), request("api/v1/sync", post));
    EXPECT_EQ((Lines{"CorvanaSDK-Quorvel ID is an empty string.0", "CorvanaSDK-Error creating request Url",
                     "CorvanaFramework-" + trace + " end point (null)", "CorvanaSDK-unsupported URL"}),
              log->lines());
  }
}

}  // namespace
}  // namespace corvana
