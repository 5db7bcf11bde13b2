// Drawing a shown campaign to PNG, for each of the six layouts: the window with the campaign presented over the
// root controller, laid out and drawn with Cairo and Pango at 2 pixels per point (750 x 1334 pixels for the
// 375 x 667 point phone screen), then written as a PNG file.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "BenchSupport.h"
#include "SampleCampaigns.h"
#include "corvana/cache.h"
#include "corvana/render.h"
#include "inapp/CRVInAppMessage.h"

namespace corvana::bench {
namespace {

namespace fs = std::filesystem;

constexpr double kScale = 2.0;

struct Screen {
  fs::path root = benchRoot();
  Value campaigns;

  Screen() {
    LinuxPlatformOptions options;
    options.dataDirectory = (root / "app").string();
    options.bundlePath = CORVANA_SOURCE_RESOURCES;
    options.systemVersion = "17.0";
    options.logSink = std::make_shared<WatchingLog>();
    fs::create_directories(options.dataDirectory);
    Platform::install(Platform::makeLinuxDefault(options));
    // The campaigns' pictures go straight into the resource cache, so building a campaign downloads nothing.
    const fs::path images = root / "images";
    demo::writeSampleImages(images);
    campaigns = demo::sampleCampaigns("https://acme.corvana.test/images/");
    for (const Value& campaign : campaigns) {
      const std::string cid = campaign["cid"];
      for (const auto& [name, component] : campaign["layout"].items()) {
        if (!component.is_object() || !component.contains("uri")) continue;
        const std::string uri = component["uri"];
        const std::string file = uri.substr(uri.rfind('/') + 1);
        fs::copy_file(images / file, fs::path(cacheDir()) / (cid + "_" + file), fs::copy_options::overwrite_existing);
      }
    }
  }

  // Presents layout n (1..6) and runs the main queue until it stays quiet; false when nothing was presented.
  bool present(int layout) {
    const auto message = CRVInAppMessage::initWithDictionary(campaigns[static_cast<size_t>(layout - 1)]);
    if (!message) return false;
    message->show();
    while (Platform::current().mainQueue->drainFor(200) > 0) {
    }
    const auto window = Platform::current().ui->keyWindow();
    return window && window->rootViewController() && window->rootViewController()->presentedViewController();
  }

  void dismiss() {
    Platform::current().ui->keyWindow()->rootViewController()->dismissViewControllerAnimated(false);
    while (Platform::current().mainQueue->drainFor(50) > 0) {
    }
  }
};

Screen& screen() {
  static Screen* made = new Screen();
  return *made;
}

void BM_RenderLayoutToPng(benchmark::State& state) {
  const int layout = static_cast<int>(state.range(0));
  Screen& s = screen();
  if (!s.present(layout)) {
    state.SkipWithError("the campaign was not presented");
    return;
  }
  Window& window = *Platform::current().ui->keyWindow();
  const std::string file = (s.root / ("layout" + std::to_string(layout) + ".png")).string();
  double drawing = 0, encoding = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    const RenderedImage image = renderWindow(window, kScale);
    const auto drawn = Clock::now();
    const bool written = image.writePng(file);
    const auto end = Clock::now();
    drawing += std::chrono::duration<double>(drawn - start).count();
    encoding += std::chrono::duration<double>(end - drawn).count();
    if (!written || image.width != 750 || image.height != 1334) {
      state.SkipWithError("the drawing was not written as a 750 x 1334 PNG");
      break;
    }
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["draw_ms"] = drawing / iterations * 1e3;
  state.counters["png_ms"] = encoding / iterations * 1e3;
  state.counters["png_bytes"] = static_cast<double>(fs::file_size(file));
  s.dismiss();
}

BENCHMARK(BM_RenderLayoutToPng)->ArgName("layout")->DenseRange(1, 6)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace corvana::bench

BENCHMARK_MAIN();
