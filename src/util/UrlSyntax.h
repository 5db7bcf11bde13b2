#pragma once

#include <string_view>

namespace corvana {

// Whether the text is a URL reference in the generic URL syntax: an optional scheme, an optional authority
// (user information, a registered name or a bracketed IP literal, a numeric port), a path, a query and a
// fragment, each made only of the characters allowed there, with well-formed percent escapes. Blanks,
// characters outside ASCII and characters such as '<', '|' or a lone '%' make it no URL.
bool isValidUrlSyntax(std::string_view text);

}  // namespace corvana
