// A host application: installs the Linux platform, initialises the SDK and waits for the start-up to finish.

#include <cstdio>
#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"

int main(int argc, char** argv) {
  CLI::App app{"Corvana demo host app"};
  std::string dataDir = "corvana-demo-data";
  std::string account = "acme";
  std::string secret = "demo-secret";
  bool verbose = false;
  app.add_option("--data-dir", dataDir, "Folder of the app's data (preferences, database, caches)");
  app.add_option("--account", account, "Account identifier");
  app.add_option("--secret", secret, "App secret");
  app.add_flag("--verbose", verbose, "Print the SDK's log");
  CLI11_PARSE(app, argc, argv);

  corvana::LinuxPlatformOptions options;
  options.dataDirectory = std::filesystem::absolute(dataDir).string();
  options.appVersion = "1.0.0";
  options.bundleIdentifier = "io.corvana.demo";
  if (!verbose) {
    struct Quiet : corvana::LogSink {
      void write(const std::string&) override {}
    };
    options.logSink = std::make_shared<Quiet>();
  }
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));

  auto& sdk = corvana::Corvana::sharedInstance();
  std::printf("Corvana SDK %s, data in %s\n", corvana::kLorrowSDKVersion, options.dataDirectory.c_str());
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(account, secret, "native", nullptr);
  sdk.serialQueue()->waitUntilIdle();
  std::printf("start-up finished: initialized=%s, initializing=%s\n", sdk.sdkInitialized() ? "yes" : "no",
              sdk.makingInitCall() ? "yes" : "no");
  return 0;
}
