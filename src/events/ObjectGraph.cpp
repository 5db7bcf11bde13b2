#include "events/ObjectGraph.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <ctime>
#include <optional>
#include <unordered_map>

#include "util/Log.h"
#include "util/ValueConv.h"

namespace corvana {

struct Object::Node {
  Kind kind = Kind::Null;
  std::string text;       // string, URL, opaque description
  std::string className;  // opaque
  Value number;
  Date date;
  std::vector<Object> items;
  std::vector<Entry> entries;
};

namespace {

const std::string& emptyText() {
  static const std::string empty;
  return empty;
}

// Booleans compare as 1 and 0; a floating number compares with any number by value.
bool sameNumber(const Value& a, const Value& b) {
  const auto numeric = [](const Value& v) { return v.is_boolean() ? Value(v.get<bool>() ? 1 : 0) : v; };
  const Value x = numeric(a);
  const Value y = numeric(b);
  if (x.is_number_float() || y.is_number_float()) return x.get<double>() == y.get<double>();
  return x == y;
}

bool sameEntries(const std::vector<Object::Entry>& a, const std::vector<Object::Entry>& b) {
  if (a.size() != b.size()) return false;
  // Keys are unique within a map, so every entry of `a` must find its own in `b`.
  return std::all_of(a.begin(), a.end(), [&](const Object::Entry& entry) {
    return std::any_of(b.begin(), b.end(),
                       [&](const Object::Entry& other) { return other.first == entry.first && other.second == entry.second; });
  });
}

// Dates print in UTC to the second, as "2016-03-01 17:05:09 +0000".
std::string describeDate(const Date& date) {
  const double seconds = std::floor(date.secondsSince1970);
  if (std::isfinite(seconds) && std::fabs(seconds) < 1e15) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    char text[64];
    if (gmtime_r(&time, &parts) && std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &parts) > 0) {
      return text;
    }
  }
  return stringValue(Value(date.secondsSince1970));
}

// Inside an array or a map, a string that is not a plain word is quoted, so that "a, b" reads as one element.
std::string describeElement(const Object& object) {
  if (object.kind() != Object::Kind::String) return object.description();
  const std::string& text = object.text();
  const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.';
  });
  if (plain) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

// Bytes print as hex digits in groups of four, in angle brackets.
std::string describeBytes(const Value::binary_t& bytes) {
  std::string text = "<";
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && i % 4 == 0) text += ' ';
    text += strfmt("%02x", static_cast<unsigned>(bytes[i]));
  }
  return text + ">";
}

}  // namespace

Object::Object() = default;

Object::Object(std::shared_ptr<const Node> node) : node_(std::move(node)) {}

std::shared_ptr<Object::Node> Object::makeNode(Kind kind) {
  auto node = std::make_shared<Node>();
  node->kind = kind;
  return node;
}

Object Object::string(std::string text) {
  auto node = makeNode(Kind::String);
  node->text = std::move(text);
  return Object(std::move(node));
}

Object Object::numberOfValue(Value number) {
  auto node = makeNode(Kind::Number);
  node->number = std::move(number);
  return Object(std::move(node));
}

Object Object::array(std::vector<Object> items) {
  auto node = makeNode(Kind::Array);
  node->items = std::move(items);
  return Object(std::move(node));
}

Object Object::map(std::vector<Entry> entries) {
  auto node = makeNode(Kind::Map);
  node->entries.reserve(entries.size());
  // Where each key already stands: string keys by their text, other keys found by comparison.
  std::unordered_map<std::string, size_t> stringKeys;
  std::vector<size_t> otherKeys;
  for (Entry& entry : entries) {
    const bool stringKey = entry.first.kind() == Kind::String;
    std::optional<size_t> found;
    if (stringKey) {
      const auto at = stringKeys.find(entry.first.text());
      if (at != stringKeys.end()) found = at->second;
    } else {
      for (size_t index : otherKeys) {
        if (node->entries[index].first == entry.first) {
          found = index;
          break;
        }
      }
    }
    if (found) {
      node->entries[*found].second = std::move(entry.second);
      continue;
    }
    if (stringKey) {
      stringKeys.emplace(entry.first.text(), node->entries.size());
    } else {
      otherKeys.push_back(node->entries.size());
    }
    node->entries.push_back(std::move(entry));
  }
  return Object(std::move(node));
}

Object Object::date(Date date) {
  auto node = makeNode(Kind::Date);
  node->date = date;
  return Object(std::move(node));
}

Object Object::url(std::string absoluteString) {
  auto node = makeNode(Kind::Url);
  node->text = std::move(absoluteString);
  return Object(std::move(node));
}

Object Object::opaque(std::string className, std::string description) {
  auto node = makeNode(Kind::Opaque);
  node->className = std::move(className);
  node->text = std::move(description);
  return Object(std::move(node));
}

Object Object::fromValue(const Value& value) {
  switch (value.type()) {
    case Value::value_t::string: return string(value.get<std::string>());
    case Value::value_t::boolean:
    case Value::value_t::number_integer:
    case Value::value_t::number_unsigned:
    case Value::value_t::number_float: return numberOfValue(value);
    case Value::value_t::array: {
      std::vector<Object> items;
      items.reserve(value.size());
      for (const Value& item : value) items.push_back(fromValue(item));
      return array(std::move(items));
    }
    case Value::value_t::object: {
      std::vector<Entry> entries;
      entries.reserve(value.size());
      for (const auto& [key, item] : value.items()) entries.emplace_back(string(key), fromValue(item));
      return map(std::move(entries));
    }
    case Value::value_t::binary: return opaque("NSData", describeBytes(value.get_binary()));
    case Value::value_t::null:
    case Value::value_t::discarded: break;
  }
  return Object();
}

Object::Kind Object::kind() const { return node_ ? node_->kind : Kind::Null; }

const std::string& Object::text() const { return node_ ? node_->text : emptyText(); }

const Value& Object::numberValue() const {
  static const Value none;
  return kind() == Kind::Number ? node_->number : none;
}

const std::vector<Object>& Object::items() const {
  static const std::vector<Object> none;
  return kind() == Kind::Array ? node_->items : none;
}

const std::vector<Object::Entry>& Object::entries() const {
  static const std::vector<Entry> none;
  return kind() == Kind::Map ? node_->entries : none;
}

Date Object::dateValue() const { return kind() == Kind::Date ? node_->date : Date{}; }

std::string Object::className() const {
  switch (kind()) {
    case Kind::Null: return "NSNull";
    case Kind::String: return "NSString";
    case Kind::Number: return "NSNumber";
    case Kind::Array: return "NSArray";
    case Kind::Map: return "NSDictionary";
    case Kind::Date: return "NSDate";
    case Kind::Url: return "NSURL";
    case Kind::Opaque: return node_->className;
  }
  return "";
}

std::string Object::description() const {
  switch (kind()) {
    case Kind::Null: return "<null>";
    case Kind::String:
    case Kind::Url:
    case Kind::Opaque: return node_->text;
    case Kind::Number: return stringValue(node_->number);
    case Kind::Date: return describeDate(node_->date);
    case Kind::Array: {
      std::string text = "(";
      for (size_t i = 0; i < node_->items.size(); ++i) {
        if (i > 0) text += ", ";
        text += describeElement(node_->items[i]);
      }
      return text + ")";
    }
    case Kind::Map: {
      std::string text = "{";
      for (size_t i = 0; i < node_->entries.size(); ++i) {
        if (i > 0) text += " ";
        text += describeElement(node_->entries[i].first) + " = " + describeElement(node_->entries[i].second) + ";";
      }
      return text + "}";
    }
  }
  return "";
}

bool operator==(const Object& a, const Object& b) {
  if (a.node_ == b.node_) return true;
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Object::Kind::Null: return true;
    case Object::Kind::String:
    case Object::Kind::Url: return a.text() == b.text();
    case Object::Kind::Number: return sameNumber(a.numberValue(), b.numberValue());
    case Object::Kind::Array: return a.items() == b.items();
    case Object::Kind::Map: return sameEntries(a.entries(), b.entries());
    case Object::Kind::Date: return a.dateValue() == b.dateValue();
    case Object::Kind::Opaque: return a.className() == b.className() && a.text() == b.text();
  }
  return false;
}

}  // namespace corvana
