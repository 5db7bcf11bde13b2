#pragma once

#include <string>

#include "corvana/value.h"

namespace corvana {

// Decides whether a recorded event or a started session triggers a stored in-app campaign.
class CRVInAppHandler {
 public:
  static CRVInAppHandler& sharedInstance();

  // Offered every event record before it is stored.
  void currentEvent(const Value& event);
  // Told the name of every session that starts.
  void currentSession(const std::string& sessionName);

 private:
  CRVInAppHandler() = default;
};

}  // namespace corvana
