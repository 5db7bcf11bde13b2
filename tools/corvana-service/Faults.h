#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <regex>
#include <string>

#include "corvana-service/ServiceConfig.h"

namespace corvana::service {

// A misbehaviour the service puts on its answers, set through POST /__admin/faults:
//   {"status": 503, "delay_ms": 200, "broken_body": false, "close": false, "cut_body": false, "pad_bytes": 0,
//    "body": "Internal Server Error", "paths": "^/report/", "times": 1}
struct Fault {
  int status = 0;           // answer with this HTTP status (and the normal body); 0 keeps the normal status
  int delayMs = 0;          // sleep this long before answering
  bool brokenBody = false;  // answer 200 with a truncated JSON body
  bool close = false;       // drop the connection without answering
  bool cutBody = false;     // serve the request (a report is stored), then drop the connection halfway through
                            // the answer's body, after its headers announced the whole length
  int64_t padBytes = 0;     // serve the request, then grow a JSON object answer by a "padding" member of this
                            // many bytes (a huge but well-formed body)
  std::optional<std::string> body;  // answer this text instead of serving the request (status 200 unless given)
  std::string paths;        // regular expression searched in the request path (percent-decoded, without the
                            // query); empty matches every path. Admin paths are never affected.
  int times = 0;            // how many requests it applies to; 0 means until it is cleared

  // Throws std::invalid_argument when a member has the wrong type, or `paths` is not a regular expression.
  static Fault fromJson(const Json& json);
  Json toJson() const;
};

// The fault in force, shared by the request threads.
class Faults {
 public:
  void set(const Fault& fault);
  void clear();
  // The fault that applies to a request of `path`, counted against its "times"; nothing when none applies.
  std::optional<Fault> take(const std::string& path);

 private:
  std::mutex mutex_;
  std::optional<Fault> fault_;
  std::regex paths_;
  int remaining_ = 0;
};

inline constexpr const char* kBrokenBody = R"({"success": tru)";

}  // namespace corvana::service
