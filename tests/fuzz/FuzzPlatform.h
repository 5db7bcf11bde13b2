#pragma once

// What every fuzz target installs before it touches the SDK: the Linux platform in a scratch folder, with no
// network (data tasks fail at once; a picture download reads the file of that name from tests/fuzz/images), a
// user interface that answers every alert with its last button, an application that opens no URL, and a log
// that goes nowhere (CORVANA_FUZZ_LOG=1 sends it to standard error, to look at one input).
//
// `settle()` waits until the work one input started has finished on every queue, so that each input runs
// against a quiet SDK and a finding belongs to the input that caused it.

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "corvana/view.h"
#include "corvana/view_controller.h"
#include "inapp/ui/CRVDataBinder.h"
#include "support/TestPlatform.h"

namespace corvana::fuzz {

class QuietLog : public LogSink {
 public:
  void write(const std::string& line) override {
    if (echo_) std::fprintf(stderr, "%s\n", line.c_str());
  }

 private:
  const bool echo_ = std::getenv("CORVANA_FUZZ_LOG") != nullptr;
};

// Data tasks fail as an unreachable host does, on a queue of their own; fetch serves files of one folder by the
// last path segment of the URL (query and fragment dropped), nothing for any other URL.
class FolderHttpClient : public HttpClient {
 public:
  explicit FolderHttpClient(std::string folder) : folder_(std::move(folder)) {}

  void dataTask(const HttpRequest&, HttpCompletion completion) override {
    completions_.async([completion = std::move(completion)] {
      completion(std::nullopt, std::nullopt,
                 Error{NSURLErrorDomain, NSURLErrorCannotConnectToHost, "Could not connect to the server."});
    });
  }

  std::optional<Data> fetch(const std::string& url) override {
    std::string_view name = url;
    name = name.substr(0, name.find_first_of("?#"));
    name = name.substr(name.find_last_of('/') + 1);
    if (name.empty() || name == "." || name == "..") return std::nullopt;
    const std::string path = folder_ + "/" + std::string(name);
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    std::ifstream file(path, std::ios::binary);
    return Data(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }

  DispatchQueue& completions() { return completions_; }

 private:
  const std::string folder_;
  DispatchQueue completions_{"fuzz.http"};
};

// Answers every alert at once with its last button ("Yes", "OK") and the fields' initial texts.
class AnsweringUserInterface : public UserInterface {
 public:
  explicit AnsweringUserInterface(std::shared_ptr<UserInterface> inner) : inner_(std::move(inner)) {}
  void presentAlert(AlertRequest alert) override {
    if (alert.onButton && !alert.buttons.empty()) alert.onButton(alert.buttons.size() - 1, alert.textFields);
  }
  std::shared_ptr<Window> keyWindow() override { return inner_->keyWindow(); }

 private:
  std::shared_ptr<UserInterface> inner_;
};

// The Linux application, except that URLs are not opened (nor kept): each completes with false.
class NoOpenApplication : public Application {
 public:
  explicit NoOpenApplication(std::shared_ptr<Application> inner) : inner_(std::move(inner)) {}
  Value infoDictionary() override { return inner_->infoDictionary(); }
  std::string bundlePath() override { return inner_->bundlePath(); }
  void addObserver(const std::string& name, std::function<void()> handler) override {
    inner_->addObserver(name, std::move(handler));
  }
  void postNotification(const std::string& name) override { inner_->postNotification(name); }
  BackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override {
    return inner_->beginBackgroundTask(std::move(expirationHandler));
  }
  void endBackgroundTask(BackgroundTaskIdentifier identifier) override { inner_->endBackgroundTask(identifier); }
  void openURL(const std::string&, const Value&, std::function<void(bool)> completion) override {
    if (completion) completion(false);
  }
  std::string localizedString(const std::string& key) override { return key; }

 private:
  std::shared_ptr<Application> inner_;
};

struct FuzzPlatform {
  test::TempDir dir;  // under $TMPDIR (the runner points it at memory when it can), removed at exit
  std::shared_ptr<FolderHttpClient> http = std::make_shared<FolderHttpClient>(CORVANA_FUZZ_IMAGES);
  std::shared_ptr<Platform> platform;
};

// GLib stops at a critical with SIGTRAP when G_DEBUG=fatal-criticals (the runner and the replays set it), and
// libFuzzer does not catch that signal: made an abort, it is reported with its stack and its input is kept.
extern "C" inline void abortOnTrap(int) { std::abort(); }

// Installs the fuzz platform once per process, on the calling thread (which becomes the main thread).
inline FuzzPlatform& installFuzzPlatform() {
  static FuzzPlatform* installed = [] {
    std::signal(SIGTRAP, abortOnTrap);
    static FuzzPlatform made;  // destroyed at exit, which removes the scratch folder
    LinuxPlatformOptions options = test::testPlatformOptions();
    options.dataDirectory = made.dir.path();
    options.bundleIdentifier = "io.corvana.fuzz";
    options.logSink = std::make_shared<QuietLog>();
    made.platform = Platform::makeLinuxDefault(options);
    made.platform->http = made.http;
    made.platform->ui = std::make_shared<AnsweringUserInterface>(made.platform->ui);
    made.platform->application = std::make_shared<NoOpenApplication>(made.platform->application);
    Platform::install(made.platform);
    return &made;
  }();
  return *installed;
}

// Every file the SDK writes lies in one of its folders: preferences, secure store, database, and directly in the
// caches folder (the campaign pictures). A file anywhere else, such as a picture written beside the caches folder
// because of a campaign id, is a finding.
inline void checkFilesStayInTheirFolders() {
  const std::filesystem::path root = installFuzzPlatform().dir.path();
  std::error_code error;
  for (auto entry = std::filesystem::recursive_directory_iterator(root, error);
       !error && entry != std::filesystem::recursive_directory_iterator(); entry.increment(error)) {
    if (entry->is_directory()) continue;
    const std::filesystem::path relative = entry->path().lexically_relative(root);
    const std::filesystem::path folder = relative.parent_path();
    if (folder == "Library/Preferences" || folder == "Library/Keychains" || folder == "Documents" ||
        folder == "Library/Caches") {
      continue;
    }
    std::fprintf(stderr, "fuzz: the SDK wrote %s, outside its folders\n", relative.c_str());
    std::abort();
  }
}

// Waits until no queue of the SDK or of the platform has work left, running the main queue's tasks meanwhile.
// Work moves between queues (a download on the global queue ends on the main queue, a failed request on the
// serial queue), so two rounds in a row must find every queue quiet.
inline void settle() {
  FuzzPlatform& fuzz = installFuzzPlatform();
  Platform& platform = *fuzz.platform;
  Corvana& sdk = Corvana::sharedInstance();
  for (int quietRounds = 0; quietRounds < 2;) {
    sdk.serialQueue()->waitUntilIdle();
    sdk.serialInAppQueue()->waitUntilIdle();
    fuzz.http->completions().waitUntilIdle();
    platform.globalQueue->waitUntilIdle();
    const size_t ran = platform.mainQueue->drain();
    const bool quiet = ran == 0 && sdk.serialQueue()->isIdle() && sdk.serialInAppQueue()->isIdle() &&
                       fuzz.http->completions().isIdle();
    quietRounds = quiet ? quietRounds + 1 : 0;
  }
  checkFilesStayInTheirFolders();
}

// Taps the campaign on screen, if any, as a user would, going through the in-app handler (the report, the display
// frequency, the action's URL): at the middle of the window, then lower (the buttons) and higher (the picture),
// until a tap dismisses it; then on its close button. A campaign no tap dismissed is dismissed.
inline void tapShownCampaign() {
  const auto window = Platform::current().ui->keyWindow();
  const auto root = window->rootViewController();
  const Size screen = window->frame().size;
  for (const double height : {0.5, 0.75, 0.3}) {
    if (!root->presentedViewController()) return;
    window->layoutScreens();
    const auto reached = window->tapAt(Point{screen.width / 2, screen.height * height});
    if (std::getenv("CORVANA_FUZZ_LOG")) {
      std::fprintf(stderr, "fuzz: tap reached %s\n", reached ? reached->className().c_str() : "nothing");
    }
    settle();
  }
  if (const auto shown = root->presentedViewController()) {
    const auto close = std::dynamic_pointer_cast<Button>(shown->view()->viewWithTag(kCloseButtonTag));
    if (close) close->sendActionsForControlEvents(kControlEventTouchUpInside);
    settle();
  }
  if (root->presentedViewController()) root->dismissViewControllerAnimated(false);
}

// The input as text, or as a JSON value: none for text that is not JSON.
inline std::string_view textOf(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

inline std::optional<Value> jsonOf(const uint8_t* data, size_t size) {
  Value value = Value::parse(textOf(data, size), nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

// The start of most targets: the platform installed, then the input as JSON (none for text that is not JSON).
inline std::optional<Value> jsonInput(const uint8_t* data, size_t size) {
  installFuzzPlatform();
  return jsonOf(data, size);
}

}  // namespace corvana::fuzz
