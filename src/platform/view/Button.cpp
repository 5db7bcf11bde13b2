#include <algorithm>

#include "corvana/view.h"
#include "platform/view/CairoPixels.h"

namespace corvana {

Button::Button(Rect frame) : View(frame), titleLabel_(std::make_shared<Label>(bounds())) {
  titleLabel_->setTextColor(Color::white());
  titleLabel_->setTextAlignment(TextAlignment::Center);
  titleLabel_->setFont(Font::systemFontOfSize(15));
  addSubview(titleLabel_);
}

void Button::addTarget(std::function<void(Button&)> action, uint32_t events) {
  if (action) targets_.emplace_back(events, std::move(action));
}

void Button::sendActionsForControlEvents(uint32_t events) {
  // A copy: an action may add targets (or release the button's last other owner).
  const auto targets = targets_;
  for (const auto& [mask, action] : targets) {
    if ((mask & events) != 0) action(*this);
  }
}

Size Button::intrinsicContentSize() const {
  const bool hasTitle = !titleLabel_->text().empty();
  if (!hasTitle && !backgroundImage_) return {-1, -1};
  Size size;
  if (hasTitle) size = titleLabel_->intrinsicContentSize();
  if (backgroundImage_) {
    size.width = std::max(size.width, backgroundImage_->size().width);
    size.height = std::max(size.height, backgroundImage_->size().height);
  }
  return size;
}

void Button::layoutSubviews() { titleLabel_->setFrame(bounds()); }

void Button::drawRect(cairo_t* context, const Rect& rect) {
  if (backgroundImage_) paintImage(context, *backgroundImage_, rect);
}

}  // namespace corvana
