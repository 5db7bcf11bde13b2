#pragma once

// Short readable forms of view-layer values, so that a test compares whole sets of them at once.

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "corvana/view.h"

namespace corvana::test {

inline const char* attributeName(LayoutAttribute attribute) {
  static const char* const names[] = {"-",        "Left",  "Right",  "Top",     "Bottom", "Leading",
                                      "Trailing", "Width", "Height", "CenterX", "CenterY"};
  return names[static_cast<int>(attribute)];
}

// "first.Width = second.Height * 2 + 0 @999" with the items named by `name`, or "first.Width = 48 @1000".
template <typename Name>
std::string describe(const LayoutConstraint& c, Name name) {
  std::ostringstream out;
  out << name(c.firstItem()) << "." << attributeName(c.firstAttribute())
      << (c.relation() == LayoutRelation::Equal ? " = " : c.relation() == LayoutRelation::LessThanOrEqual ? " <= " : " >= ");
  if (c.secondItem()) {
    out << name(c.secondItem()) << "." << attributeName(c.secondAttribute()) << " * " << c.multiplier() << " + ";
  }
  out << c.constant() << " @" << c.priority();
  return out.str();
}

template <typename Name>
std::vector<std::string> describe(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints, Name name) {
  std::vector<std::string> out;
  for (const auto& c : constraints) out.push_back(describe(*c, name));
  return out;
}

// A colour as 0..255 channels, rounded: "255,0,0,255".
inline std::string rgba255(const Color& c) {
  std::ostringstream out;
  out << std::lround(c.red * 255) << "," << std::lround(c.green * 255) << "," << std::lround(c.blue * 255) << ","
      << std::lround(c.alpha * 255);
  return out.str();
}

}  // namespace corvana::test
