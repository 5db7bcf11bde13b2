// A configuration sync answer applied by the facade: the account block, the server marker, the sync interval,
// secure mode, test-device mode, and the campaigns, which the in-app queue builds (downloading their pictures from
// tests/fuzz/images), stores and maps to their trigger events. Then each trigger event happens: the campaign is read
// back from the store, shown and tapped. Each input starts from the same settings and an empty campaign table.

#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "FuzzPlatform.h"
#include "events/CRVDataManager.h"
#include "inapp/CRVInAppHandler.h"
#include "storage/CRVIOManager.h"
#include "util/SettingsKeys.h"

using namespace corvana;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto response = fuzz::jsonInput(data, size);
  if (!response) return 0;

  Corvana& sdk = Corvana::sharedInstance();
  const bool applied = sdk.parseResponseForBlockedAndFeatures(*response);
  if (applied == response->is_null()) std::abort();  // false answers "no answer", and only that
  fuzz::settle();
  // The next sync reads back what this one stored: its marker and interval.
  sdk.getSyncUrl(std::string("fuzz-secret"));
  sdk.canUpdate();

  CRVInAppHandler& handler = CRVInAppHandler::sharedInstance();
  if (const auto triggers = handler.crvInappEvents()) {
    for (const auto& [event, campaign] : *triggers) {
      handler.currentEvent(Value{{"name", event}});
      fuzz::settle();
      fuzz::tapShownCampaign();
    }
  }
  handler.resetTriggerTable();

  CRVDataManager& store = CRVDataManager::sharedInstance();
  {
    std::lock_guard<std::recursive_mutex> lock(store.databaseLock());
    store.sql().doQuery("DELETE FROM crvn_inapp");
  }
  store.cleanUpAppEvents();
  CRVIOManager::sharedInstance().cleanUp();
  auto& preferences = *Platform::current().preferences;
  for (const char* key :
       {kKeyAcountBlocked, kKeyAppBlockUntil, kKeyLst, kKeySyncTimeout, kKeySecureMode, kKeyTestDevice}) {
    preferences.removeObjectForKey(key);
  }
  sdk.setAccountBlocked(false);
  return 0;
}
