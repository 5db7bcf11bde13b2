// Secure mode: the signature record the host sets for reports, and the mode the service switches.

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "events/CRVEventLogger.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {

namespace {

// The record as the settings store archives it: its class name and its coded fields.
class SignatureArchive : public Archivable {
 public:
  explicit SignatureArchive(const CRVSecuritySignature& signature) : signature_(signature) {}
  std::string archiveClassName() const override { return "CRVSecuritySignature"; }
  Value encodeWithCoder() const override { return signature_.encodeWithCoder(); }

 private:
  const CRVSecuritySignature& signature_;
};

}  // namespace

void Corvana::setSecureSignature(const std::shared_ptr<CRVSecuritySignature>& signature) {
  removeSecureSignature();
  if (!signature) return;
  const SignatureArchive archive(*signature);
  CRVUtil::setDataObjectForKey(&archive, kKeySecureToken);
  CRVLog("CorvanaSDK-setting secured signature.");
  // Reports held back for want of a signature go out now.
  eventLogger_->reportEvents(true);
}

void Corvana::removeSecureSignature() {
  Platform::current().preferences->removeObjectForKey(kKeySecureToken);
  CRVLog("CorvanaSDK-Removed secured signature.");
}

bool Corvana::isSecureModeEnabled() const { return CRVUtil::getBoolForKey(kKeySecureMode); }

}  // namespace corvana
