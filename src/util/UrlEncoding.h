#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvana {

// The characters the platform leaves as they are when it percent-encodes a URL path or a URL fragment.
inline constexpr std::string_view kURLPathAllowedCharacters = "!$&'()*+,-./:=@_~";
inline constexpr std::string_view kURLFragmentAllowedCharacters = "!$&'()*+,-./:;=?@_~";

// Percent-encodes every UTF-8 byte that is neither an ASCII letter or digit nor one of `allowed` (as %XX).
std::string percentEncode(std::string_view text, std::string_view allowed);

// The parts of a URL the SDK reads. Empty when the text is not a URL.
struct UrlParts {
  std::string scheme;
  std::string host;
  std::optional<std::string> query;  // without the "?"; absent when the URL has none
};
std::optional<UrlParts> parseUrl(std::string_view text);

}  // namespace corvana
