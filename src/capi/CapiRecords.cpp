// The C handles of the records a host fills in: action details and the lead.

#include <new>

#include "capi/CapiSupport.h"
#include "corvana/CorvanaActionMetaData.hpp"
#include "corvana/CorvanaLead.hpp"

struct corvana_action_metadata {
  corvana::CorvanaActionMetaData record;
};

struct corvana_lead {
  corvana::CorvanaLead record;
};

namespace corvana::capi {

// Copies of the records, for the calls that hand them to the SDK (CapiFacade.cpp).
std::shared_ptr<CorvanaActionMetaData> copyOf(const corvana_action_metadata* metadata) {
  return metadata ? std::make_shared<CorvanaActionMetaData>(metadata->record) : nullptr;
}
std::shared_ptr<CorvanaLead> copyOf(const corvana_lead* lead) { return std::make_shared<CorvanaLead>(lead->record); }

namespace {

// A setter taking one text: both the handle and the text are required.
template <typename Handle, typename Set>
int setText(const char* function, Handle* handle, const char* text, Set set) {
  return guarded(function, CORVANA_ERROR_INTERNAL, [&] {
    if (!handle || !text) return CORVANA_ERROR_NULL_ARGUMENT;
    set(handle->record, std::string(text));
    return CORVANA_OK;
  });
}

template <typename Handle>
int setNumber(const char* function, Handle* handle, const Value& number,
              void (CorvanaActionMetaData::*set)(const Value&)) {
  return guarded(function, CORVANA_ERROR_INTERNAL, [&] {
    if (!handle) return CORVANA_ERROR_NULL_ARGUMENT;
    (handle->record.*set)(number);
    return CORVANA_OK;
  });
}

}  // namespace
}  // namespace corvana::capi

using corvana::CorvanaActionMetaData;
using corvana::CorvanaLead;
using corvana::Value;
using namespace corvana::capi;

extern "C" {

// ---- Action details ----------------------------------------------------------------------------------------------

corvana_action_metadata* corvana_action_metadata_create(void) {
  return guarded(__func__, static_cast<corvana_action_metadata*>(nullptr),
                 [] { return new (std::nothrow) corvana_action_metadata(); });
}

void corvana_action_metadata_free(corvana_action_metadata* metadata) { delete metadata; }

int corvana_action_metadata_set_type(corvana_action_metadata* metadata, const char* type) {
  return setText(__func__, metadata, type, [](CorvanaActionMetaData& r, const std::string& v) { r.setType(v); });
}

int corvana_action_metadata_set_details(corvana_action_metadata* metadata, const char* details) {
  return setText(__func__, metadata, details, [](CorvanaActionMetaData& r, const std::string& v) { r.setDetails(v); });
}

int corvana_action_metadata_set_metric_int(corvana_action_metadata* metadata, int64_t metric) {
  return setNumber(__func__, metadata, Value(metric), &CorvanaActionMetaData::setMetric);
}

int corvana_action_metadata_set_metric_double(corvana_action_metadata* metadata, double metric) {
  return setNumber(__func__, metadata, Value(metric), &CorvanaActionMetaData::setMetric);
}

int corvana_action_metadata_set_length_int(corvana_action_metadata* metadata, int64_t length) {
  return setNumber(__func__, metadata, Value(length), &CorvanaActionMetaData::setLength);
}

int corvana_action_metadata_set_length_double(corvana_action_metadata* metadata, double length) {
  return setNumber(__func__, metadata, Value(length), &CorvanaActionMetaData::setLength);
}

int corvana_action_metadata_set_value(corvana_action_metadata* metadata, const char* key, const char* value) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!metadata || !key || !value) return CORVANA_ERROR_NULL_ARGUMENT;
    metadata->record.setKeyWithValue(key, value);
    return CORVANA_OK;
  });
}

int corvana_action_metadata_set_json(corvana_action_metadata* metadata, const char* json) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!metadata || !json) return CORVANA_ERROR_NULL_ARGUMENT;
    const auto parsed = parseOptionalJson(json);
    if (!parsed || !parsed->is_object()) return CORVANA_ERROR_INVALID_JSON;
    metadata->record.setActionMetadata(*parsed);
    return CORVANA_OK;
  });
}

char* corvana_action_metadata_to_json(const corvana_action_metadata* metadata) {
  return guarded(__func__, static_cast<char*>(nullptr), [&]() -> char* {
    return metadata ? copyOut(metadata->record.actionMetadata().dump()) : nullptr;
  });
}

// ---- Lead --------------------------------------------------------------------------------------------------------

corvana_lead* corvana_lead_create(void) {
  return guarded(__func__, static_cast<corvana_lead*>(nullptr), [] { return new (std::nothrow) corvana_lead(); });
}

void corvana_lead_free(corvana_lead* lead) { delete lead; }

#define CORVANA_LEAD_SETTER(name, setter)                                                                        \
  int corvana_lead_set_##name(corvana_lead* lead, const char* value) {                                          \
    return setText(__func__, lead, value, [](CorvanaLead& r, const std::string& v) { r.setter(v); });             \
  }

CORVANA_LEAD_SETTER(email, setEmail)
CORVANA_LEAD_SETTER(gender, setGender)
CORVANA_LEAD_SETTER(first_name, setFirstName)
CORVANA_LEAD_SETTER(last_name, setLastName)
CORVANA_LEAD_SETTER(address, setAddress)
CORVANA_LEAD_SETTER(city, setCity)
CORVANA_LEAD_SETTER(state, setState)
CORVANA_LEAD_SETTER(country, setCountry)
CORVANA_LEAD_SETTER(postal_code, setPostalCode)
CORVANA_LEAD_SETTER(lead_source, setLeadSource)
CORVANA_LEAD_SETTER(facebook_id, setFacebookId)
CORVANA_LEAD_SETTER(twitter_id, setTwitterId)
CORVANA_LEAD_SETTER(linkedin_id, setLinkedInId)
CORVANA_LEAD_SETTER(birthday, setBirthDay)
CORVANA_LEAD_SETTER(facebook_profile_url, setFacebookProfileURL)
CORVANA_LEAD_SETTER(facebook_profile_pic_url, setFacebookProfilePicURL)

#undef CORVANA_LEAD_SETTER

int corvana_lead_set_field(corvana_lead* lead, const char* field_name, const char* value) {
  return guarded(__func__, CORVANA_ERROR_INTERNAL, [&] {
    if (!lead || !field_name || !value) return CORVANA_ERROR_NULL_ARGUMENT;
    lead->record.setFieldNameWithValue(field_name, value);
    return CORVANA_OK;
  });
}

char* corvana_lead_to_json(const corvana_lead* lead) {
  return guarded(__func__, static_cast<char*>(nullptr),
                 [&]() -> char* { return lead ? copyOut(lead->record.userData().dump()) : nullptr; });
}

}  // extern "C"
