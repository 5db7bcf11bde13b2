// A host app built against an SDK installed in one prefix and then moved to another: it syncs a campaign from the
// reference service, triggers it and draws what is on screen. That only works when the SDK finds its resource
// bundle in the prefix it now lives in. Arguments: data folder, corvana-service program, service folder, PNG out.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "corvana/render.h"

extern char** environ;

namespace {

std::string campaignDate(std::time_t t) {
  std::tm utc{};
  gmtime_r(&t, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+0000", &utc);
  return text;
}

std::string config() {
  const std::time_t now = std::time(nullptr);
  const std::string text = R"({"color": "#FFF", "size": "14", "bold": "yes", "italic": 0, "alignment": "center",)"
                           R"( "underline": "true", "text": "Hello from a moved install"})";
  const std::string button = R"({"color": "#F00", "style": "style2", "gradient": "1", "border": "y",)"
                             R"( "text_size": "12", "bold": false, "italic": "T", "text": "Go", "text_color": "#000",)"
                             R"( "underline": 0})";
  return R"({"accounts": {"acme": {"secret": "s3cret", "test_tokens": [], "images_dir": "images", "sync": {)"
         R"("success": true, "lst": 1700000000, "config": {"syncTimeOut": 3600, "secure_mode": false,)"
         R"( "test_device": false}, "inapp": [{"cid": "moved", "status": "active", "version": "1",)"
         R"( "action": "app://deal", "display_trigger": "buy", "display_frequency": "everytime", "start_time": ")" +
         campaignDate(now - 3600) + R"(", "end_time": ")" + campaignDate(now + 86400) +
         R"(", "layout": {"type": "layout3", "background": {"color": "#336699", "radius": "8", "border_color": "#000", "border_width": 2}, "primary_text": )" +
         text + R"(, "secondary_text": )" + text + R"(, "primary_button": )" + button +
         R"(, "secondary_button": )" + button +
         R"(, "close_button": {"style": "style5", "color": "#FFF", "layout_alignment": "end"}}}]}}}})";
}

int fail(const std::string& why) {
  std::cerr << why << "\n";
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const std::string serviceDir = argv[3];
  std::string configPath = serviceDir + "/config.json";
  std::ofstream(configPath) << config();

  int out[2];
  if (::pipe(out) != 0) return fail("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  std::string host = "127.0.0.1", port = "0";
  char* args[] = {argv[2], const_cast<char*>("--host"), host.data(), const_cast<char*>("--port"), port.data(),
                  const_cast<char*>("--dir"), argv[3], const_cast<char*>("--config"), configPath.data(), nullptr};
  pid_t service = 0;
  if (::posix_spawn(&service, argv[2], &actions, nullptr, args, environ) != 0) return fail("cannot start the service");
  ::close(out[1]);
  FILE* lines = ::fdopen(out[0], "r");
  int servicePort = 0;
  char certificate[4096] = {};
  if (std::fscanf(lines, "corvana-service listening on https://127.0.0.1:%d (certificate %4095[^)])", &servicePort,
                  certificate) != 2) {
    ::kill(service, SIGTERM);
    return fail("the service did not start");
  }

  corvana::LinuxPlatformOptions options;  // no bundlePath: the SDK finds its own
  options.dataDirectory = argv[1];
  options.serviceDomain = "corvana.test:" + std::to_string(servicePort);
  options.caFile = certificate;
  options.resolve = {"acme." + options.serviceDomain + ":127.0.0.1"};
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));
  auto& sdk = corvana::Corvana::sharedInstance();
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while ((!sdk.sdkInitialized() || sdk.isSyncing()) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  sdk.serialQueue()->waitUntilIdle();
  sdk.serialInAppQueue()->waitUntilIdle();
  sdk.reportActionWithMetaData("buy");
  sdk.serialQueue()->waitUntilIdle();
  auto& platform = corvana::Platform::current();
  platform.mainQueue->drain();
  ::kill(service, SIGTERM);
  ::waitpid(service, nullptr, 0);

  const auto shown = platform.ui->keyWindowRootViewController()->presentedViewController();
  if (!shown) return fail("no campaign on screen");
  if (!corvana::renderView(*shown->view()).writePng(argv[4])) return fail("cannot write the picture");
  std::cout << "campaign shown, bundle " << platform.application->bundlePath() << "\n";
  return 0;
}
