#pragma once

// Decides when a stored campaign goes on screen and what a tap on it does. Every recorded event is offered here;
// the campaign stored for that event name is shown unless another one is on screen (the trigger is then
// dropped, not queued). The trigger table (event name -> campaign) is filled by the campaign store at the first
// event, at each app session start and after each tap that disables a campaign; a sync's new campaigns become
// triggerable at the next refill.
//
// The table has a lock of its own that is never held while calling out (lock order: docs/LOCKING.md).

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "corvana/value.h"
#include "corvana/view.h"
#include "inapp/CRVTapContext.h"

namespace corvana {

class CRVInAppMessage;

class CRVInAppHandler {
 public:
  // Event name -> the newest eligible campaign for it.
  using TriggerTable = std::map<std::string, std::shared_ptr<CRVInAppMessage>>;

  static CRVInAppHandler& sharedInstance();

  // Offered every event record before it is stored; its "name" is the trigger.
  void currentEvent(const Value& event);
  // Told the name of every session that starts: the app session re-arms the campaigns shown once per session.
  void currentSession(const std::string& sessionName);
  // Handles a tap on a shown campaign's element (main thread): reports "tapped", applies the campaign's
  // display frequency, dismisses the campaign (letting go of the tap recognizers) and follows the element's
  // action unless it is "close".
  void processAction(CRVTapContext& tap);
  // The same for a tapped view, with the tap context attached to it; the view's crvMessage is cleared.
  void processAction(View& view);
  // The target of the campaign's buttons (touch-up-inside).
  void buttonAction(Button& sender);
  // The action of the recognizers made by getTappedGestureRecognizer: processes a tap on the recognizer's view
  // (one without a view counts as a tap without context).
  void imageAction(TapGestureRecognizer& recognizer);
  // A new tap recognizer whose action is imageAction, kept in tapGestureRecognizerSet until the campaign is
  // dismissed. Main thread only.
  std::shared_ptr<TapGestureRecognizer> getTappedGestureRecognizer();
  // The recognizers made while the current campaign is shown. Main thread only.
  const std::vector<std::shared_ptr<TapGestureRecognizer>>& tapGestureRecognizerSet() const {
    return tapGestureRecognizerSet_;
  }
  // Writes `enable` for the tapped element's campaign and refills the trigger table.
  void updateResourceWith(const CRVTapContext& tap, int32_t enable);

  // ---- The trigger table, for the campaign store ------------------------------------------------------------
  // Whether the table has been made (it is none until the first refill).
  bool hasTriggerTable();
  // Makes the table, empty, or empties it.
  void resetTriggerTable();
  void setTriggerCampaign(const std::string& eventName, std::shared_ptr<CRVInAppMessage> campaign);
  // Removes the first entry, in key order, whose campaign has this id.
  void removeTriggerCampaign(const std::string& campaignId);
  // A copy of the table; none before the first refill.
  std::optional<TriggerTable> crvInappEvents();

  // The campaign last looked up for an event, and whether one is on screen.
  std::shared_ptr<CRVInAppMessage> message();
  bool onScreen();

 private:
  CRVInAppHandler() = default;

  // Serialises the trigger lookups; held while the table is first filled.
  std::recursive_mutex monitor_;
  std::shared_ptr<CRVInAppMessage> message_;  // under monitor_
  // Set under monitor_ when a campaign is shown; cleared by a tap on the main thread.
  std::atomic<bool> onScreen_{false};

  // Touched on the main thread only.
  std::vector<std::shared_ptr<TapGestureRecognizer>> tapGestureRecognizerSet_;

  std::mutex tableMutex_;
  std::optional<TriggerTable> crvInappEvents_;  // under tableMutex_
};

}  // namespace corvana
