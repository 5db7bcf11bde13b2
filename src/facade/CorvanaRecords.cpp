// The lead and action-metadata records the host fills in.

#include "corvana/CorvanaActionMetaData.hpp"
#include "corvana/CorvanaLead.hpp"
#include "util/CRVUtil.h"

namespace corvana {

namespace {

void storeIfBothGiven(Value& map, const std::string& key, const std::string& value) {
  if (CRVUtil::isStringEmpty(key) || CRVUtil::isStringEmpty(value)) return;
  map[key] = value;
}

}  // namespace

void CorvanaLead::setKeyWithValue(const std::string& key, const std::string& value) {
  storeIfBothGiven(userAttributes_, key, value);
}

void CorvanaLead::setEmail(const std::string& email) {
  if (CRVUtil::sharedInstance().isValidEmail(email)) setKeyWithValue("email", email);
}

void CorvanaActionMetaData::setType(const std::string& type) { storeIfBothGiven(actionMetadata_, "Action Type", type); }

void CorvanaActionMetaData::setDetails(const std::string& details) {
  storeIfBothGiven(actionMetadata_, "Action Details", details);
}

void CorvanaActionMetaData::setMetric(const Value& metric) {
  if (!CRVUtil::isObjectNull(metric)) actionMetadata_["Action Metric"] = metric;
}

void CorvanaActionMetaData::setLength(const Value& length) {
  if (!CRVUtil::isObjectNull(length)) actionMetadata_["Action Length"] = length;
}

void CorvanaActionMetaData::setKeyWithValue(const std::string& key, const std::string& value) {
  storeIfBothGiven(actionMetadata_, key, value);
}

}  // namespace corvana
