#pragma once

// The demo's sample data: the pictures of its campaigns, drawn with the SDK's own renderer, and one campaign of
// each of the six layouts, triggered by the actions "demo_layout1" .. "demo_layout6".

#include <filesystem>
#include <string>
#include <vector>

#include "corvana/value.h"

namespace demo {

// Writes the campaigns' pictures ("photo.png", "photo-tall.png", "card.png", "button.png", "button-dark.png") into `folder`.
void writeSampleImages(const std::filesystem::path& folder);

// The six campaigns, their pictures at `imageBase` + file name, live from a minute ago for a day.
corvana::Value sampleCampaigns(const std::string& imageBase);

// The trigger action of layout n (1..6).
std::string triggerOf(int layout);

}  // namespace demo
