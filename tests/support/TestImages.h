#pragma once

// Images built at run time for the tests that download, cache or draw them.

#include <cstdint>
#include <string>

#include "corvana/value.h"

namespace corvana::test {

inline void put32(Data& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

// A side x side RGB gradient as a PNG whose pixel data is one uncompressed deflate block.
inline Data png(uint32_t side) {
  Data raw, out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}, header;
  for (uint32_t y = 0; y < side; ++y) {
    raw.push_back(0);  // no filter
    for (uint32_t x = 0; x < side * 3; ++x) raw.push_back(static_cast<uint8_t>(x * 7 + y));
  }
  uint32_t a = 1, b = 0;
  for (uint8_t byte : raw) a = (a + byte) % 65521, b = (b + a) % 65521;
  const auto n = static_cast<uint16_t>(raw.size());
  Data zlib = {0x78, 0x01, 0x01, uint8_t(n), uint8_t(n >> 8), uint8_t(~n), uint8_t(~n >> 8)};  // one final stored block
  zlib.insert(zlib.end(), raw.begin(), raw.end());
  put32(zlib, b << 16 | a);
  auto chunk = [&out](const std::string& type, const Data& body) {
    put32(out, static_cast<uint32_t>(body.size()));
    const size_t start = out.size();
    out.insert(out.end(), type.begin(), type.end());
    out.insert(out.end(), body.begin(), body.end());
    uint32_t crc = 0xffffffff;
    for (size_t at = start; at < out.size(); ++at) {
      crc ^= out[at];
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xedb88320 & (0 - (crc & 1)));
    }
    put32(out, ~crc);
  };
  put32(header, side), put32(header, side), header.insert(header.end(), {8, 2, 0, 0, 0});  // 8-bit RGB
  chunk("IHDR", header), chunk("IDAT", zlib), chunk("IEND", {});
  return out;
}

}  // namespace corvana::test
