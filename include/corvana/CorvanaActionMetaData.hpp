#pragma once

#include <string>

#include "corvana/export.h"
#include "corvana/value.h"

namespace corvana {

// Details of a custom action, reported with `Corvana::reportActionWithMetaData`. Empty strings and null numbers
// are ignored. Not synchronised: fill it on one thread, then hand it over.
class CORVANA_EXPORT CorvanaActionMetaData {
 public:
  CorvanaActionMetaData() : actionMetadata_(Value::object()) {}

  void setType(const std::string& type);
  void setDetails(const std::string& details);
  // Numbers; a null value is ignored, any other value is stored as given.
  void setMetric(const Value& metric);
  void setLength(const Value& length);
  void setKeyWithValue(const std::string& key, const std::string& value);

  const Value& actionMetadata() const { return actionMetadata_; }
  void setActionMetadata(const Value& metadata) { actionMetadata_ = metadata; }

 private:
  Value actionMetadata_;
};

}  // namespace corvana
