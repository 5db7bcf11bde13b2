#pragma once

// What any view of a shown campaign carries for the campaign: its tap context (read by the in-app handler when
// the view is tapped) and a way to fill itself with one of the campaign's cached pictures.
//
// The tap context is one CRVTapContext record attached to the view under kTapContextKey. Reading a view that has
// none answers the unset values (0, none); the first setter attaches a record. Main thread only, like the views.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/view.h"
#include "corvana/view_controller.h"
#include "inapp/CRVTapContext.h"

namespace corvana {

// The associated-object key of a view's tap context.
inline constexpr const char* kTapContextKey = "CRVTapContext";

// A copy of the view's tap context; the unset record when it has none.
CRVTapContext tapContextOf(const View& view);
// The view's tap context, attached (unset) when it has none.
CRVTapContext& attachedTapContext(View& view);

int32_t crvMassageType(const View& view);
void setCrvMassageType(View& view, int32_t massageType);
int32_t crvFrequency(const View& view);
void setCrvFrequency(View& view, int32_t frequency);
// kCRVButtonTypeContent or kCRVButtonTypeClose; 0 when unset.
int32_t crvButtonType(const View& view);
void setCrvButtonType(View& view, int32_t buttonType);
std::optional<std::string> crvCampaignId(const View& view);
void setCrvCampaignId(View& view, const std::optional<std::string>& campaignId);
// A URL, or "close".
std::optional<std::string> crvAction(const View& view);
void setCrvAction(View& view, const std::optional<std::string>& action);
// The controller hosting the shown campaign (not owned by the view).
std::shared_ptr<ViewController> crvMessage(const View& view);
void setCrvMessage(View& view, const std::shared_ptr<ViewController>& message);

// Returns at once. On the global background queue the picture's bytes are taken from the resource cache (its
// file, or a blocking download that stores it); without bytes "CorvanaSDK-Image not found for message !" is
// logged and the view is left as it is. Otherwise, on the main queue, the bytes are decoded and given to the
// view by its exact class: a "Button" gets them as its background image, an "ImageView" or a
// "CRVScalableImageView" as its image; any other class, subclasses of those included, gets nothing. The pending
// work holds the view; of several loads into one view, the last to finish wins.
void loadImageFromCampaignIdWithUri(const std::shared_ptr<View>& view, const std::optional<std::string>& campaignId,
                                    const std::optional<std::string>& uri);

}  // namespace corvana
