// Installing the Linux platform, and running the main queue, from C.

#include <chrono>
#include <thread>

#include "capi/CapiSupport.h"
#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "events/CRVEventLogger.h"

namespace corvana::capi {
namespace {

// Hands every log line to the host's C callback.
class CallbackLogSink : public LogSink {
 public:
  CallbackLogSink(corvana_log_callback callback, void* context) : callback_(callback), context_(context) {}
  void write(const std::string& line) override { callback_(context_, line.c_str()); }

 private:
  corvana_log_callback callback_;
  void* context_;
};

void assign(std::string& field, const char* text) {
  if (text) field = text;
}

std::vector<std::string> texts(const char* const* items, size_t count) {
  std::vector<std::string> out;
  for (size_t i = 0; items && i < count; ++i) {
    if (items[i]) out.emplace_back(items[i]);
  }
  return out;
}

LinuxPlatformOptions linuxOptions(const corvana_platform_options& from) {
  LinuxPlatformOptions options;
  assign(options.dataDirectory, from.data_directory);
  assign(options.appVersion, from.app_version);
  assign(options.bundleIdentifier, from.bundle_identifier);
  assign(options.bundlePath, from.bundle_path);
  assign(options.serviceDomain, from.service_domain);
  assign(options.caFile, from.ca_file);
  options.resolve = texts(from.resolve, from.resolve_count);
  assign(options.deviceModel, from.device_model);
  assign(options.deviceMachine, from.device_machine);
  assign(options.deviceName, from.device_name);
  assign(options.systemVersion, from.system_version);
  assign(options.localeIdentifier, from.locale_identifier);
  options.preferredLanguages = texts(from.preferred_languages, from.preferred_languages_count);
  assign(options.timeZoneName, from.time_zone_name);
  for (size_t i = 0; from.carrier_names && i < from.carrier_names_count; ++i) {
    const char* name = from.carrier_names[i];
    options.carrierNames.push_back(name ? std::optional<std::string>(name) : std::nullopt);
  }
  if (from.log) options.logSink = std::make_shared<CallbackLogSink>(from.log, from.log_context);
  return options;
}

bool sdkIsIdle() {
  auto& sdk = Corvana::sharedInstance();
  return sdk.serialQueue()->isIdle() && sdk.serialInAppQueue()->isIdle() && !sdk.makingInitCall() &&
         !CRVEventLogger::sharedInstance().isReporting();
}

}  // namespace
}  // namespace corvana::capi

using namespace corvana;
using namespace corvana::capi;

extern "C" {

int corvana_platform_install_linux(const corvana_platform_options* options) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    const corvana_platform_options defaults{};
    auto platform = Platform::makeLinuxDefault(linuxOptions(options ? *options : defaults));
    platform->mainQueue->bindToCurrentThread();
    Platform::install(std::move(platform));
    return CORVANA_OK;
  });
}

int corvana_main_queue_drain(void) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL,
                 [] { return static_cast<int>(Platform::current().mainQueue->drain()); });
}

int corvana_main_queue_drain_for(int timeout_ms) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL,
                 [&] { return static_cast<int>(Platform::current().mainQueue->drainFor(timeout_ms)); });
}

int corvana_wait_until_idle(int timeout_ms) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    auto& mainQueue = *Platform::current().mainQueue;
    const bool onMain = mainQueue.isMainThread();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms > 0 ? timeout_ms : 0);
    // Idle twice in a row, 5 ms apart: a report that just ended may still be queuing its follow-up.
    int idleChecks = 0;
    for (;;) {
      // The SDK's work may wait for the main queue: on the main thread, this wait runs it.
      if (onMain) mainQueue.drain();
      idleChecks = sdkIsIdle() && (!onMain || mainQueue.isEmpty()) ? idleChecks + 1 : 0;
      if (idleChecks == 2) return CORVANA_OK;
      if (std::chrono::steady_clock::now() >= deadline) return CORVANA_ERROR_TIMEOUT;
      if (onMain) {
        mainQueue.drainFor(5);
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    }
  });
}

}  // extern "C"
