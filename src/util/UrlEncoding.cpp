#include "util/UrlEncoding.h"

#include <cctype>

#include "util/UrlSyntax.h"

namespace corvana {

std::string percentEncode(std::string_view text, std::string_view allowed) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x80 && std::isalnum(byte)) || allowed.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += kHex[byte >> 4];
      encoded += kHex[byte & 0x0F];
    }
  }
  return encoded;
}

std::optional<UrlParts> parseUrl(std::string_view text) {
  if (!isValidUrlSyntax(text)) return std::nullopt;
  UrlParts parts;
  std::string_view rest = text;
  if (const auto hash = rest.find('#'); hash != std::string_view::npos) rest = rest.substr(0, hash);
  if (const auto question = rest.find('?'); question != std::string_view::npos) {
    parts.query = std::string(rest.substr(question + 1));
    rest = rest.substr(0, question);
  }
  // A scheme is letters, digits, "+", "-" or "." before the first ":", starting with a letter.
  if (const auto colon = rest.find(':'); colon != std::string_view::npos && colon > 0 && std::isalpha(static_cast<unsigned char>(rest[0]))) {
    const std::string_view scheme = rest.substr(0, colon);
    bool isScheme = true;
    for (const char c : scheme) {
      if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') isScheme = false;
    }
    if (isScheme) {
      parts.scheme = std::string(scheme);
      rest = rest.substr(colon + 1);
    }
  }
  if (rest.substr(0, 2) == "//") {
    std::string_view authority = rest.substr(2);
    authority = authority.substr(0, authority.find('/'));
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) authority = authority.substr(at + 1);
    if (!authority.empty() && authority[0] == '[') {
      authority = authority.substr(0, authority.find(']') + 1);
    } else if (const auto port = authority.find(':'); port != std::string_view::npos) {
      authority = authority.substr(0, port);
    }
    parts.host = std::string(authority);
  }
  return parts;
}

}  // namespace corvana
