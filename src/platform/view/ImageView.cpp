#include <algorithm>

#include <cairo.h>

#include "corvana/view.h"
#include "platform/view/CairoPixels.h"

namespace corvana {

ImageView::ImageView(Rect frame) : View(frame) { setUserInteractionEnabled(false); }

Size ImageView::intrinsicContentSize() const { return image_ ? image_->size() : Size{-1, -1}; }

void ImageView::drawRect(cairo_t* context, const Rect& rect) {
  if (!image_ || image_->width() <= 0 || image_->height() <= 0) return;
  const Size natural = image_->size();
  const double fit = std::min(rect.size.width / natural.width, rect.size.height / natural.height);
  const double fill = std::max(rect.size.width / natural.width, rect.size.height / natural.height);
  auto centred = [&rect](double width, double height) {
    return makeRect(rect.midX() - width / 2, rect.midY() - height / 2, width, height);
  };
  switch (contentMode_) {
    case ContentMode::ScaleAspectFit:
      paintImage(context, *image_, centred(natural.width * fit, natural.height * fit));
      break;
    case ContentMode::ScaleAspectFill:
      cairo_save(context);
      cairo_rectangle(context, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
      cairo_clip(context);
      paintImage(context, *image_, centred(natural.width * fill, natural.height * fill));
      cairo_restore(context);
      break;
    case ContentMode::Center:
      paintImage(context, *image_, centred(natural.width, natural.height));
      break;
    default:
      paintImage(context, *image_, rect);
      break;
  }
}

}  // namespace corvana
