#include "corvana/CRVSecuritySignature.hpp"

#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {

std::shared_ptr<CRVSecuritySignature> CRVSecuritySignature::initWithAccessKeySignatureTimestampEmail(
    const std::string& accessKey, const std::string& signature, const std::string& timestamp,
    const std::string& email) {
  std::shared_ptr<CRVSecuritySignature> record(new CRVSecuritySignature(accessKey, signature, timestamp, email));
  if (!record->isValid()) {
    CRVLog("CorvanaSDK-Faild to create Corvana Config, Please check the credentials");
    return nullptr;
  }
  return record;
}

bool CRVSecuritySignature::isValid() const {
  // The time stamp is checked before the signature, whatever the order of the fields.
  if (CRVUtil::isStringEmpty(accessKey_)) {
    CRVLog("CorvanaSDK- Nil or Emplty AccessKey in security Token .");
    return false;
  }
  if (CRVUtil::isStringEmpty(timeStamp_)) {
    CRVLog("CorvanaSDK-Nil or Emplty Time Stamp in security Token .");
    return false;
  }
  if (CRVUtil::isStringEmpty(signature_)) {
    CRVLog("CorvanaSDK-Nil or Emplty Signature in security Token .");
    return false;
  }
  if (CRVUtil::isStringEmpty(email_)) {
    CRVLog("CorvanaSDK-Nil or Emplty Email in security Token .");
    return false;
  }
  if (!CRVUtil::sharedInstance().isValidEmail(email_)) {
    CRVLog("CorvanaSDK-Invalid Email in security Token .");
    return false;
  }
  return true;
}

Value CRVSecuritySignature::encodeWithCoder() const {
  return Value{{"accessKey", accessKey_}, {"signature", signature_}, {"timeStamp", timeStamp_}, {"email", email_}};
}

std::shared_ptr<CRVSecuritySignature> CRVSecuritySignature::initWithCoder(const Value& coder) {
  auto field = [&coder](const char* key) {
    return coder.is_object() && coder.contains(key) && coder[key].is_string() ? coder[key].get<std::string>()
                                                                              : std::string();
  };
  return std::shared_ptr<CRVSecuritySignature>(
      new CRVSecuritySignature(field("accessKey"), field("signature"), field("timeStamp"), field("email")));
}

}  // namespace corvana

namespace corvana {

// The record is read through getDataObjectForKey, which admits only a string as the archive's root object. A
// string is never a signature record, so a stored record does not read back and secure-mode reports keep waiting.
// This is how installed devices behave; it is kept.
std::shared_ptr<CRVSecuritySignature> CRVUtil::getSecureSignature() {
  const std::optional<std::string> root = getDataObjectForKey(kKeySecureToken);
  if (!root) return nullptr;
  return nullptr;  // a string root is not a record either
}

}  // namespace corvana
