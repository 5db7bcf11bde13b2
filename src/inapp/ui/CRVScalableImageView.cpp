#include "inapp/ui/CRVScalableImageView.h"

namespace corvana {

namespace {

constexpr float kScaledPriority = 999.0f;
constexpr float kUnscaledPriority = 250.0f;

}  // namespace

std::shared_ptr<CRVScalableImageView> CRVScalableImageView::initWithFrame(const Rect& frame) {
  std::shared_ptr<CRVScalableImageView> view(new CRVScalableImageView(frame));
  view->baseInit();
  return view;
}

std::shared_ptr<CRVScalableImageView> CRVScalableImageView::initWithImage(std::shared_ptr<Image> image) {
  const Size size = image ? image->size() : Size{};
  std::shared_ptr<CRVScalableImageView> view(new CRVScalableImageView(Rect{{0, 0}, size}));
  view->ImageView::setImage(std::move(image));
  view->baseInit();
  return view;
}

std::shared_ptr<CRVScalableImageView> CRVScalableImageView::initWithImageHighlightedImage(
    std::shared_ptr<Image> image, std::shared_ptr<Image> /*highlighted*/) {
  return initWithImage(std::move(image));
}

void CRVScalableImageView::baseInit() {
  scaledImageView_ = std::make_shared<ImageView>(bounds());
  scaledImageView_->setTranslatesAutoresizingMaskIntoConstraints(false);
  scaledImageView_->setContentCompressionResistancePriority(kLayoutPriorityDefaultLow, LayoutAxis::Horizontal);
  scaledImageView_->setContentCompressionResistancePriority(kLayoutPriorityDefaultLow, LayoutAxis::Vertical);
  scaledImageView_->setContentMode(ContentMode::ScaleAspectFill);
  // The inner view is given this view's image and at once loses it again; this view keeps its own.
  scaledImageView_->setImage(image());
  setImage(nullptr);
  addSubview(scaledImageView_);
}

void CRVScalableImageView::setImage(std::shared_ptr<Image> image) {
  scaledImageView_->setImage(std::move(image));
  needsAspectRatioConstraintUpdate_ = true;
  setNeedsUpdateConstraints();
}

void CRVScalableImageView::setScaleWidth(bool scaleWidth) {
  scaleWidth_ = scaleWidth;
  (void)needsUpdateConstraints();
}

void CRVScalableImageView::setScaleHeight(bool scaleHeight) {
  scaleHeight_ = scaleHeight;
  (void)needsUpdateConstraints();
}

void CRVScalableImageView::updateWidthHeight(bool width, bool height) {
  scaleWidth_ = width;
  scaleHeight_ = height;
  (void)needsUpdateConstraints();
}

void CRVScalableImageView::setInsetBorderOfWidthColorAndCornerRadius(double width, const Color& color,
                                                                    double cornerRadius) {
  if (!borderView_) {
    borderView_ = std::make_shared<View>(scaledImageView_->frame());
    addSubview(borderView_);
  }
  borderWidth_ = width;
  borderView_->layer().borderColor = color;
  borderView_->layer().borderWidth = width;
  borderView_->layer().cornerRadius = cornerRadius;
  (void)needsUpdateConstraints();
}

void CRVScalableImageView::layoutSubviews() {
  ImageView::layoutSubviews();
  if (!borderView_) return;
  borderView_->setFrame(scaledImageView_->frame().insetBy(-borderWidth_, -borderWidth_));
  borderView_->setHidden(scaledImageView_->image() == nullptr);
}

void CRVScalableImageView::updateConstraints() {
  const auto self = std::static_pointer_cast<View>(shared_from_this());
  const auto& inner = scaledImageView_;
  if (!didSetupConstraints_) {
    widthConstraint_ = LayoutConstraint::constraintWithItem(inner, LayoutAttribute::Width, LayoutRelation::Equal,
                                                            self, LayoutAttribute::Width, 1.0, 0.0);
    widthConstraint_->setPriority(kScaledPriority);
    heightConstraint_ = LayoutConstraint::constraintWithItem(inner, LayoutAttribute::Height, LayoutRelation::Equal,
                                                             self, LayoutAttribute::Height, 1.0, 0.0);
    heightConstraint_->setPriority(kScaledPriority);
    addConstraints({
        LayoutConstraint::constraintWithItem(inner, LayoutAttribute::CenterX, LayoutRelation::Equal, self,
                                             LayoutAttribute::CenterX, 1.0, 0.0),
        LayoutConstraint::constraintWithItem(inner, LayoutAttribute::CenterY, LayoutRelation::Equal, self,
                                             LayoutAttribute::CenterY, 1.0, 0.0),
        widthConstraint_,
        heightConstraint_,
    });
    needsAspectRatioConstraintUpdate_ = true;
    didSetupConstraints_ = true;
  }

  if (needsAspectRatioConstraintUpdate_) {
    // Kept set: the ratio constraint is made anew at every pass.
    const auto picture = inner->image();
    const double ratio = picture && picture->size().height > 0 ? picture->size().width / picture->size().height : 1.0;
    if (aspectRatioConstraint_) inner->removeConstraint(aspectRatioConstraint_);
    aspectRatioConstraint_ = LayoutConstraint::constraintWithItem(inner, LayoutAttribute::Width,
                                                                  LayoutRelation::Equal, inner,
                                                                  LayoutAttribute::Height, ratio, 0.0);
    inner->addConstraint(aspectRatioConstraint_);
  }

  widthConstraint_->setPriority(scaleWidth_ ? kScaledPriority : kUnscaledPriority);
  heightConstraint_->setPriority(scaleHeight_ ? kScaledPriority : kUnscaledPriority);

  if (borderView_) {
    widthConstraint_->setConstant(-2 * borderWidth_);
    heightConstraint_->setConstant(-2 * borderWidth_);
  }

  ImageView::updateConstraints();
}

}  // namespace corvana
