#include "platform/view/TextLayout.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>

namespace corvana::TextLayout {

namespace {

// Unhinted metrics, so that a measure does not depend on the scale the text is drawn at.
void useUnhintedMetrics(PangoContext* context) {
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  pango_cairo_context_set_font_options(context, options);
  cairo_font_options_destroy(options);
}

PangoAlignment pangoAlignment(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::Center: return PANGO_ALIGN_CENTER;
    case TextAlignment::Right: return PANGO_ALIGN_RIGHT;
    default: return PANGO_ALIGN_LEFT;
  }
}

// Pango takes sizes up to about two million points and FreeType far fewer: a larger size (a campaign may ask for
// 2147483647) fails in the font back end, and a negative one is refused. Sizes are drawn within these bounds.
constexpr double kLargestFontSize = 4096.0;

double drawableFontSize(double pointSize) {
  if (!(pointSize > 0.0)) return 0.0;  // negative, zero or NaN
  return std::min(pointSize, kLargestFontSize);
}

// Fills the layout with the label's text, font, underline, alignment and line rules.
void configure(PangoLayout* layout, const Label& label, double width) {
  const Font font = label.font();
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family(description, "Sans");
  pango_font_description_set_weight(description, font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  pango_font_description_set_style(description, font.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  // One point is one pixel at scale 1.
  pango_font_description_set_absolute_size(description, drawableFontSize(font.pointSize) * PANGO_SCALE);
  pango_layout_set_font_description(layout, description);
  pango_font_description_free(description);

  pango_layout_set_text(layout, label.text().data(), static_cast<int>(label.text().size()));
  if (label.underlineStyle() != 0) {
    PangoAttrList* attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
    pango_layout_set_attributes(layout, attributes);
    pango_attr_list_unref(attributes);
  }
  pango_layout_set_alignment(layout, pangoAlignment(label.textAlignment()));
  pango_layout_set_justify(layout, label.textAlignment() == TextAlignment::Justified);
  if (width < 0) return;
  pango_layout_set_width(layout, static_cast<int>(std::lround(width * PANGO_SCALE)));
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  const int lines = label.numberOfLines();
  if (lines > 0) {
    // Cut with an ellipsis after that many lines.
    pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    pango_layout_set_height(layout, -lines);
  }
}

Size logicalSize(PangoLayout* layout) {
  PangoRectangle logical{};
  pango_layout_get_extents(layout, nullptr, &logical);
  return {std::ceil(static_cast<double>(logical.width) / PANGO_SCALE),
          std::ceil(static_cast<double>(logical.height) / PANGO_SCALE)};
}

}  // namespace

Size sizeOfLabel(const Label& label, double width) {
  if (label.text().empty()) return {0, 0};
  PangoContext* context = pango_font_map_create_context(pango_cairo_font_map_get_default());
  useUnhintedMetrics(context);
  PangoLayout* layout = pango_layout_new(context);
  configure(layout, label, width);
  const Size size = logicalSize(layout);
  g_object_unref(layout);
  g_object_unref(context);
  return size;
}

void drawLabel(cairo_t* context, const Label& label, const Rect& bounds) {
  if (label.text().empty() || bounds.size.width <= 0 || bounds.size.height <= 0) return;
  PangoLayout* layout = pango_cairo_create_layout(context);
  useUnhintedMetrics(pango_layout_get_context(layout));
  pango_layout_context_changed(layout);
  configure(layout, label, bounds.size.width);
  PangoRectangle logical{};
  pango_layout_get_extents(layout, nullptr, &logical);
  const double height = static_cast<double>(logical.height) / PANGO_SCALE;
  const Color color = label.textColor();
  cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
  cairo_move_to(context, bounds.origin.x, bounds.origin.y + (bounds.size.height - height) / 2);
  pango_cairo_show_layout(context, layout);
  g_object_unref(layout);
}

}  // namespace corvana::TextLayout
