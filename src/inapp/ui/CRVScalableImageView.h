#pragma once

// The image view of the in-app layouts. The picture is shown by an inner image view (aspect-fill) that is kept
// centred and at the picture's aspect ratio, and that can be told to take this view's full width, full height or
// both (scaleWidth, scaleHeight). An optional border view lies around the inner picture, outside it.
//
// Constraints: inner centre = this centre; inner width = this width and inner height = this height, each at
// priority 999 when its axis is scaled and 250 when not (250 is the inner view's compression resistance, so an
// unscaled axis yields to the aspect ratio); inner width = inner height * ratio (required), rebuilt at every
// constraint pass. With a border of width w, the width and height constraints have the constant -2w, so the
// picture and its border fit in this view.
//
// The scale flags and the border take effect at the next constraint pass that something else asks for (a new
// picture, a layout): setting them does not ask for one.

#include <memory>

#include "corvana/view.h"

namespace corvana {

class CRVScalableImageView : public ImageView {
 public:
  static std::shared_ptr<CRVScalableImageView> initWithFrame(const Rect& frame);
  // Sized to the image, which this view keeps as its own image; the inner view starts without it.
  static std::shared_ptr<CRVScalableImageView> initWithImage(std::shared_ptr<Image> image);
  // The view has no highlighted state; that image is not used.
  static std::shared_ptr<CRVScalableImageView> initWithImageHighlightedImage(std::shared_ptr<Image> image,
                                                                            std::shared_ptr<Image> highlighted);

  std::string className() const override { return "CRVScalableImageView"; }

  // The inner view's picture; asks for a constraint pass. This view's own image is left as it is.
  void setImage(std::shared_ptr<Image> image) override;
  bool scaleWidth() const { return scaleWidth_; }
  bool scaleHeight() const { return scaleHeight_; }
  void setScaleWidth(bool scaleWidth);
  void setScaleHeight(bool scaleHeight);
  void updateWidthHeight(bool width, bool height);
  // Makes the border view on first use (over the inner view, at its frame) and styles it.
  void setInsetBorderOfWidthColorAndCornerRadius(double width, const Color& color, double cornerRadius);

  void layoutSubviews() override;
  void updateConstraints() override;

  // The parts, for the layouts and for checks.
  const std::shared_ptr<ImageView>& scaledImageView() const { return scaledImageView_; }
  const std::shared_ptr<View>& borderView() const { return borderView_; }
  const std::shared_ptr<LayoutConstraint>& widthConstraint() const { return widthConstraint_; }
  const std::shared_ptr<LayoutConstraint>& heightConstraint() const { return heightConstraint_; }
  const std::shared_ptr<LayoutConstraint>& aspectRatioConstraint() const { return aspectRatioConstraint_; }
  double borderWidth() const { return borderWidth_; }

 protected:
  explicit CRVScalableImageView(const Rect& frame) : ImageView(frame) {}
  // Makes the inner view and adds it; the factories call it once the view is owned.
  void baseInit();

 private:
  std::shared_ptr<LayoutConstraint> widthConstraint_;
  std::shared_ptr<LayoutConstraint> heightConstraint_;
  std::shared_ptr<ImageView> scaledImageView_;
  std::shared_ptr<LayoutConstraint> aspectRatioConstraint_;
  std::shared_ptr<View> borderView_;
  double borderWidth_ = 0.0;
  bool didSetupConstraints_ = false;
  bool needsAspectRatioConstraintUpdate_ = false;
  bool scaleWidth_ = false;
  bool scaleHeight_ = false;
};

}  // namespace corvana
