// A colour string as campaigns carry them ("#FF0000", "ff000080", "#FFF"...) read by the campaign colour parser,
// and one component read from it at a place and length taken from the input's first two bytes.
//
// What must hold for every text: every component is a finite number in 0..1 (at most two hexadecimal digits make
// one), case does not matter, and a "#" anywhere changes nothing.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "FuzzPlatform.h"
#include "inapp/ui/CRVColor.h"

using namespace corvana;

namespace {

bool sameColour(const CRVColor& a, const CRVColor& b) {
  return a.red == b.red && a.green == b.green && a.blue == b.blue && a.alpha == b.alpha;
}

bool inUnitRange(double component) { return std::isfinite(component) && component >= 0.0 && component <= 1.0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(fuzz::textOf(data, size));
  const CRVColor colour = colorWithHexString(text);
  if (!inUnitRange(colour.red) || !inUnitRange(colour.green) || !inUnitRange(colour.blue) ||
      !inUnitRange(colour.alpha)) {
    std::abort();
  }

  std::string upper = text;
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  if (!sameColour(colorWithHexString(upper), colour)) std::abort();
  if (!sameColour(colorWithHexString("#" + text), colour)) std::abort();

  if (size >= 2) {
    const double component = colorComponentFromStartLength(text.substr(2), data[0], data[1]);
    if (!std::isfinite(component) || component < 0.0) std::abort();
  }
  return 0;
}
