#pragma once

#include <cstdint>
#include <vector>

#include <nlohmann/json.hpp>

namespace corvana {

// The dynamic value of the SDK: maps, arrays, strings, numbers, booleans and null (the "no value" placeholder).
// Maps keep their insertion order, so serialised records keep the order in which their keys were set.
using Value = nlohmann::ordered_json;

// Raw bytes (push tokens, archived objects, SQLite blobs).
using Data = std::vector<uint8_t>;

// A point in time, as seconds since 1970-01-01 00:00:00 UTC (fractions allowed).
struct Date {
  double secondsSince1970 = 0.0;

  // Seconds from `other` to this date (positive when this date is later).
  double timeIntervalSinceDate(const Date& other) const { return secondsSince1970 - other.secondsSince1970; }
  Date addingTimeInterval(double seconds) const { return Date{secondsSince1970 + seconds}; }
  friend bool operator==(const Date&, const Date&) = default;
};

// The reference date of the platform's date type (2001-01-01 00:00:00 UTC), used where a missing date counts
// "from the reference date".
inline constexpr double kReferenceDateSecondsSince1970 = 978307200.0;

}  // namespace corvana
