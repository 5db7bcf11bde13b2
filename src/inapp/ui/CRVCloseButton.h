#pragma once

// The close control of every shown campaign: a button that draws its own round "x" in one of five styles.
//   1 a disc filled with the colour, a white ring and a white cross;
//   2 a disc filled with the colour and a white cross;
//   3 a disc with a vertical gradient around the colour and a white cross;
//   4 the gradient disc with a white ring and a white cross;
//   5 a larger, thicker cross in the colour alone.
// The glyph fills the bounds less 8 points on every side; the view is meant to be square (the circle's width is
// used for both axes of its centre).

#include <cstdint>
#include <memory>

#include "corvana/view.h"

namespace corvana {

// Where and how the glyph is drawn in a view's bounds: the numbers the drawing uses, for checking them.
struct CloseGlyphGeometry {
  Rect circle;             // R: the bounds inset by 8
  double side = 0;         // S: R's width
  Point centre;            // M: (R.x + S/2, R.y + S/2)
  double ringWidth = 0;    // B: S * 0.125 for styles 1 and 4, else 0 (stroked with a line twice as wide)
  double crossLength = 0;  // L: S * 0.7 for style 5, else S * 0.5
  double crossWidth = 0;   // W: L * 0.175 for style 5, else L * 0.125
  Color crossColor;        // the colour for style 5, else white
  bool filled = false;     // styles 1 and 2: the disc is filled with the colour
  bool gradient = false;   // styles 3 and 4: the disc is filled with the gradient
  Color gradientTop;       // the colour's hue and saturation at its brightness (clamped to 0.15 .. 0.85) + 0.15
  Color gradientBottom;    // ... and - 0.15; both opaque
  Point gradientStart;     // (M.x, R.y + B)
  Point gradientEnd;       // (M.x, R.y + S - B)
};

CloseGlyphGeometry closeGlyphGeometry(const Rect& bounds, int32_t style, const Color& color);

class CRVCloseButton : public Button {
 public:
  // Style 1, black.
  CRVCloseButton();
  CRVCloseButton(const Rect& frame, int32_t style, const Color& color);

  static std::shared_ptr<CRVCloseButton> init();
  // A zero frame; the layout sizes the button.
  static std::shared_ptr<CRVCloseButton> initWithStyleAndColor(int32_t style, const Color& color);
  static std::shared_ptr<CRVCloseButton> initWithFrameStyleAndColor(const Rect& frame, int32_t style,
                                                                    const Color& color);

  std::string className() const override { return "CRVCloseButton"; }

  int32_t style() const { return style_; }
  void setStyle(int32_t style) { style_ = style; }
  Color color() const { return color_; }
  void setColor(const Color& color) { color_ = color; }

  // Clips to the circle, fills it (colour or gradient), strokes the ring and then the cross rotated by a
  // quarter of pi about the centre.
  void drawRect(cairo_t* context, const Rect& rect) override;

 private:
  int32_t style_ = 1;
  Color color_ = Color::black();
};

}  // namespace corvana
