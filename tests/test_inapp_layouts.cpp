// Each of the six layouts as a campaign is shown: which record fills which view, the close button's frame
// (overhanging the card in layouts 1-3), the "displayed" report, and a tap that reaches the close button through
// the window's hit testing.

#include <gtest/gtest.h>

#include "corvana/cache.h"
#include "inapp/CRVInAppMessage.h"
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
  std::shared_ptr<CRVIALayout> show(int layout) {
    const std::string cid = "L" + std::to_string(layout);
    Value data = test::campaignJson([](const std::string& file) { return "https://cdn.corvana.test/" + file; });
    data["cid"] = cid;
    data["layout"]["type"] = "layout" + std::to_string(layout);
    data["layout"]["close_button"]["style"] = "style1";
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
  // 16 points past the 311-point card's top-right corner, or in the screen's corner.
  const Rect overhanging = makeRect(311 - 48 + 16, -16, 48, 48), inCorner = makeRect(375 - 48, 0, 48, 48);
  const struct {
    int layout;
    Bound bound;
    Rect close;  // in the layout's root view
  } cases[] = {
      {1, with(texts, {{"background", "tapped for L1"}, {"image", "image 40"}, {"primaryButton", "button Go"}}),
       overhanging},
      {2, {{"background", "tapped for L2"}, {"image", "image 40"}, {"primaryButton", "button Go"}}, overhanging},
      {3, with(with(texts, twoButtons), {{"background", "tapped for L3"}}), overhanging},
      {4, {{"fullsizeImage", "image 40"}}, inCorner},
      {5, with(texts, {{"background", "image 40"}, {"actionButton", "button Go"}}), inCorner},
      {6, with(with(texts, twoButtons), {{"background", "image 40"}}), inCorner},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("layout" + std::to_string(c.layout));
    const auto layout = show(c.layout);
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(boundOutlets(*layout), c.bound);
    const auto close = layout->closeButton();
    ASSERT_NE(close, nullptr);
    EXPECT_EQ(std::tuple(close->superview(), close->frame()), std::tuple(layout->view(), c.close));
    // The margin of 12 moves the picture inward from the storyboard's distances.
    if (c.layout == 1) {
      EXPECT_EQ(layout->sceneViews().outlet<View>("image")->frame().minX(), 16 + 12);
    }
    // Near the button's top-right corner: outside the card in layouts 1-3, where only the container's hit test
    // reaches it.
    const Point corner = close->convertPointToView({40, 4}, nullptr);
    const auto container = layout->view()->superview();
    EXPECT_EQ(container->bounds().contains(container->convertPointFromView(corner, nullptr)), c.layout > 3);
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
