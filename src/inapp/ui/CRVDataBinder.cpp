#include "inapp/ui/CRVDataBinder.h"

#include <filesystem>

#include "inapp/CRVInAppHandler.h"
#include "inapp/ui/CRVCloseButton.h"
#include "inapp/ui/CRVColor.h"
#include "inapp/ui/CRVIABackground.h"
#include "inapp/ui/CRVIAClose.h"
#include "inapp/ui/CRVIAImage.h"
#include "inapp/ui/CRVIAPrimaryButton.h"
#include "inapp/ui/CRVIAPrimaryText.h"
#include "inapp/ui/CRVScalableImageView.h"
#include "inapp/ui/ViewExtra.h"
#include "util/CRVUtil.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

constexpr int kSingleUnderline = 1;

// A size read as the platform's floatValue.
double floatValueOf(const Value& value) { return static_cast<float>(doubleValue(value)); }

// Bold and italic pick the system font of the integer size; together they keep the current font's family with
// both traits. Neither leaves the font alone.
void applyFontStyle(Label& label, bool bold, bool italic, const Value& size) {
  const int32_t points = intValue(size);
  if (bold && !italic) {
    label.setFont(Font::boldSystemFontOfSize(points));
  } else if (italic && !bold) {
    label.setFont(Font::italicSystemFontOfSize(points));
  } else if (bold && italic) {
    Font font = label.font().fontWithSize(points);
    font.bold = true;
    font.italic = true;
    label.setFont(font);
  }
}

// A component with an action is tappable: the handler's recognizer is added and interaction enabled.
void applyTap(View& view, const std::optional<std::string>& action) {
  if (!action) return;
  setCrvAction(view, action);
  view.addGestureRecognizer(CRVInAppHandler::sharedInstance().getTappedGestureRecognizer());
  view.setUserInteractionEnabled(true);
}

void addButtonTarget(Button& button) {
  button.addTarget([](Button& sender) { CRVInAppHandler::sharedInstance().buttonAction(sender); },
                   kControlEventTouchUpInside);
}

std::shared_ptr<Image> gradientImage() {
  const auto bundle = CRVUtil::sharedInstance().getBundel();
  if (!bundle) return nullptr;
  return Image::imageWithContentsOfFile((std::filesystem::path(*bundle) / kGradientImageFileName).string());
}

}  // namespace

CRVDataBinder& CRVDataBinder::sharedInstance() {
  static CRVDataBinder* instance = new CRVDataBinder();
  return *instance;
}

void CRVDataBinder::bindTextWithData(const std::shared_ptr<Label>& label,
                                     const std::shared_ptr<CRVIAPrimaryText>& data) {
  if (!label || !data) return;
  const int32_t size = intValue(data->size());
  label->setNumberOfLines(size > 30 ? 1 : size > 20 ? 2 : 3);
  label->setText(data->text());
  applyFontStyle(*label, data->bold(), data->italic(), data->size());
  if (data->underline()) label->setAttributedText(data->text(), kSingleUnderline);
  label->setFont(label->font().fontWithSize(floatValueOf(data->size())));
  label->setTextColor(colorWithHexString(data->color()));
  applyTap(*label, data->action());
  switch (data->alignment()) {
    case CRVAlignmentCenter:
      label->setTextAlignment(TextAlignment::Center);
      break;
    case CRVAlignmentStart:
      label->setTextAlignment(TextAlignment::Left);
      break;
    case CRVAlignmentEnd:
      label->setTextAlignment(TextAlignment::Right);
      break;
    default:
      break;
  }
  setCrvButtonType(*label, kCRVButtonTypeContent);
  setCrvCampaignId(*label, data->campaingId());
}

void CRVDataBinder::bindButtonWithData(const std::shared_ptr<Button>& button,
                                       const std::shared_ptr<CRVIAPrimaryButton>& data) {
  if (!button || !data) return;
  button->setTitle(data->text());
  if (data->uri()) loadImageFromCampaignIdWithUri(button, data->campaingId(), data->uri());
  if (data->gradient()) button->setBackgroundImage(gradientImage());
  if (data->border()) {
    button->layer().borderColor = Color::white();
    button->layer().borderWidth = kButtonBorderWidth;
  }
  if (data->color()) button->setBackgroundColor(colorWithHexString(*data->color()));
  button->setTitleColor(colorWithHexString(data->textColor()));
  Label& title = *button->titleLabel();
  title.setFont(title.font().fontWithSize(floatValueOf(data->textSize())));
  if (data->style() == 2) {
    button->layer().cornerRadius = kIPMIADefaultCornerRadius;
  } else if (data->style() == 3) {
    button->layer().cornerRadius = button->frame().size.height / 2;
  }
  applyFontStyle(title, data->bold(), data->italic(), data->textSize());
  if (data->underline()) title.setAttributedText(data->text(), kSingleUnderline);
  addButtonTarget(*button);
  setCrvButtonType(*button, kCRVButtonTypeContent);
  setCrvAction(*button, data->action());
  setCrvCampaignId(*button, data->campaingId());
}

void CRVDataBinder::bindBackgroundWithData(const std::shared_ptr<View>& view,
                                           const std::shared_ptr<CRVIABackground>& data) {
  if (!view || !data) return;
  view->layer().cornerRadius = intValue(data->radius());
  view->layer().borderColor = colorWithHexString(data->borderColor());
  view->layer().borderWidth = intValue(data->borderWidth());
  if (data->color() && !data->color()->empty()) view->setBackgroundColor(colorWithHexString(*data->color()));
  if (data->uri()) loadImageFromCampaignIdWithUri(view, data->campaingId(), data->uri());
  if (data->action()) setCrvAction(*view, data->action());
  setCrvButtonType(*view, kCRVButtonTypeContent);
  setCrvCampaignId(*view, data->campaingId());
  applyTap(*view, data->action());
}

void CRVDataBinder::bindImageWithData(const std::shared_ptr<ImageView>& view,
                                      const std::shared_ptr<CRVIAImage>& data) {
  bindImageWithDataWithStyle(view, data, 3);
}

void CRVDataBinder::bindImageWithDataWithStyle(const std::shared_ptr<ImageView>& view,
                                               const std::shared_ptr<CRVIAImage>& data, int32_t style) {
  if (!view || !data) return;
  const auto scalable = std::dynamic_pointer_cast<CRVScalableImageView>(view);
  const double borderWidth = intValue(data->borderWidth());
  const double radius = intValue(data->radius());
  const Color borderColor = colorWithHexString(data->borderColor());
  if (scalable) {
    scalable->setInsetBorderOfWidthColorAndCornerRadius(borderWidth, borderColor, radius);
  } else {
    view->layer().borderColor = borderColor;
    view->layer().borderWidth = borderWidth;
    view->layer().cornerRadius = radius;
  }
  if (!data->uri().empty()) loadImageFromCampaignIdWithUri(view, data->campaingId(), data->uri());
  setCrvButtonType(*view, kCRVButtonTypeContent);
  setCrvAction(*view, data->action());
  setCrvCampaignId(*view, data->campaingId());
  applyTap(*view, data->action());

  if (!scalable) return;
  if (style == 1) {
    switch (data->scale_type()) {
      case CRVScaleTypeWidth:
        scalable->setScaleWidth(true);
        scalable->setScaleHeight(false);
        break;
      case CRVScaleTypeHeight:
        scalable->setScaleHeight(true);
        scalable->setScaleWidth(false);
        break;
      case CRVScaleTypeBoth:
        scalable->setScaleWidth(true);
        scalable->setScaleHeight(true);
        break;
      default:
        break;
    }
  } else if (style == 2) {
    scalable->updateWidthHeight(true, true);
  }
}

std::shared_ptr<CRVCloseButton> CRVDataBinder::bindCloseButtonViewControllerLayout(
    const std::shared_ptr<CRVIAClose>& data, const std::shared_ptr<ViewController>& controller, int32_t layout) {
  if (!data || !controller) return nullptr;
  auto button = CRVCloseButton::initWithStyleAndColor(data->style(), colorWithHexString(data->color()));
  button->setTag(kCloseButtonTag);
  setCrvButtonType(*button, kCRVButtonTypeClose);
  setCrvFrequency(*button, data->frequency());
  setCrvMessage(*button, controller);
  setCrvAction(*button, data->action());
  setCrvCampaignId(*button, data->campaingId());
  button->setTranslatesAutoresizingMaskIntoConstraints(false);
  addButtonTarget(*button);

  const std::shared_ptr<View> root = controller->view();
  root->addSubview(button);
  root->bringSubviewToFront(button);

  // There is no centred close button: every alignment but "start" puts it at the trailing corner.
  const bool leading = data->layoutAlignment() == CRVAlignmentStart;
  const LayoutAttribute side = leading ? LayoutAttribute::Leading : LayoutAttribute::Trailing;
  double sideOffset = 0.0, topOffset = 0.0;
  if (layout >= 101 && layout <= 103 && data->style() != 5) {
    topOffset = -kCloseButtonOverhang;
    sideOffset = leading ? -kCloseButtonOverhang : kCloseButtonOverhang;
  }
  const std::shared_ptr<View> item = button;
  root->addConstraint(LayoutConstraint::constraintWithItem(item, side, LayoutRelation::Equal, root, side, 1.0,
                                                           sideOffset));
  root->addConstraint(LayoutConstraint::constraintWithItem(item, LayoutAttribute::Top, LayoutRelation::Equal, root,
                                                           LayoutAttribute::Top, 1.0, topOffset));
  root->addConstraint(LayoutConstraint::constraintWithItem(item, LayoutAttribute::Width, LayoutRelation::Equal,
                                                           nullptr, LayoutAttribute::NotAnAttribute, 1.0,
                                                           kCloseButtonSize));
  root->addConstraint(LayoutConstraint::constraintWithItem(item, LayoutAttribute::Height, LayoutRelation::Equal,
                                                           nullptr, LayoutAttribute::NotAnAttribute, 1.0,
                                                           kCloseButtonSize));
  return button;
}

}  // namespace corvana
