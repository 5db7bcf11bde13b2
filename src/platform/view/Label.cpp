#include "platform/view/TextLayout.h"

namespace corvana {

Label::Label(Rect frame) : View(frame) { setUserInteractionEnabled(false); }

void Label::setText(const std::string& text) {
  text_ = text;
  underlineStyle_ = 0;
}

void Label::setAttributedText(const std::string& text, int underlineStyle) {
  text_ = text;
  underlineStyle_ = underlineStyle;
}

Size Label::intrinsicContentSize() const { return TextLayout::sizeOfLabel(*this, -1); }

void Label::drawRect(cairo_t* context, const Rect& rect) { TextLayout::drawLabel(context, *this, rect); }

}  // namespace corvana
