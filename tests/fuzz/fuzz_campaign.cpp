// A campaign dictionary, as an element of the sync answer's "inapp" list, built into a campaign: every check of
// the campaign and its component records, the dates, the store's status update and the picture downloads (served
// from tests/fuzz/images). A campaign that builds is shown over the key window, laid out, drawn, and tapped in the
// middle of the screen (a button, the picture or the card) and then on its close button.

#include <cstdint>
#include <cstdlib>

#include "FuzzPlatform.h"
#include "corvana/render.h"
#include "events/CRVDataManager.h"
#include "inapp/CRVInAppMessage.h"
#include "storage/CRVIOManager.h"

using namespace corvana;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto dictionary = fuzz::jsonInput(data, size);
  if (!dictionary) return 0;

  if (const auto campaign = CRVInAppMessage::initWithDictionary(*dictionary)) {
    if (campaign->notificationType() < CRVLayout1 || campaign->notificationType() > CRVLayout6) std::abort();
    if (campaign->containerView().empty() || !campaign->getJsonData()) std::abort();
    campaign->getStartTime();
    campaign->getEndTime();
    campaign->isValid();

    campaign->show();
    fuzz::settle();
    const auto window = Platform::current().ui->keyWindow();
    window->layoutScreens();
    renderWindow(*window, 0.25);
    fuzz::tapShownCampaign();
  }
  fuzz::settle();
  CRVIOManager::sharedInstance().cleanUp();
  CRVDataManager::sharedInstance().cleanUpAppEvents();
  return 0;
}
