// Each of the six layouts as a campaign is shown: which record fills which view, the close button's style, frame
// (by layout, style and alignment) and tap context, the "displayed" report, and a tap that reaches the close button
// through the window's hit testing.

#include <gtest/gtest.h>

#include "corvana/cache.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVCloseButton.h"
#include "inapp/ui/CRVIALayout.h"
#include "inapp/ui/CRVInAppViewController.h"
#include "inapp/ui/CRVScalableImageView.h"
#include "inapp/ui/ViewExtra.h"
#include "platform/PosixFiles.h"
#include "support/Campaigns.h"
#include "support/TestImages.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

class InAppLayouts : public testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    CRVUtil::setBoolForKey(true, kKeyInitReport);
  }

  // Shows a campaign of the layout whose pictures are already in the cache, so it builds without a download, and
  // runs the main queue until its pictures have arrived.
  std::shared_ptr<CRVIALayout> show(int layout, const std::string& closeStyle, const std::string& closeAlignment) {
    const std::string cid = "L" + std::to_string(layout);
    Value data = test::campaignJson([](const std::string& file) { return "https://cdn.corvana.test/" + file; });
    data["cid"] = cid;
    data["layout"]["type"] = "layout" + std::to_string(layout);
    data["layout"]["close_button"]["style"] = closeStyle;
    data["layout"]["close_button"]["layout_alignment"] = closeAlignment;
    data["layout"]["close_button"]["color"] = "#F00";
    data["layout"]["close_button"]["action"] = {{"ios", "close"}};
    data["layout"]["image"]["margin"] = "12";
    data["layout"]["primary_text"]["text"] = "Spring sale";
    data["layout"]["secondary_text"]["text"] = "Everything half price";
    for (const char* file : {"bg.png", "pic.png", "b1.png", "b2.png"}) {
      const Data png = test::png(file[0] == 'p' ? 40 : 8);
      posix::writeFileAtomically(cacheDir() + "/" + cid + "_" + file, std::string(png.begin(), png.end()));
    }
    CRVInAppMessage::initWithDictionary(data)->show();
    for (int i = 0; i < 20; ++i) Platform::current().mainQueue->drainFor(50);
    window()->layoutScreens();
    const auto host = std::dynamic_pointer_cast<CRVInAppViewController>(root()->presentedViewController());
    return host ? std::dynamic_pointer_cast<CRVIALayout>(host->contentController()) : nullptr;
  }
  std::shared_ptr<Window> window() { return Platform::current().ui->keyWindow(); }
  std::shared_ptr<ViewController> root() { return window()->rootViewController(); }

  test::TestPlatform* tp = nullptr;
};

// Which outlet shows which record, by what the record put there.
std::map<std::string, std::string> boundOutlets(const CRVIALayout& layout) {
  std::map<std::string, std::string> bound;
  for (const auto& [name, view] : layout.sceneViews().outlets) {
    if (const auto label = std::dynamic_pointer_cast<Label>(view); label && !label->text().empty()) {
      bound[name] = "text " + label->text();
    } else if (const auto button = std::dynamic_pointer_cast<Button>(view); button && !button->title().empty()) {
      bound[name] = "button " + button->title();
    } else if (const auto scalable = std::dynamic_pointer_cast<CRVScalableImageView>(view);
               scalable && scalable->scaledImageView()->image()) {
      bound[name] = "image " + std::to_string(scalable->scaledImageView()->image()->width());
    } else if (const auto image = std::dynamic_pointer_cast<ImageView>(view); image && image->image()) {
      bound[name] = "image " + std::to_string(image->image()->width());
    } else if (crvCampaignId(*view)) {
      bound[name] = "tapped for " + *crvCampaignId(*view);
    }
  }
  return bound;
}

TEST_F(InAppLayouts, EachLayoutBindsItsRecordsAndPlacesItsCloseButton) {
  using Bound = std::map<std::string, std::string>;
  const Bound texts = {{"primaryText", "text Spring sale"}, {"secondaryText", "text Everything half price"}};
  const Bound twoButtons = {{"primaryButton", "button Go"}, {"secondaryButton", "button Go"}};
  const auto with = [](Bound a, const Bound& b) { return a.insert(b.begin(), b.end()), a; };
  // In layouts 1-3 the close button overhangs the 311-point card by 16 points, except style 5, which sits in the
  // corner as in layouts 4-6 (on the 375-point screen). There is no centred close button.
  const struct {
    int layout;
    Bound bound;
    int32_t closeStyle;
    const char* alignment;
    Rect close;  // in the layout's root view
  } cases[] = {
      {1, with(texts, {{"background", "tapped for L1"}, {"image", "image 40"}, {"primaryButton", "button Go"}}), 1,
       "start", makeRect(-16, -16, 48, 48)},
      {2, {{"background", "tapped for L2"}, {"image", "image 40"}, {"primaryButton", "button Go"}}, 2, "center",
       makeRect(311 - 48 + 16, -16, 48, 48)},
      {3, with(with(texts, twoButtons), {{"background", "tapped for L3"}}), 5, "end", makeRect(311 - 48, 0, 48, 48)},
      {4, {{"fullsizeImage", "image 40"}}, 3, "center", makeRect(375 - 48, 0, 48, 48)},
      {5, with(texts, {{"background", "image 40"}, {"actionButton", "button Go"}}), 4, "start", makeRect(0, 0, 48, 48)},
      {6, with(with(texts, twoButtons), {{"background", "image 40"}}), 1, "end", makeRect(375 - 48, 0, 48, 48)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("layout" + std::to_string(c.layout));
    const auto layout = show(c.layout, "style" + std::to_string(c.closeStyle), c.alignment);
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(boundOutlets(*layout), c.bound);
    const auto close = std::dynamic_pointer_cast<CRVCloseButton>(layout->closeButton());
    ASSERT_NE(close, nullptr);
    EXPECT_EQ(std::tuple(close->superview(), close->frame(), close->style(), close->color()),
              std::tuple(layout->view(), c.close, c.closeStyle, Color{1, 0, 0, 1}));
    const CRVTapContext tap = tapContextOf(*close);
    EXPECT_EQ(std::tuple(tap.crvButtonType, tap.crvFrequency, tap.crvAction, tap.crvCampaignId, tap.crvMessage.lock()),
              std::tuple(kCRVButtonTypeClose, CRVFrequencyOnce, std::optional<std::string>("close"),
                         std::optional("L" + std::to_string(c.layout)),
                         std::static_pointer_cast<ViewController>(layout)));
    // The margin of 12 moves the picture inward from the storyboard's distances.
    if (c.layout == 1) {
      EXPECT_EQ(layout->sceneViews().outlet<View>("image")->frame().minX(), 16 + 12);
    }
    // Near the button's top-right corner: outside the card where it overhangs, and only the container's hit test
    // reaches it there.
    const Point corner = close->convertPointToView({40, 4}, nullptr);
    const auto container = layout->view()->superview();
    EXPECT_EQ(container->bounds().contains(container->convertPointFromView(corner, nullptr)), c.close.minY() == 0);
    EXPECT_EQ(window()->tapAt(corner), close);
    EXPECT_EQ(root()->presentedViewController(), nullptr);
  }
  Value displayed = Value::array();
  for (int n = 1; n <= 6; ++n) {
    displayed.push_back({{"subtype", "displayed"}, {"cid", "L" + std::to_string(n)}});
    displayed.push_back({{"subtype", "tapped"}, {"cid", "L" + std::to_string(n)}});
  }
  EXPECT_EQ(test::storedInappEvents(), displayed);
}

TEST_F(InAppLayouts, AnUnknownLayoutIsDismissedWithoutADisplay) {
  // The model refuses unknown layouts, so the host meets one only through a campaign changed after it was built.
  auto storyboard = Storyboard::load(*CRVUtil::sharedInstance().getStoryboard());
  const auto host = std::dynamic_pointer_cast<CRVInAppViewController>(
      instantiateViewControllerWithIdentifier(*storyboard, "CRVInAppViewControllerPop"));
  ASSERT_NE(host, nullptr);
  host->setInapp(CRVInAppMessage::initWithDictionary({{"cid", "x"}}));  // none: type 0
  root()->presentViewController(host, false);
  EXPECT_EQ(root()->presentedViewController(), nullptr);
  EXPECT_TRUE(tp->log->contains("CorvanaSDK-Template not supported !"));
  EXPECT_EQ(test::storedInappEvents(), Value::array());
}

}  // namespace
}  // namespace corvana
