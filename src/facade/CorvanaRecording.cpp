// The facade's recording calls: validated on the host's thread, carried out on serialQueue.

#include "corvana/Corvana.hpp"
#include "events/CRVEventLogger.h"
#include "util/CRVUtil.h"
#include "util/Log.h"

namespace corvana {

void Corvana::startSession(const std::string& name) {
  if (CRVUtil::isStringEmpty(name)) return;
  sdkInitilizationWarning();
  serialQueue_->async([this, name] { eventLogger_->startSession(name); });
}

void Corvana::endSession(const std::string& name) {
  if (CRVUtil::isStringEmpty(name)) return;
  sdkInitilizationWarning();
  serialQueue_->async([this, name] {
    eventLogger_->endSession(name);
    eventLogger_->reportEvents(false);
  });
}

void Corvana::endAllSessionsWithType(const std::string& /*type*/) {
  sdkInitilizationWarning();
  serialQueue_->async([this] {
    eventLogger_->endAllSessions();
    eventLogger_->reportEvents(false);
  });
}

void Corvana::discardAllSessions() { eventLogger_->discardAllSessions(); }

void Corvana::reportActionWithMetaData(const std::string& actionName,
                                       std::shared_ptr<CorvanaActionMetaData> metaData) {
  if (CRVUtil::isStringEmpty(actionName)) {
    CRVLogf("CorvanaSDK-Actin name should be a valid string. Failed to report action %s.", actionName.c_str());
    return;
  }
  sdkInitilizationWarning();
  serialQueue_->async([this, actionName, metaData] {
    eventLogger_->reportCheckpointWithTypeAndMeta(actionName, "custom",
                                                  metaData ? metaData->actionMetadata() : Value());
    eventLogger_->reportEvents(false);
  });
}

void Corvana::associateLead(std::shared_ptr<CorvanaLead> lead) {
  if (!lead) {
    CRVLog("CorvanaSDK-Please set valid user attributes");
    return;
  }
  sdkInitilizationWarning();
  serialQueue_->async([this, lead] {
    eventLogger_->reportUserAttributes(lead->userData());
    eventLogger_->reportEvents(true);
  });
}

void Corvana::reportAll() {
  serialQueue_->async([this] { eventLogger_->reportEvents(true); });
}

}  // namespace corvana
