// corvana-preview: draws an in-app campaign as a phone (375 x 667 points) would show it, to a PNG.
//
//   corvana-preview CAMPAIGN.json OUT.png [--images DIR] [--bundle DIR] [--scale 2]
//
// The campaign is the JSON object a sync delivers. With --images, each component's picture is taken from DIR (by
// the last component of its "uri") instead of being downloaded.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "corvana/cache.h"
#include "corvana/platform.h"
#include "corvana/render.h"
#include "inapp/CRVInAppMessage.h"

namespace fs = std::filesystem;
using corvana::Value;

namespace {

// Puts the pictures the campaign names into the resource cache, so that building it finds them there.
void seedCache(const Value& campaign, const fs::path& images) {
  const Value layout = campaign.value("layout", Value::object());
  const std::string cid = campaign.value("cid", "");
  for (const auto& [name, component] : layout.items()) {
    if (!component.is_object() || !component.contains("uri") || !component["uri"].is_string()) continue;
    const std::string uri = component["uri"];
    const std::string file = uri.substr(uri.rfind('/') + 1);
    std::error_code ignored;
    fs::copy_file(images / file, fs::path(corvana::cacheDir()) / (cid + "_" + file),
                  fs::copy_options::overwrite_existing, ignored);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string campaignFile, outFile, imagesDir, bundleDir = CORVANA_SOURCE_RESOURCES;
  double scale = 2.0;
  CLI::App app{"Draws an in-app campaign on a 375 x 667 point phone screen, to a PNG file."};
  app.add_option("campaign", campaignFile, "Campaign JSON file (one element of a sync's \"inapp\" list)")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("out", outFile, "PNG file to write")->required();
  app.add_option("--images", imagesDir, "Folder holding the campaign's pictures by file name")
      ->check(CLI::ExistingDirectory);
  app.add_option("--bundle", bundleDir, "Folder holding CRVResources.bundle")->capture_default_str();
  app.add_option("--scale", scale, "Pixels per point")->capture_default_str();
  CLI11_PARSE(app, argc, argv);

  std::ifstream in(campaignFile);
  std::stringstream text;
  text << in.rdbuf();
  const Value campaign = Value::parse(text.str(), nullptr, false);
  if (!campaign.is_object()) {
    std::fprintf(stderr, "corvana-preview: %s is not a JSON object\n", campaignFile.c_str());
    return 2;
  }

  // A throw-away installation: the campaign store and the cache live in a temporary folder.
  char pattern[] = "/tmp/corvana-preview-XXXXXX";
  const char* data = ::mkdtemp(pattern);
  if (!data) return 2;
  corvana::LinuxPlatformOptions options;
  options.dataDirectory = data;
  options.bundlePath = bundleDir;
  options.systemVersion = "17.0";
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));
  auto& platform = corvana::Platform::current();

  if (!imagesDir.empty()) seedCache(campaign, imagesDir);
  int status = 0;
  if (const auto message = corvana::CRVInAppMessage::initWithDictionary(campaign)) {
    message->show();
    // The presentation and the pictures arrive through the main queue; run it until it stays quiet.
    while (platform.mainQueue->drainFor(300) > 0) {
    }
    const auto window = platform.ui->keyWindow();
    if (!window || !window->rootViewController() || !window->rootViewController()->presentedViewController()) {
      std::fprintf(stderr, "corvana-preview: the campaign could not be presented\n");
      status = 1;
    } else if (!corvana::renderWindow(*window, scale).writePng(outFile)) {
      std::fprintf(stderr, "corvana-preview: cannot write %s\n", outFile.c_str());
      status = 1;
    }
  } else {
    std::fprintf(stderr, "corvana-preview: the campaign was refused (see the log above)\n");
    status = 1;
  }
  std::error_code ignored;
  fs::remove_all(data, ignored);
  return status;
}
