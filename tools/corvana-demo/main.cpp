// corvana-demo: a host app's day with the Corvana SDK. Without options it starts the reference service on
// 127.0.0.1 (its own certificate, six sample campaigns and their pictures), points the SDK at it and plays: first
// launch and sync, a lead, sessions, actions with details, one campaign of each layout shown (drawn to a PNG) and
// tapped, background and foreground, a push token and an opened push, the test-device deep link, a final report.
// It prints one line per step and a summary; --verbose adds the SDK's log.
//
//   corvana-demo [--out DIR] [--data-dir DIR] [--verbose]
//   corvana-demo --service-domain corvana.io:8443 [--ca-file FILE] [--resolve HOST:PORT:ADDR] ...

#include <sqlite3.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "DemoScreen.h"
#include "SampleCampaigns.h"
#include "corvana-service/ReferenceService.h"
#include "corvana/Corvana.hpp"
#include "corvana/platform.h"

namespace fs = std::filesystem;
using corvana::Value;

namespace {

// Keeps the SDK's log lines (printed at once with --verbose) so that steps can tell what the SDK did.
class DemoLog : public corvana::LogSink {
 public:
  explicit DemoLog(bool verbose) : verbose_(verbose) {}
  void write(const std::string& line) override {
    std::lock_guard<std::mutex> lock(mutex_);
    if (verbose_) std::fprintf(stderr, "    | %s\n", line.c_str());
    lines_.push_back(line);
  }
  bool contains(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& line : lines_) {
      if (line.find(text) != std::string::npos) return true;
    }
    return false;
  }

 private:
  bool verbose_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

// Runs the main queue until the condition holds; false after `seconds`.
template <typename Condition>
bool runUntil(Condition condition, int seconds = 20) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    corvana::Platform::current().mainQueue->drainFor(20);
  }
  return true;
}
void settle(int ms) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (std::chrono::steady_clock::now() < until) corvana::Platform::current().mainQueue->drainFor(20);
}

int failures = 0;
void step(const std::string& text) { std::printf("- %s\n", text.c_str()); std::fflush(stdout); }
void result(bool ok, const std::string& text) {
  std::printf("    %s %s\n", ok ? "ok:" : "FAILED:", text.c_str());
  if (!ok) ++failures;
}

// Rows of a query on the SDK's database file, counted by the first column.
std::map<std::string, int> countRows(const fs::path& database, const char* sql) {
  std::map<std::string, int> counts;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) == SQLITE_OK) {
      while (sqlite3_step(statement) == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(statement, 0);
        counts[text ? reinterpret_cast<const char*>(text) : "?"]++;
      }
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(db);
  return counts;
}
int total(const std::map<std::string, int>& counts) {
  int sum = 0;
  for (const auto& [key, count] : counts) sum += count;
  return sum;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Corvana demo host app"};
  std::string dataDir = "corvana-demo-data", outDir = "corvana-demo-out", serviceDomain, caFile, account = "acme",
              secret = "s3cret";
  std::vector<std::string> resolve;
  bool verbose = false;
  app.add_option("--data-dir", dataDir, "Folder of the app's data (and of the demo's own service)")->capture_default_str();
  app.add_option("--out", outDir, "Folder of the campaigns drawn as PNG")->capture_default_str();
  app.add_option("--service-domain", serviceDomain, "Use this service instead of starting one (HOST[:PORT])");
  app.add_option("--ca-file", caFile, "CA certificate to trust for that service");
  app.add_option("--resolve", resolve, "HOST:PORT:ADDR address override for that service");
  app.add_option("--account", account, "Account id")->capture_default_str();
  app.add_option("--secret", secret, "App secret of the account")->capture_default_str();
  app.add_flag("--verbose", verbose, "Print the SDK's log");
  CLI11_PARSE(app, argc, argv);

  const fs::path root = fs::absolute(dataDir);
  const fs::path out = fs::absolute(outDir);
  // A fresh start every run: the demo shows a first launch.
  fs::remove_all(root);
  fs::remove_all(out);
  fs::create_directories(root);
  fs::create_directories(out);

  // ---- The service: our own, with the sample campaigns, unless another one was named.
  std::unique_ptr<corvana::service::ReferenceService> service;
  if (serviceDomain.empty()) {
    corvana::service::ServiceOptions serviceOptions;
    serviceOptions.dir = root / "service";
    fs::create_directories(serviceOptions.dir);
    service = std::make_unique<corvana::service::ReferenceService>(serviceOptions);
    service->start();
    serviceDomain = "corvana.test:" + std::to_string(service->port());
    caFile = service->certificateFile().string();
    resolve = {account + "." + serviceDomain + ":127.0.0.1"};
    demo::writeSampleImages(serviceOptions.dir / "images");
    Value config = Value::parse(R"({"accounts": {}})");
    config["accounts"][account] = {
        {"secret", secret}, {"test_tokens", {"T1"}}, {"images_dir", (serviceOptions.dir / "images").string()},
        {"sync",
         {{"success", true}, {"lst", 1700000000},
          {"config", {{"syncTimeOut", 3600}, {"secure_mode", false}, {"test_device", false}}},
          {"inapp", demo::sampleCampaigns("https://" + account + "." + serviceDomain + "/images/")}}}};
    service->setConfig(config);
    std::printf("Corvana SDK %s demo; reference service on https://127.0.0.1:%d\n", corvana::kLorrowSDKVersion,
                service->port());
  } else {
    std::printf("Corvana SDK %s demo; service %s\n", corvana::kLorrowSDKVersion, serviceDomain.c_str());
  }

  // ---- The platform: Linux defaults, our log and a screen whose alerts the "user" answers.
  auto log = std::make_shared<DemoLog>(verbose);
  auto alerts = std::make_shared<DemoLog>(false);  // the alerts the user saw
  corvana::LinuxPlatformOptions options;
  options.dataDirectory = (root / "app").string();
  options.appVersion = "1.0.0";
  options.bundleIdentifier = "io.corvana.demo";
  options.bundlePath = CORVANA_DEMO_RESOURCES;
  options.serviceDomain = serviceDomain;
  options.caFile = caFile;
  options.resolve = resolve;
  options.deviceName = "Demo phone";
  options.logSink = log;
  auto platform = corvana::Platform::makeLinuxDefault(options);
  auto screen = std::make_shared<demo::DemoScreen>(
      [](const corvana::AlertRequest& alert) {
        // Yes to the test-device prompt (keeping the suggested name), OK to anything else.
        for (size_t i = 0; i < alert.buttons.size(); ++i) {
          if (alert.buttons[i] == "Yes") return std::make_pair(i, alert.textFields);
        }
        return std::make_pair(size_t{0}, alert.textFields);
      },
      [alerts](const std::string& said) {
        std::printf("    alert: %s\n", said.c_str());
        alerts->write(said);
      });
  platform->ui = screen;
  corvana::Platform::install(platform);
  auto& sdk = corvana::Corvana::sharedInstance();
  const fs::path database = fs::path(options.dataDirectory) / "Documents" / "lorrowab.sqlite";

  step("first launch: initialise, sync the configuration and store its campaigns");
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(account, secret, "native", nullptr);
  const bool started = runUntil([&] { return !sdk.makingInitCall(); }) && sdk.sdkInitialized();
  result(started, started ? "initialised" : "the SDK did not initialise (see --verbose)");
  if (!started) return 1;
  runUntil([&] { return log->contains("InAppMessages in sync call"); });
  sdk.serialInAppQueue()->waitUntilIdle();
  result(true, std::to_string(total(countRows(database, "select campaignId from crvn_inapp"))) + " campaigns stored");

  step("associate a lead");
  auto lead = std::make_shared<corvana::CorvanaLead>();
  lead->setFirstName("Ada");
  lead->setLastName("Lovelace");
  lead->setEmail("ada@example.com");
  sdk.associateLead(lead);

  step("a browsing session with two custom actions carrying details");
  sdk.startSession("browsing");
  for (const char* sku : {"A-1", "B-7"}) {
    auto details = std::make_shared<corvana::CorvanaActionMetaData>();
    details->setType("product_view");
    details->setKeyWithValue("sku", sku);
    details->setKeyWithValue("price", "19.90");
    sdk.reportActionWithMetaData("view_product", details);
  }
  sdk.serialQueue()->waitUntilIdle();
  settle(1100);  // sessions last whole seconds
  sdk.endSession("browsing");

  std::vector<std::string> pngs;
  for (int n = 1; n <= 6; ++n) {
    // Buttons on the odd layouts' campaigns, the close control on the others (layout 4 has no button).
    const bool useButton = n % 2 == 1;
    step("action \"" + demo::triggerOf(n) + "\" shows campaign spring-" + std::to_string(n) + " (layout" +
         std::to_string(n) + ")");
    sdk.reportActionWithMetaData(demo::triggerOf(n));
    const bool shown = runUntil([&] { return screen->presentedView() != nullptr; }, 10);
    if (!shown) {
      result(false, "nothing was shown");
      continue;
    }
    settle(300);  // the pictures arrive from the cache through the main queue
    const std::string png = (out / ("layout" + std::to_string(n) + ".png")).string();
    const bool drawn = screen->renderTo(png, 2.0);
    if (drawn) pngs.push_back(png);
    result(drawn, "drawn to " + png);
    const auto target = screen->findButton(useButton ? "Shop now" : "");
    const auto tapped = target ? screen->tap(*target) : nullptr;
    result(tapped && screen->presentedView() == nullptr,
           std::string("tapped ") + (useButton ? "\"Shop now\"" : "the close button") + ", campaign dismissed");
  }

  step("the app goes to the background and comes back");
  platform->application->postNotification(corvana::UIApplicationDidEnterBackgroundNotification);
  settle(200);
  platform->application->postNotification(corvana::UIApplicationWillEnterForegroundNotification);
  settle(200);

  step("register a push token, then the user opens a push with a tap action");
  sdk.registerPushDeviceToken(corvana::Data{0xC0, 0xFF, 0xEE, 0x01});
  sdk.handlePushNotification(Value::parse(R"({"aps": {"alert": "Half price!"},
                                              "vs": {"cid": "push-7", "a": "shop.example/spring"}})"));
  result(runUntil([&] { return log->contains("Tap action found, launching it"); }, 10),
         "push recorded and its tap action handed to the app");

  step("the test-device link from the dashboard, answered \"Yes\"");
  const bool taken = sdk.applicationOpenURLOptions("crvnx://add_test_device?secret=" + secret + "&token=T1");
  result(taken && runUntil([&] { return alerts->contains("Success!"); }, 15), "registered as a test device");

  step("final report");
  sdk.reportAll();
  sdk.serialQueue()->waitUntilIdle();
  runUntil([&] { return total(countRows(database, "select event from lorrow_events")) == 0; }, 20);
  settle(200);

  // ---- Summary
  const auto stored = countRows(database, "select json_extract(event, '$.event_type') from lorrow_events");
  std::map<std::string, int> received;
  if (service) {
    const auto all = service->received(account);
    for (const auto& entry : all["events"]) {
      received[entry["event"].is_object() ? entry["event"].value("event_type", "?") : "?"]++;
    }
  }
  std::map<std::string, int> recorded = received;
  for (const auto& [type, count] : stored) recorded[type] += count;
  std::printf("\nSummary\n  events recorded by type:\n");
  for (const auto& [type, count] : recorded) std::printf("    %-12s %d\n", type.c_str(), count);
  if (service) {
    std::printf("  events the service received: %d\n", total(received));
  } else {
    std::printf("  events the service received: (another service; see its own records)\n");
  }
  std::printf("  events still stored: %d\n", total(stored));
  std::printf("  campaigns stored: %d\n", total(countRows(database, "select campaignId from crvn_inapp")));
  std::printf("  PNGs written: %zu\n", pngs.size());
  for (const auto& png : pngs) std::printf("    %s\n", png.c_str());
  if (service) service->stop();
  return failures == 0 && total(stored) == 0 ? 0 : 1;
}
