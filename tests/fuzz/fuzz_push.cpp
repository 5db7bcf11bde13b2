// A push notification's payload, as the host hands it over when the user opens the notification, and as the
// launch options of an app that a notification started: recorded by the facade and the event logger, with the
// tap action's URL checked and opened (the fuzz application opens nothing). Reports fail: there is no network.

#include <cstdint>

#include "FuzzPlatform.h"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"

using namespace corvana;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto payload = fuzz::jsonInput(data, size);
  if (!payload) return 0;

  Corvana& sdk = Corvana::sharedInstance();
  sdk.trackPushNotification(*payload);
  sdk.eventLogger().reportPushOpen(*payload);
  sdk.handlePushNotification(*payload);
  sdk.userNotificationCenterDidReceiveNotificationResponseWithCompletionHandler(*payload, [] {});
  fuzz::settle();
  CRVDataManager::sharedInstance().cleanUpAppEvents();
  return 0;
}
