#pragma once

#include <string>

#include "corvana/export.h"
#include "corvana/value.h"

namespace corvana {

// The host's user (the lead): attributes under fixed keys plus custom fields. Empty values are ignored and an
// invalid e-mail address is dropped. Not synchronised: fill it on one thread, then hand it to
// `Corvana::associateLead`.
class CORVANA_EXPORT CorvanaLead {
 public:
  CorvanaLead() : userAttributes_(Value::object()) {}

  void setEmail(const std::string& email);
  void setGender(const std::string& gender) { setKeyWithValue("gender", gender); }
  void setFirstName(const std::string& firstName) { setKeyWithValue("firstName", firstName); }
  void setLastName(const std::string& lastName) { setKeyWithValue("lastName", lastName); }
  void setAddress(const std::string& address) { setKeyWithValue("address", address); }
  void setCity(const std::string& city) { setKeyWithValue("city", city); }
  void setState(const std::string& state) { setKeyWithValue("state", state); }
  void setCountry(const std::string& country) { setKeyWithValue("country", country); }
  void setPostalCode(const std::string& postalCode) { setKeyWithValue("postalCode", postalCode); }
  void setLeadSource(const std::string& leadSource) { setKeyWithValue("leadSource", leadSource); }
  void setFacebookId(const std::string& facebookId) { setKeyWithValue("facebookId", facebookId); }
  void setTwitterId(const std::string& twitterId) { setKeyWithValue("twitterId", twitterId); }
  void setLinkedInId(const std::string& linkedInId) { setKeyWithValue("linkedInId", linkedInId); }
  void setBirthDay(const std::string& birthDay) { setKeyWithValue("dateOfBirth", birthDay); }
  void setFacebookProfileURL(const std::string& url) { setKeyWithValue("facebookProfileURL", url); }
  void setFacebookProfilePicURL(const std::string& url) { setKeyWithValue("facebookPhotoURL", url); }
  void setFieldNameWithValue(const std::string& fieldName, const std::string& value) {
    setKeyWithValue(fieldName, value);
  }
  // Stores the value under the key when neither is empty, replacing an earlier value.
  void setKeyWithValue(const std::string& key, const std::string& value);

  const Value& userData() const { return userAttributes_; }

 private:
  Value userAttributes_;
};

}  // namespace corvana
