#pragma once

// The file cache of campaign images. A campaign is only accepted when its pictures can be had, and a shown
// campaign draws them from here without a network round trip. The cache is one flat folder, `cacheDir()`: the
// image at URI ".../a/b/pic.png" of campaign 42 is the file "42_pic.png" in it, holding the downloaded bytes
// as received. Two images of one campaign whose URIs end in the same name share one file. A "/" or "%" in the
// campaign id is written "%2F" or "%25" there, so that every file stays in the folder.
//
// Downloads block the calling thread. There is no lock: two threads may download the same image at once, and
// since every file is replaced in one step, the last writer wins and no reader sees half a file. Files are
// never expired; they go only through `clearFile`'s rule, `deleteFileWithId` or `cleanUp`.
//
// A URI or campaign id that is absent reads "(null)" where it becomes part of a file name.

#include <optional>
#include <string>
#include <vector>

#include "corvana/value.h"
#include "inapp/CRVResource.h"

namespace corvana {

class CRVIOManager {
 public:
  static CRVIOManager& sharedInstance();

  CRVIOManager(const CRVIOManager&) = delete;
  CRVIOManager& operator=(const CRVIOManager&) = delete;

  // The caches folder taken when the cache was created (see cacheDir()).
  const std::string& cacheDirectory() const { return cacheDir_; }

  // Whether the image's file is there; false when the URI or the campaign id is absent.
  bool isFileExistsWithId(const std::optional<std::string>& uri, const std::optional<std::string>& campaignId);
  // True when the file is there or a download now stored it; false when the URI or the campaign id is absent.
  bool getFileFromServerWithId(const std::optional<std::string>& uri, const std::optional<std::string>& campaignId);
  // The file's bytes when it is there, else those of a download (nothing when that failed).
  std::optional<Data> getFileFromLocalWithId(const std::optional<std::string>& uri,
                                             const std::optional<std::string>& campaignId);
  // Downloads the URI, and stores and answers the bytes when they decode as an image. Nothing, without a log
  // line, when the URI is no URL; nothing after "Dowloading failed" when the download or the decoding fails.
  std::optional<Data> saveFileFromServerWithId(const std::optional<std::string>& uri,
                                               const std::optional<std::string>& campaignId);
  // Removes the one file of that URI and campaign, logging the outcome.
  void deleteFileWithId(const std::optional<std::string>& uri, const std::optional<std::string>& campaignId);

  // Removes every entry of the folder whose name, up to its first "-", is the resource's campaign id. Files are
  // named with "_", so this leaves "7_banner.png" of campaign 7 in place; only the campaign id is read.
  void clearFile(const CRVResource& resource);
  // clearFile for a resource of each campaign id, in order.
  void clearFiles(const std::vector<std::string>& campaignIds);
  // Removes every entry of the folder, whatever put it there.
  void cleanUp();

 private:
  CRVIOManager();

  std::string filePathWithId(const std::optional<std::string>& uri, const std::optional<std::string>& campaignId) const;

  const std::string cacheDir_;
};

}  // namespace corvana
