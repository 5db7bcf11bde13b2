#include "util/Base64.h"

namespace corvana {

namespace {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string base64Encode(const Data& data) {
  std::string out;
  out.reserve((data.size() + 2) / 3 * 4);
  for (size_t i = 0; i < data.size(); i += 3) {
    const size_t left = data.size() - i;
    uint32_t n = uint32_t{data[i]} << 16;
    if (left > 1) n |= uint32_t{data[i + 1]} << 8;
    if (left > 2) n |= data[i + 2];
    out += kBase64Alphabet[(n >> 18) & 63];
    out += kBase64Alphabet[(n >> 12) & 63];
    out += left > 1 ? kBase64Alphabet[(n >> 6) & 63] : '=';
    out += left > 2 ? kBase64Alphabet[n & 63] : '=';
  }
  return out;
}

namespace {

int base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

std::optional<Data> base64Decode(const std::string& text) {
  if (text.size() % 4 != 0) return std::nullopt;
  Data out;
  out.reserve(text.size() / 4 * 3);
  for (size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    uint32_t n = 0;
    int pad = 0;
    for (size_t j = 0; j < 4; ++j) {
      const char c = text[i + j];
      const int digit = base64Digit(c);
      if (c == '=' && last && j >= 2) {
        ++pad;
      } else if (digit < 0 || pad > 0) {
        return std::nullopt;
      }
      n = (n << 6) | static_cast<uint32_t>(digit < 0 ? 0 : digit);
    }
    out.push_back(static_cast<uint8_t>(n >> 16));
    if (pad < 2) out.push_back(static_cast<uint8_t>(n >> 8));
    if (pad < 1) out.push_back(static_cast<uint8_t>(n));
  }
  return out;
}

}  // namespace corvana
