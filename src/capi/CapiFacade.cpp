// The facade's operations in C: start-up, recording, push and deep links, secure mode, lifecycle.

#include "capi/CapiSupport.h"
#include "corvana/Corvana.hpp"
#include "corvana/platform.h"

using namespace corvana;
using namespace corvana::capi;

namespace {

Corvana& sdk() { return Corvana::sharedInstance(); }

// Runs a call taking one required text.
template <typename Call>
int withText(const char* function, const char* text, Call call) {
  return guarded(function, CORVANA_ERROR_INTERNAL, [&] {
    if (!text) return CORVANA_ERROR_NULL_ARGUMENT;
    if (!isUtf8(text)) return CORVANA_ERROR_INVALID_ARGUMENT;
    call(std::string(text));
    return CORVANA_OK;
  });
}

// Runs a call taking an optional JSON text (NULL: the null value).
template <typename Call>
int withJson(const char* function, const char* json, Call call) {
  return guarded(function, CORVANA_ERROR_INTERNAL, [&] {
    const auto value = parseOptionalJson(json);
    if (!value) return CORVANA_ERROR_INVALID_JSON;
    call(*value);
    return CORVANA_OK;
  });
}

template <typename Call>
int plain(const char* function, Call call) {
  return guarded(function, CORVANA_ERROR_INTERNAL, [&] {
    call();
    return CORVANA_OK;
  });
}

}  // namespace

extern "C" {

const char* corvana_sdk_version(void) { return kLorrowSDKVersion; }

// ---- Start-up ----------------------------------------------------------------------------------------------------

int corvana_initialize(const char* account_id, const char* app_secret, const char* framework_type,
                       const char* launch_options_json) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!account_id || !app_secret || !framework_type) return CORVANA_ERROR_NULL_ARGUMENT;
    if (!isUtf8(account_id) || !isUtf8(app_secret) || !isUtf8(framework_type)) return CORVANA_ERROR_INVALID_ARGUMENT;
    const auto launchOptions = parseOptionalJson(launch_options_json);
    if (!launchOptions) return CORVANA_ERROR_INVALID_JSON;
    sdk().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(account_id, app_secret, framework_type,
                                                                           *launchOptions);
    return CORVANA_OK;
  });
}

int corvana_set_timeout_interval(int64_t seconds) {
  return plain(__func__, [&] { sdk().setTimeoutInterval(seconds); });
}

int corvana_sdk_initialized(void) {
  return guarded(__func__, 0, [] { return sdk().sdkInitialized() ? 1 : 0; });
}

char* corvana_get_device_id(void) {
  return guarded(__func__, static_cast<char*>(nullptr), [] { return copyOut(sdk().getDeviceId()); });
}

// ---- Recording ---------------------------------------------------------------------------------------------------

int corvana_start_session(const char* name) {
  return withText(__func__, name, [](const std::string& text) { sdk().startSession(text); });
}

int corvana_end_session(const char* name) {
  return withText(__func__, name, [](const std::string& text) { sdk().endSession(text); });
}

int corvana_end_all_sessions(const char* type) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (type && !isUtf8(type)) return CORVANA_ERROR_INVALID_ARGUMENT;
    sdk().endAllSessionsWithType(type ? type : "");
    return CORVANA_OK;
  });
}

int corvana_discard_all_sessions(void) {
  return plain(__func__, [] { sdk().discardAllSessions(); });
}

int corvana_report_action(const char* name, const corvana_action_metadata* metadata) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!name) return CORVANA_ERROR_NULL_ARGUMENT;
    auto details = copyOf(metadata);
    if (!isUtf8(name) || (details && !serialises(details->actionMetadata()))) return CORVANA_ERROR_INVALID_ARGUMENT;
    sdk().reportActionWithMetaData(name, std::move(details));
    return CORVANA_OK;
  });
}

int corvana_associate_lead(const corvana_lead* lead) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!lead) return CORVANA_ERROR_NULL_ARGUMENT;
    auto copy = copyOf(lead);
    if (!serialises(copy->userData())) return CORVANA_ERROR_INVALID_ARGUMENT;
    sdk().associateLead(std::move(copy));
    return CORVANA_OK;
  });
}

int corvana_report_all(void) {
  return plain(__func__, [] { sdk().reportAll(); });
}

// ---- Push notifications and deep links ---------------------------------------------------------------------------

int corvana_register_push_device_token(const uint8_t* bytes, size_t length) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!bytes && length > 0) return CORVANA_ERROR_NULL_ARGUMENT;
    sdk().registerPushDeviceToken(bytes ? Data(bytes, bytes + length) : Data());
    return CORVANA_OK;
  });
}

int corvana_unregister_push_device_token(void) {
  return plain(__func__, [] { sdk().unregisterPushDeviceToken(); });
}

char* corvana_get_push_device_token(void) {
  return guarded(__func__, static_cast<char*>(nullptr), [] { return copyOut(sdk().getPushDeviceToken()); });
}

int corvana_is_push_registered(void) {
  return guarded(__func__, 0, [] { return sdk().isPushRegistered() ? 1 : 0; });
}

int corvana_track_push_notification(const char* payload_json) {
  return withJson(__func__, payload_json, [](const Value& payload) { sdk().trackPushNotification(payload); });
}

int corvana_handle_push_notification(const char* payload_json) {
  return withJson(__func__, payload_json, [](const Value& payload) { sdk().handlePushNotification(payload); });
}

int corvana_did_receive_notification_response(const char* user_info_json, void (*completion)(void* context),
                                              void* context) {
  return withJson(__func__, user_info_json, [&](const Value& userInfo) {
    sdk().userNotificationCenterDidReceiveNotificationResponseWithCompletionHandler(userInfo, [&] {
      if (completion) completion(context);
    });
  });
}

int corvana_open_url(const char* url, const char* options_json) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!url) return CORVANA_ERROR_NULL_ARGUMENT;
    if (!isUtf8(url)) return CORVANA_ERROR_INVALID_ARGUMENT;
    const auto options = parseOptionalJson(options_json);
    if (!options) return CORVANA_ERROR_INVALID_JSON;
    return sdk().applicationOpenURLOptions(url, *options) ? 1 : 0;
  });
}

// ---- Secure mode -------------------------------------------------------------------------------------------------

int corvana_set_secure_signature(const char* access_key, const char* signature, const char* timestamp,
                                 const char* email) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!access_key || !signature || !timestamp || !email) return CORVANA_ERROR_NULL_ARGUMENT;
    if (!isUtf8(access_key) || !isUtf8(signature) || !isUtf8(timestamp) || !isUtf8(email)) {
      return CORVANA_ERROR_INVALID_ARGUMENT;
    }
    auto made = CRVSecuritySignature::initWithAccessKeySignatureTimestampEmail(access_key, signature, timestamp, email);
    if (!made) return CORVANA_ERROR_INVALID_ARGUMENT;
    sdk().setSecureSignature(made);
    return CORVANA_OK;
  });
}

int corvana_remove_secure_signature(void) {
  return plain(__func__, [] { sdk().removeSecureSignature(); });
}

int corvana_is_secure_mode_enabled(void) {
  return guarded(__func__, 0, [] { return sdk().isSecureModeEnabled() ? 1 : 0; });
}

// ---- Lifecycle ---------------------------------------------------------------------------------------------------

int corvana_app_will_enter_foreground(void) {
  return plain(__func__, [] {
    Platform::current().application->postNotification(UIApplicationWillEnterForegroundNotification);
  });
}

int corvana_app_did_enter_background(void) {
  return plain(__func__, [] {
    Platform::current().application->postNotification(UIApplicationDidEnterBackgroundNotification);
  });
}

}  // extern "C"
