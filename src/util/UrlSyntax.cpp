#include "util/UrlSyntax.h"

#include <cstring>

namespace corvana {

namespace {

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }
bool isAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }
bool isUnreserved(char c) { return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~'; }
bool isSubDelimiter(char c) { return c != '\0' && std::strchr("!$&'()*+,;=", c) != nullptr; }

// Every character is unreserved, a sub-delimiter, a percent escape or one of `extra`.
bool consistsOf(std::string_view part, std::string_view extra) {
  for (size_t at = 0; at < part.size(); ++at) {
    const char c = part[at];
    if (c == '%') {
      if (at + 2 >= part.size() || !isHexDigit(part[at + 1]) || !isHexDigit(part[at + 2])) return false;
      at += 2;
    } else if (!isUnreserved(c) && !isSubDelimiter(c) && extra.find(c) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

bool isValidScheme(std::string_view scheme) {
  if (scheme.empty() || !isAlpha(scheme.front())) return false;
  for (char c : scheme) {
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

bool isValidIpLiteral(std::string_view inner) {
  if (inner.empty()) return false;
  if (inner.front() == 'v' || inner.front() == 'V') {  // a future address form: "v" hex "." text
    const size_t dot = inner.find('.');
    if (dot == std::string_view::npos || dot < 2 || dot + 1 == inner.size()) return false;
    for (size_t at = 1; at < dot; ++at) {
      if (!isHexDigit(inner[at])) return false;
    }
    const std::string_view rest = inner.substr(dot + 1);
    for (char c : rest) {
      if (!isUnreserved(c) && !isSubDelimiter(c) && c != ':') return false;
    }
    return true;
  }
  if (inner.find(':') == std::string_view::npos) return false;
  for (char c : inner) {
    if (!isHexDigit(c) && c != ':' && c != '.') return false;
  }
  return true;
}

bool isValidAuthority(std::string_view authority) {
  std::string_view hostAndPort = authority;
  if (const size_t at = authority.find('@'); at != std::string_view::npos) {
    if (!consistsOf(authority.substr(0, at), ":")) return false;
    hostAndPort = authority.substr(at + 1);
  }
  std::string_view host = hostAndPort;
  std::string_view port;
  if (startsWith(hostAndPort, "[")) {
    const size_t close = hostAndPort.find(']');
    if (close == std::string_view::npos || !isValidIpLiteral(hostAndPort.substr(1, close - 1))) return false;
    const std::string_view rest = hostAndPort.substr(close + 1);
    if (!rest.empty() && rest.front() != ':') return false;
    port = rest.empty() ? rest : rest.substr(1);
    host = {};
  } else if (const size_t colon = hostAndPort.rfind(':'); colon != std::string_view::npos) {
    host = hostAndPort.substr(0, colon);
    port = hostAndPort.substr(colon + 1);
  }
  for (char c : port) {
    if (!isDigit(c)) return false;
  }
  return consistsOf(host, "");
}

}  // namespace

bool isValidUrlSyntax(std::string_view text) {
  if (const size_t hash = text.find('#'); hash != std::string_view::npos) {
    if (!consistsOf(text.substr(hash + 1), ":@/?")) return false;
    text = text.substr(0, hash);
  }
  if (const size_t question = text.find('?'); question != std::string_view::npos) {
    if (!consistsOf(text.substr(question + 1), ":@/?")) return false;
    text = text.substr(0, question);
  }
  // A colon before the first slash ends the scheme; without a valid scheme before it the text is no URL (a
  // relative reference cannot hold a colon in its first segment).
  const size_t colon = text.find(':');
  if (colon != std::string_view::npos && colon < text.find('/')) {
    if (!isValidScheme(text.substr(0, colon))) return false;
    text = text.substr(colon + 1);
  }
  if (startsWith(text, "//")) {
    const size_t pathStart = text.find('/', 2);
    const std::string_view authority = text.substr(2, pathStart == std::string_view::npos ? pathStart : pathStart - 2);
    if (!isValidAuthority(authority)) return false;
    text = pathStart == std::string_view::npos ? std::string_view() : text.substr(pathStart);
  }
  return consistsOf(text, ":@/");
}

}  // namespace corvana
