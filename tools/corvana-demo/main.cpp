// The demo host app: starts a reference service on 127.0.0.1 with its own certificate, points the SDK at it and
// plays a short day of a host app, printing one line per step and a summary at the end.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>

#include "corvana-service/ReferenceService.h"
#include "corvana/Corvana.hpp"
#include "corvana/platform.h"

namespace {

struct PrintLog : corvana::LogSink {
  void write(const std::string& line) override { std::fprintf(stderr, "    | %s\n", line.c_str()); }
};
struct Quiet : corvana::LogSink {
  void write(const std::string&) override {}
};

template <typename Condition>
bool waitFor(Condition condition, int seconds = 20) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    corvana::Platform::current().mainQueue->drain();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

void step(const char* text) { std::printf("- %s\n", text); }

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Corvana demo host app"};
  std::string dataDir = "corvana-demo-data";
  bool verbose = false;
  app.add_option("--data-dir", dataDir, "Folder of the app's data (preferences, database, caches) and the service's");
  app.add_flag("--verbose", verbose, "Print the SDK's log");
  CLI11_PARSE(app, argc, argv);

  const std::filesystem::path root = std::filesystem::absolute(dataDir);
  // A fresh start every run: the demo shows a first launch.
  std::filesystem::remove_all(root);
  std::filesystem::create_directories(root / "service");

  corvana::service::ServiceOptions serviceOptions;
  serviceOptions.dir = root / "service";
  corvana::service::ReferenceService service(serviceOptions);
  service.start();
  const std::string domain = "corvana.test:" + std::to_string(service.port());
  std::printf("Corvana SDK %s demo; service on https://127.0.0.1:%d\n", corvana::kLorrowSDKVersion, service.port());

  corvana::LinuxPlatformOptions options;
  options.dataDirectory = (root / "app").string();
  options.appVersion = "1.0.0";
  options.bundleIdentifier = "io.corvana.demo";
  options.serviceDomain = domain;
  options.caFile = service.certificateFile().string();
  options.resolve = {"acme." + domain + ":127.0.0.1"};
  if (verbose) {
    options.logSink = std::make_shared<PrintLog>();
  } else {
    options.logSink = std::make_shared<Quiet>();
  }
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));
  auto& sdk = corvana::Corvana::sharedInstance();

  step("first launch: initialise and sync the configuration");
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
  if (!waitFor([&] { return !sdk.makingInitCall(); }) || !sdk.sdkInitialized()) {
    std::printf("the SDK did not initialise\n");
    return 1;
  }

  step("associate a lead");
  auto lead = std::make_shared<corvana::CorvanaLead>();
  lead->setFirstName("Ada");
  lead->setEmail("ada@example.com");
  sdk.associateLead(lead);

  step("a session with a custom action");
  sdk.startSession("browsing");
  auto details = std::make_shared<corvana::CorvanaActionMetaData>();
  details->setType("purchase");
  details->setKeyWithValue("sku", "A-1");
  sdk.reportActionWithMetaData("checkout", details);
  sdk.serialQueue()->waitUntilIdle();
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // sessions last whole seconds
  sdk.endSession("browsing");

  step("register a push token");
  sdk.registerPushDeviceToken(corvana::Data{0xC0, 0xFF, 0xEE});

  step("final report");
  sdk.reportAll();
  sdk.serialQueue()->waitUntilIdle();
  // Every kind of record recorded above has arrived (a record may arrive twice when forced reports overlap).
  std::map<std::string, int> received;
  int total = 0;
  waitFor([&] {
    received.clear();
    const auto all = service.received("acme");
    total = static_cast<int>(all["events"].size());
    for (const auto& entry : all["events"]) {
      received[entry["event"].is_object() ? entry["event"].value("event_type", "?") : "?"]++;
    }
    return received.size() >= 5 && received["checkpoint"] >= 2;
  });
  std::printf("\nSummary\n  events the service received: %d\n", total);
  for (const auto& [type, count] : received) std::printf("    %-20s %d\n", type.c_str(), count);
  service.stop();
  return 0;
}
