#include "inapp/CRVInAppHandler.h"

namespace corvana {

CRVInAppHandler& CRVInAppHandler::sharedInstance() {
  static CRVInAppHandler* instance = new CRVInAppHandler();
  return *instance;
}

// No campaign is stored on this device yet, so no event or session can trigger one.
void CRVInAppHandler::currentEvent(const Value& /*event*/) {}

void CRVInAppHandler::currentSession(const std::string& /*sessionName*/) {}

}  // namespace corvana
