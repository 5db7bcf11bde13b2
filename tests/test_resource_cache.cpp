// The campaign image cache against the reference service over HTTPS: what is stored and under which name, what
// is refused, when the network is not asked again, and which files a campaign's clearing takes.

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "corvana/cache.h"
#include "platform/PosixFiles.h"
#include "storage/CRVIOManager.h"
#include "support/ServiceProcess.h"
#include "support/TestImages.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;
using test::png;

// An 8 x 8 mid-grey baseline JPEG: flat quantisation, one-code Huffman tables, one block holding DC 0 and EOB.
Data jpeg() {
  Data out = {0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
  out.insert(out.end(), 64, 1);
  out.insert(out.end(), {0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0});
  for (uint8_t table : {0x00, 0x10}) {
    out.insert(out.end(), {0xFF, 0xC4, 0, 20, table, 1});
    out.insert(out.end(), 16, 0);  // fifteen more code-length counts, then the one symbol
  }
  out.insert(out.end(), {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0, 0x3F, 0xFF, 0xD9});
  return out;
}

Data bytesOf(const std::string& text) { return Data(text.begin(), text.end()); }

class ResourceCache : public testing::Test {
 protected:
  void SetUp() override {
    service = std::make_unique<test::ServiceProcess>(serviceDir.path());
    tp = &test::installTestPlatform(service->platformOptions());
  }

  CRVIOManager& cache() { return CRVIOManager::sharedInstance(); }
  std::string url(const std::string& target) { return service->baseUrl("acme") + target; }
  // Puts a file among the account's images ("images/<relative>" on the service).
  void serve(const std::string& relative, const Data& bytes) { service->serveImage(relative, bytes); }
  static void put(const std::string& path, const Data& bytes) {
    fs::create_directories(fs::path(path).parent_path());
    posix::writeFileAtomically(path, std::string(bytes.begin(), bytes.end()));
  }
  std::string cached(const std::string& name) { return cacheDir() + "/" + name; }
  Data cachedBytes(const std::string& name) { return bytesOf(posix::readFile(cached(name)).value_or("(none)")); }
  std::set<std::string> entries() {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(cacheDir())) names.insert(entry.path().filename().string());
    return names;
  }
  size_t requestCount() { return service->requests()["requests"].size(); }
  Lines takeLog() {
    Lines lines = tp->log->lines();
    tp->log->clear();
    return lines;
  }

  test::TempDir serviceDir;
  std::unique_ptr<test::ServiceProcess> service;
  test::TestPlatform* tp = nullptr;
};

TEST_F(ResourceCache, StoresImagesUnderCampaignIdAndLastUriComponent) {
  EXPECT_EQ(cacheDir(), Platform::current().files->cachesDirectory());
  serve("a/b/pic.png", png(64));
  serve("photo.jpg", jpeg());
  serve("x/banner.png", png(2));
  serve("moved/pic.png", png(3));
  const struct {
    std::string target, campaignId;
    Data bytes;
    std::string storedAs, size;
  } cases[] = {
      {"images/a/b/pic.png", "42", png(64), "42_pic.png", "12.13 KB"},
      {"images/photo.jpg", "5", jpeg(), "5_photo.jpg", "0.14 KB"},
      {"images/x/banner.png?v=2", "7", png(2), "7_banner.png?v=2", "0.08 KB"},
      {"redirect?to=%2Fimages%2Fmoved%2Fpic.png", "9", png(3), "9_redirect?to=%2Fimages%2Fmoved%2Fpic.png", "0.10 KB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    const std::string uri = url(c.target);
    EXPECT_EQ(cache().saveFileFromServerWithId(uri, c.campaignId), c.bytes);
    EXPECT_EQ(cachedBytes(c.storedAs), c.bytes);
    EXPECT_EQ(takeLog(), (Lines{"CorvanaSDK-Dowloading resource from: " + uri,
                                "CorvanaSDK-Dowloaded resource from: " + uri + " of size : " + c.size}));
  }
  // The redirect was answered by the service and then followed to the image.
  const Value requests = service->requests()["requests"];
  EXPECT_EQ(requests[requests.size() - 2]["path"], "/redirect");
  EXPECT_EQ(requests.back()["path"], "/images/moved/pic.png");
  // Every file was moved into place whole: nothing written aside is left.
  EXPECT_EQ(entries(), (std::set<std::string>{"42_pic.png", "5_photo.jpg", "7_banner.png?v=2",
                                              "9_redirect?to=%2Fimages%2Fmoved%2Fpic.png"}));
}

TEST_F(ResourceCache, RefusesWhatIsNoImage) {
  const Data whole = png(16);
  serve("error.html", bytesOf("<html><body>Sorry</body></html>"));
  serve("cut.png", Data(whole.begin(), whole.begin() + long(whole.size() / 2)));
  serve("empty.png", {});
  const struct {
    std::string uri;
    bool fetched;
  } cases[] = {{url("images/error.html"), true},  {url("images/missing.png"), true},
               {url("images/cut.png"), true},     {url("images/empty.png"), true},
               {"https://acme.example/a b.png", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.uri);
    const size_t before = requestCount();
    EXPECT_FALSE(cache().getFileFromServerWithId(c.uri, "3"));
    EXPECT_EQ(requestCount(), before + (c.fetched ? 1 : 0));
    const Lines expected = {"CorvanaSDK-Dowloading resource from: " + c.uri,
                            "CorvanaSDK-Dowloading failed for resource : " + c.uri};
    EXPECT_EQ(takeLog(), c.fetched ? expected : Lines{});
  }
  EXPECT_TRUE(entries().empty());
}

TEST_F(ResourceCache, StoredImageIsAnsweredWithoutTheNetworkUntilDeleted) {
  const std::string uri = url("images/pic.png");
  serve("pic.png", png(4));
  ASSERT_TRUE(cache().getFileFromServerWithId(uri, "3"));
  serve("pic.png", png(5));  // the service's copy changes; the cached one is still answered
  const size_t before = requestCount();
  EXPECT_TRUE(cache().getFileFromServerWithId(uri, "3"));
  EXPECT_TRUE(cache().isFileExistsWithId(uri, "3"));
  // An absent id or URI finds nothing and fetches nothing, even where a "(null)" file name exists.
  put(cached("(null)_pic.png"), {});
  put(cached("3_(null)"), {});
  using Name = std::optional<std::string>;
  for (const auto& [absentUri, absentId] : {std::pair<Name, Name>{uri, std::nullopt}, {std::nullopt, "3"}}) {
    EXPECT_FALSE(cache().isFileExistsWithId(absentUri, absentId));
    EXPECT_FALSE(cache().getFileFromServerWithId(absentUri, absentId));
  }
  EXPECT_EQ(cache().getFileFromLocalWithId(uri, "3"), png(4));
  EXPECT_EQ(requestCount(), before);

  fs::remove(cached("3_pic.png"));
  EXPECT_EQ(cache().getFileFromLocalWithId(uri, "3"), png(5));
  EXPECT_EQ(requestCount(), before + 1);
}

TEST_F(ResourceCache, ClearFileRemovesOnlyNamesWhoseTextBeforeTheFirstDashIsTheCampaignId) {
  for (const char* name : {"7_banner.png", "7_banner.png?v=2", "7-old.png", "7", "7-folder/inner/file", "17-x.png",
                           "70-a.png", "x-7.png", "8-a.png", ".hidden", "sub/deeper/file"}) {
    put(cached(name), {});
  }
  const std::string outside = serviceDir.path() + "/keep.txt";
  put(outside, {});
  fs::create_symlink(outside, cached("7-link"));
  CRVResource campaign7, noCampaign;
  campaign7.setCampaignId("7");
  cache().clearFile(campaign7);
  const std::set<std::string> kept = {"7_banner.png", "7_banner.png?v=2", "17-x.png", "70-a.png", "x-7.png",
                                      "8-a.png",      ".hidden",          "sub"};
  EXPECT_EQ(entries(), kept);
  cache().clearFile(noCampaign);
  EXPECT_EQ(entries(), kept);
  EXPECT_TRUE(fs::exists(outside));  // a link goes, not what it points to
  EXPECT_EQ(takeLog(), Lines{});
}

}  // namespace
}  // namespace corvana
