#pragma once

// Applies a campaign's component records to the views of its layout: texts, fonts, colours, borders, corner
// radii and pictures; makes and places the close button; and tags every tappable view with its tap context so
// that a tap reaches the in-app handler. It holds no state. Main thread only, after the layout's views exist
// (and, for "style3" buttons, have their size). A missing view or record binds nothing.

#include <cstdint>
#include <memory>

#include "corvana/view.h"
#include "corvana/view_controller.h"

namespace corvana {

class CRVIABackground;
class CRVIAClose;
class CRVIAImage;
class CRVIAPrimaryButton;
class CRVIAPrimaryText;
class CRVCloseButton;

// Corner radius of "style2" buttons.
inline constexpr int32_t kIPMIADefaultCornerRadius = 10;
// View tag of the close button.
inline constexpr int64_t kCloseButtonTag = 1001;
// Width and height of the close button, and how far it reaches out of the top corner of layouts 1 to 3.
inline constexpr double kCloseButtonSize = 48.0;
inline constexpr double kCloseButtonOverhang = 16.0;
// Border of bordered buttons (white).
inline constexpr double kButtonBorderWidth = 2.0;
// The background image of gradient buttons, in the SDK's resource bundle.
inline constexpr const char* kGradientImageFileName = "gradient-slice.png";

class CRVDataBinder {
 public:
  static CRVDataBinder& sharedInstance();

  CRVDataBinder(const CRVDataBinder&) = delete;
  CRVDataBinder& operator=(const CRVDataBinder&) = delete;

  // A primary or secondary text: lines by size (over 30: 1, 21..30: 2, else 3), text, font (bold, italic,
  // underline, size), colour, tap, alignment (start left, end right, center centred, else unchanged), context.
  void bindTextWithData(const std::shared_ptr<Label>& label, const std::shared_ptr<CRVIAPrimaryText>& data);
  // A primary or secondary button: title, picture, gradient, white border, colours, title font, corners by
  // style (2: 10, 3: half the frame height at this moment), underline, the handler as target, context.
  void bindButtonWithData(const std::shared_ptr<Button>& button, const std::shared_ptr<CRVIAPrimaryButton>& data);
  // The card of a pop-up layout: border, corners, colour, picture, context, tap.
  void bindBackgroundWithData(const std::shared_ptr<View>& view, const std::shared_ptr<CRVIABackground>& data);
  // bindImageWithDataWithStyle with style 3.
  void bindImageWithData(const std::shared_ptr<ImageView>& view, const std::shared_ptr<CRVIAImage>& data);
  // The picture: border (inset around the inner picture of a scalable view), picture, context, tap, and scaling:
  // style 1 by the record's scale type, style 2 both axes, style 3 as the view has it.
  void bindImageWithDataWithStyle(const std::shared_ptr<ImageView>& view, const std::shared_ptr<CRVIAImage>& data,
                                  int32_t style);
  // Makes the close button, tags it, adds it to the controller's root view in front and pins it, 48 x 48, to
  // the root's top leading corner (alignment "start") or top trailing corner (any other); in layouts 1 to 3
  // (codes 101..103) it reaches 16 points out of the corner unless its style is 5. Answers the button.
  std::shared_ptr<CRVCloseButton> bindCloseButtonViewControllerLayout(const std::shared_ptr<CRVIAClose>& data,
                                                                      const std::shared_ptr<ViewController>& controller,
                                                                      int32_t layout);

 private:
  CRVDataBinder() = default;
};

}  // namespace corvana
