#pragma once

// Any object a host may hand to the SDK, including what JSON cannot hold: map keys of any kind, dates, URLs, and
// objects of the host's own classes known only by class name and description. The data manager turns such a
// graph into a JSON value (CRVDataManager::JSONSerializableObjectForObject).
//
// An Object is immutable; copies share their contents, so passing one around is cheap.

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "corvana/value.h"

namespace corvana {

class Object {
 public:
  enum class Kind { Null, String, Number, Array, Map, Date, Url, Opaque };
  using Entry = std::pair<Object, Object>;

  // The null placeholder.
  Object();

  static Object null() { return Object(); }
  static Object string(std::string text);
  // Any integer, floating (NaN and the infinities included) or boolean number.
  template <typename T>
    requires std::is_arithmetic_v<T>
  static Object number(T value) {
    return numberOfValue(Value(value));
  }
  static Object array(std::vector<Object> items);
  // Entries keep the order given. A key equal to an earlier one (see `operator==`) replaces that entry's value
  // in its place, as storing into a map does; keys that are equal only as text, such as 7 and "7", stay apart.
  static Object map(std::vector<Entry> entries);
  static Object date(Date date);
  // A URL, given by its absolute string ("https://example.com/a?b=1").
  static Object url(std::string absoluteString);
  // An object of any other class.
  static Object opaque(std::string className, std::string description);
  // The graph of a JSON value: booleans are numbers, as they are to the JSON writer.
  static Object fromValue(const Value& value);

  Kind kind() const;
  // The text of a string, the absolute string of a URL, the description of an opaque object; "" otherwise.
  const std::string& text() const;
  // A number or boolean value for a number; null otherwise.
  const Value& numberValue() const;
  // The elements of an array; empty otherwise.
  const std::vector<Object>& items() const;
  // The entries of a map, in order; empty otherwise.
  const std::vector<Entry>& entries() const;
  // The date of a date; the 1970 epoch otherwise.
  Date dateValue() const;

  // "NSString", "NSNumber", "NSNull", "NSArray", "NSDictionary", "NSDate", "NSURL", or an opaque object's own.
  std::string className() const;
  // How the object prints in a log line: a string as itself, a number in its shortest form ("7", "2.5", "nan";
  // booleans "1" and "0"), null as "<null>", a date as "2016-03-01 17:05:09 +0000", a URL as its absolute
  // string, an opaque object as its description, an array as "(1, \"a b\")" and a map as "{k = v; n = 1;}".
  std::string description() const;

  // Same kind and same contents: numbers by numeric value (true equals 1, 7 equals 7.0), maps regardless of
  // entry order, opaque objects by class name and description.
  friend bool operator==(const Object& a, const Object& b);

 private:
  struct Node;
  explicit Object(std::shared_ptr<const Node> node);
  static std::shared_ptr<Node> makeNode(Kind kind);
  static Object numberOfValue(Value number);

  std::shared_ptr<const Node> node_;  // empty for null
};

}  // namespace corvana
