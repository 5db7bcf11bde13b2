#pragma once

#include <memory>
#include <string>

#include "corvana/export.h"
#include "corvana/value.h"

namespace corvana {

// The signature an account in secure mode needs on its reports, computed by the host's own back end for the
// user: an access key, a signature, a time stamp and the user's e-mail address.
class CORVANA_EXPORT CRVSecuritySignature {
 public:
  // Empty when a field is missing or the e-mail address is not valid (the reason is logged).
  static std::shared_ptr<CRVSecuritySignature> initWithAccessKeySignatureTimestampEmail(const std::string& accessKey,
                                                                                      const std::string& signature,
                                                                                      const std::string& timestamp,
                                                                                      const std::string& email);
  bool isValid() const;

  const std::string& getAccessKey() const { return accessKey_; }
  const std::string& getSignature() const { return signature_; }
  const std::string& getTimeStamp() const { return timeStamp_; }
  const std::string& getEmail() const { return email_; }

  // Keyed archiving: the four fields under "accessKey", "signature", "timeStamp" and "email".
  Value encodeWithCoder() const;
  static std::shared_ptr<CRVSecuritySignature> initWithCoder(const Value& coder);

 private:
  CRVSecuritySignature(std::string accessKey, std::string signature, std::string timeStamp, std::string email)
      : accessKey_(std::move(accessKey)),
        signature_(std::move(signature)),
        timeStamp_(std::move(timeStamp)),
        email_(std::move(email)) {}

  std::string accessKey_;
  std::string signature_;
  std::string timeStamp_;
  std::string email_;
};

}  // namespace corvana
