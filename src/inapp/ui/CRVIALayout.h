#pragma once

#include <memory>

#include "inapp/ui/CRVStoryboard.h"

namespace corvana {

class CRVInAppMessage;
class Button;

// The layout controllers "CRVIALayout1" .. "CRVIALayout6" (codes 101 .. 106): each binds the campaign's component
// records to the views of its storyboard scene as its view loads.
//
//   code  views (outlet <- record)                                          image style  close code
//   101   background <- background, primaryButton, image, primaryText, secondaryText        1       101
//   102   background <- background, primaryButton, image                                      1       102
//   103   background <- background, primaryButton, secondaryButton, primaryText, secondaryText  -     103
//   104   fullsizeImage <- image                                                               2       104
//   105   background <- image, actionButton <- primary button, primaryText, secondaryText      3       105
//   106   background <- image, primaryButton, secondaryButton, primaryText, secondaryText      3       106
//
// Layouts 1-3 are cards on the background component; 4 is one full-size image; 5 and 6 lay the texts and buttons
// over the image on a transparent root view.
class CRVIALayout : public CRVStoryboardController {
 public:
  CRVIALayout(Storyboard storyboard, std::string identifier, int32_t code)
      : CRVStoryboardController(std::move(storyboard), std::move(identifier)), code_(code) {}

  int32_t layoutCode() const { return code_; }
  const std::shared_ptr<CRVInAppMessage>& inapp() const { return inapp_; }
  void setInapp(std::shared_ptr<CRVInAppMessage> inapp) { inapp_ = std::move(inapp); }
  // The close button the binder made; none before the view loads.
  std::shared_ptr<Button> closeButton() const { return closeButton_.lock(); }

  // Binds the campaign to the views; nothing without a campaign. Each call adds the image margin again.
  void config(const std::shared_ptr<CRVInAppMessage>& inapp);

 protected:
  void viewDidLoad() override;

 private:
  int32_t code_;
  std::shared_ptr<CRVInAppMessage> inapp_;
  std::weak_ptr<Button> closeButton_;
};

}  // namespace corvana
