// Binding component records to views: texts, buttons, backgrounds and images with their tap context (the close
// button is placed in the layouts' test); pictures loaded from the resource cache into views by their exact class;
// a tap that reaches the handler.

#include <gtest/gtest.h>

#include "corvana/cache.h"
#include "inapp/CRVInAppHandler.h"
#include "inapp/ui/CRVCloseButton.h"
#include "inapp/ui/CRVDataBinder.h"
#include "inapp/ui/CRVIABackground.h"
#include "inapp/ui/CRVIAImage.h"
#include "inapp/ui/CRVIAPrimaryButton.h"
#include "inapp/ui/CRVIASecondaryText.h"
#include "inapp/ui/CRVScalableImageView.h"
#include "inapp/ui/ViewExtra.h"
#include "platform/LinuxApplication.h"
#include "platform/PosixFiles.h"
#include "support/Campaigns.h"
#include "support/TestImages.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

const Color kRed{1, 0, 0, 1};
constexpr const char* kImageNotFound = "CorvanaSDK-Image not found for message !";

CRVDataBinder& binder() { return CRVDataBinder::sharedInstance(); }

std::shared_ptr<CRVIASecondaryText> text(int size, bool bold, bool italic, int32_t alignment,
                                         std::optional<std::string> action = std::nullopt) {
  auto data = std::make_shared<CRVIASecondaryText>();
  data->setSize(size), data->setBold(bold), data->setItalic(italic), data->setAlignment(alignment);
  data->setText("Hello"), data->setColor("#F00"), data->setCampaingId("c1"), data->setAction(action);
  return data;
}

class DataBinder : public testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    CRVUtil::setBoolForKey(true, kKeyInitReport);
  }
  test::TestPlatform* tp = nullptr;
};

TEST_F(DataBinder, TextLinesFontsAlignmentAndContext) {
  const struct {
    int size;
    bool bold, italic, underline;
    int32_t alignment;
    int lines;
    Font font;
    TextAlignment aligned;
  } cases[] = {
      {31, true, false, false, CRVAlignmentCenter, 1, {31, true, false}, TextAlignment::Center},
      {30, false, true, true, CRVAlignmentStart, 2, {30, false, true}, TextAlignment::Left},
      {21, true, true, false, CRVAlignmentEnd, 2, {21, true, true}, TextAlignment::Right},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    auto label = std::make_shared<Label>();
    label->setUserInteractionEnabled(false);
    auto data = text(c.size, c.bold, c.italic, c.alignment);
    data->setUnderline(c.underline);
    binder().bindTextWithData(label, data);
    EXPECT_EQ(std::tuple(label->numberOfLines(), label->underlineStyle(), label->font(), label->textAlignment()),
              std::tuple(c.lines, c.underline ? 1 : 0, c.font, c.aligned));
    EXPECT_EQ(std::tuple(label->text(), label->textColor(), crvButtonType(*label), crvCampaignId(*label)),
              std::tuple("Hello", kRed, kCRVButtonTypeContent, std::optional<std::string>("c1")));
    // Without an action: no recognizer and interaction as the view had it.
    EXPECT_EQ(std::tuple(crvAction(*label), label->gestureRecognizers().size(), label->isUserInteractionEnabled()),
              std::tuple(std::nullopt, 0u, false));
  }
}

TEST_F(DataBinder, ButtonStylesBordersGradientAndTarget) {
  const struct {
    int32_t style;
    double height, radius;
    bool gradient, border;
    std::optional<std::string> color;
  } cases[] = {
      {0, 40, 4, false, false, std::nullopt},  // preset radius 4 kept
      {1, 40, 4, true, true, "#F00"},
      {2, 40, 10, false, true, "#F00"},
      {3, 40, 20, true, false, std::nullopt},
      {3, 0, 0, false, false, "#F00"},  // pill of a button not yet sized
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.style << " " << c.height);
    auto button = std::make_shared<Button>(makeRect(0, 0, 120, c.height));
    button->layer().cornerRadius = 4;
    auto data = std::make_shared<CRVIAPrimaryButton>();
    data->setStyle(c.style), data->setGradient(c.gradient), data->setBorder(c.border), data->setColor(c.color);
    data->setText("Go"), data->setTextColor("#FFF"), data->setTextSize("15"), data->setBold(true);
    data->setItalic(true), data->setUnderline(true), data->setCampaingId("c2");
    binder().bindButtonWithData(button, data);
    EXPECT_EQ(std::tuple(button->title(), button->titleColor(), button->titleLabel()->font(),
                         button->titleLabel()->underlineStyle()),
              std::tuple("Go", Color::white(), Font{15, true, true}, 1));
    const std::optional<Color> white = Color::white(), red = kRed, none;
    EXPECT_EQ(std::tuple(button->layer().cornerRadius, button->layer().borderWidth, button->layer().borderColor,
                         button->backgroundColor()),
              std::tuple(c.radius, c.border ? 2.0 : 0.0, c.border ? white : none, c.color ? red : none));
    // The bundle's white gloss: 1 x 44, alpha 153 at the top, clear at the bottom.
    const auto gloss = button->backgroundImage();
    const auto noGloss = std::tuple(Size{}, 0, 0);
    EXPECT_EQ(gloss ? std::tuple(gloss->size(), int(gloss->rgba()[3]), int(gloss->rgba().back())) : noGloss,
              c.gradient ? std::tuple(Size{1, 44}, 153, 0) : noGloss);
    // The handler is the target even without an action.
    EXPECT_EQ(std::tuple(button->targetCount(), crvAction(*button), crvButtonType(*button), crvCampaignId(*button)),
              std::tuple(1u, std::nullopt, kCRVButtonTypeContent, std::optional<std::string>("c2")));
  }
}

TEST_F(DataBinder, BackgroundAndImageBordersScalingAndTaps) {
  auto card = std::make_shared<View>();
  auto background = std::make_shared<CRVIABackground>();
  background->setRadius(12.7), background->setBorderColor("#F00"), background->setBorderWidth(2.5);
  background->setColor(""), background->setCampaingId("c3"), background->setAction("www.a.b");
  binder().bindBackgroundWithData(card, background);
  // Numbers are read as integers; an empty colour is not applied.
  EXPECT_EQ(std::tuple(card->layer().cornerRadius, card->layer().borderWidth, card->layer().borderColor,
                       card->backgroundColor()),
            std::tuple(12.0, 2.0, std::optional(kRed), std::nullopt));
  EXPECT_EQ(std::tuple(crvAction(*card), card->gestureRecognizers().size(), crvCampaignId(*card)),
            std::tuple(std::optional<std::string>("www.a.b"), 1u, std::optional<std::string>("c3")));

  // A scalable image view gets the border around its inner picture. Scaling starts from width off, height on;
  // style 3 (the default) leaves it.
  const struct {
    int32_t style, scaleType;
    bool width, height;
  } cases[] = {
      {1, CRVScaleTypeWidth, true, false}, {1, CRVScaleTypeHeight, false, true}, {1, CRVScaleTypeBoth, true, true},
      {1, 0, false, true},                 {2, CRVScaleTypeWidth, true, true},   {3, CRVScaleTypeBoth, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.style << " " << c.scaleType);
    auto scalable = CRVScalableImageView::initWithFrame(makeRect(0, 0, 50, 50));
    scalable->updateWidthHeight(false, true);
    auto image = std::make_shared<CRVIAImage>();
    image->setScale_type(c.scaleType), image->setRadius(6.9), image->setBorderWidth("3"), image->setBorderColor("#F00");
    binder().bindImageWithDataWithStyle(scalable, image, c.style);
    EXPECT_EQ(std::tuple(scalable->scaleWidth(), scalable->scaleHeight()), std::tuple(c.width, c.height));
    ASSERT_TRUE(scalable->borderView());
    EXPECT_EQ(std::tuple(scalable->borderWidth(), scalable->borderView()->layer().cornerRadius,
                         scalable->layer().borderWidth, scalable->gestureRecognizers().size()),
              std::tuple(3.0, 6.0, 0.0, 0u));
    EXPECT_EQ(crvButtonType(*scalable), kCRVButtonTypeContent);
  }
}

TEST_F(DataBinder, ATapOnATextReachesTheHandlerAndDismissesTheCampaign) {
  auto* app = dynamic_cast<LinuxApplication*>(Platform::current().application.get());
  const auto window = Platform::current().ui->keyWindow();
  ASSERT_TRUE(app && window);
  auto host = std::make_shared<ViewController>();
  window->rootViewController()->presentViewController(host, false);
  auto label = std::make_shared<Label>(makeRect(20, 200, 200, 40));
  host->view()->addSubview(label);
  binder().bindTextWithData(label, text(14, false, false, 0, "www.corvana.io/deal"));
  setCrvMessage(*label, host);
  window->layoutScreens();
  EXPECT_EQ(window->tapAt(Point{100, 220}), label);
  EXPECT_EQ(window->rootViewController()->presentedViewController(), nullptr);
  Platform::current().mainQueue->drain();
  EXPECT_EQ(test::storedInappEvents(), Value::parse(R"([{"subtype": "tapped", "cid": "c1"}])"));
  EXPECT_EQ(app->openedURLs(), (std::vector<std::string>{"http://www.corvana.io/deal"}));
}

// Pictures from files the test writes into the cache folder: given to each view by its exact class.
TEST_F(DataBinder, PicturesGoToViewsByTheirExactClass) {
  struct OtherImageView : ImageView {
    std::string className() const override { return "OtherImageView"; }
  };
  const Data bytes = test::png(6);
  posix::writeFileAtomically(cacheDir() + "/c1_pic.png", std::string(bytes.begin(), bytes.end()));
  auto button = std::make_shared<Button>();
  auto plain = std::make_shared<ImageView>();
  auto scalable = CRVScalableImageView::initWithFrame(makeRect(0, 0, 10, 10));
  auto other = std::make_shared<OtherImageView>();
  auto closeButton = CRVCloseButton::init();
  for (const std::shared_ptr<View>& view : std::initializer_list<std::shared_ptr<View>>{
           button, plain, scalable, other, closeButton, std::make_shared<Label>()}) {
    loadImageFromCampaignIdWithUri(view, "c1", "https://acme.corvana.test/a/pic.png");
  }
  Platform::current().globalQueue->waitUntilIdle();
  Platform::current().mainQueue->drain();
  auto sizeOf = [](const std::shared_ptr<Image>& image) { return image ? image->size() : Size{}; };
  EXPECT_EQ((std::vector<Size>{sizeOf(button->backgroundImage()), sizeOf(plain->image()),
                               sizeOf(scalable->scaledImageView()->image()), sizeOf(scalable->image()),
                               sizeOf(other->image()), sizeOf(closeButton->backgroundImage())}),
            (std::vector<Size>{{6, 6}, {6, 6}, {6, 6}, {}, {}, {}}));
  EXPECT_EQ(tp->log->lines(), std::vector<std::string>{}) << "read from the file, not downloaded";

  // A failed download leaves the view as it is.
  const std::string gone = "https://acme.corvana.test/a/gone.png";
  loadImageFromCampaignIdWithUri(plain, "c1", gone);
  ASSERT_TRUE(tp->log->waitFor(kImageNotFound));
  EXPECT_EQ(sizeOf(plain->image()), (Size{6, 6}));
  EXPECT_EQ(tp->log->lines(), (std::vector<std::string>{"CorvanaSDK-Dowloading resource from: " + gone,
                                                        "CorvanaSDK-Dowloading failed for resource : " + gone,
                                                        kImageNotFound}));
}

}  // namespace
}  // namespace corvana
