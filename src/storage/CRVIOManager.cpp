#include "storage/CRVIOManager.h"

#include <pwd.h>
#include <stb_image.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <system_error>

#include "corvana/cache.h"
#include "corvana/platform.h"
#include "platform/PosixFiles.h"
#include "util/Log.h"
#include "util/UrlSyntax.h"

namespace corvana {

namespace {

// Codes of the file manager's errors.
constexpr const char* NSCocoaErrorDomain = "NSCocoaErrorDomain";
constexpr int NSFileNoSuchFileError = 4;
constexpr int NSFileWriteUnknownError = 512;
constexpr int NSFileWriteNoPermissionError = 513;

std::string describe(const std::optional<std::string>& text) { return text.value_or(kNullDescription); }

// The campaign id as a part of a file name: "/" (and "%", so that two ids never share a name) written as %2F and
// %25. An id such as "../x" would otherwise name a file outside the cache folder.
std::string fileNamePart(const std::string& campaignId) {
  std::string part;
  for (const char c : campaignId) {
    if (c == '/') {
      part += "%2F";
    } else if (c == '%') {
      part += "%25";
    } else {
      part += c;
    }
  }
  return part;
}

// "~" and "~/..." name the user's home folder.
std::string expandingTildeInPath(const std::string& path) {
  if (path != "~" && path.rfind("~/", 0) != 0) return path;
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr ||
      found->pw_dir == nullptr) {
    return path;
  }
  return found->pw_dir + path.substr(1);
}

// Whether something (a file, a folder) is at the path, following symbolic links.
bool fileExistsAtPath(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

// Whether the bytes decode as a picture (PNG, JPEG, GIF, BMP ...). The whole image is decoded, so a file that
// only starts like an image does not pass.
bool decodesAsImage(const Data& bytes) {
  if (bytes.empty() || bytes.size() > static_cast<size_t>(INT_MAX)) return false;
  int width = 0;
  int height = 0;
  int channels = 0;
  stbi_uc* pixels = stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height, &channels, 0);
  if (pixels == nullptr) return false;
  stbi_image_free(pixels);
  return true;
}

// How the platform prints the file manager's error about a path it could not remove.
std::string describeRemovalError(const std::string& path, int posixError) {
  const int code = posixError == ENOENT ? NSFileNoSuchFileError
                   : (posixError == EACCES || posixError == EPERM || posixError == EROFS) ? NSFileWriteNoPermissionError
                                                                                          : NSFileWriteUnknownError;
  const std::string name = path.substr(path.find_last_of('/') + 1);
  const std::string reason = std::generic_category().message(posixError);
  return strfmt("Error Domain=%s Code=%d \"\u201c%s\u201d couldn\u2019t be removed.\" UserInfo={NSFilePath=%s, "
                "NSUnderlyingError=Error Domain=NSPOSIXErrorDomain Code=%d \"%s\"}",
                NSCocoaErrorDomain, code, name.c_str(), path.c_str(), posixError, reason.c_str());
}

// Removes a file, or a folder with everything in it. Answers the description of the error when that failed.
std::optional<std::string> removeItemAtPath(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return describeRemovalError(path, errno);
  std::error_code error;
  std::filesystem::remove_all(path, error);
  if (error) return describeRemovalError(path, error.value());
  return std::nullopt;
}

// The names in the folder, without "." and ".."; nothing when it cannot be read.
std::optional<std::vector<std::string>> contentsOfDirectoryAtPath(const std::string& path) {
  std::error_code error;
  std::filesystem::directory_iterator entries(path, error);
  if (error) return std::nullopt;
  std::vector<std::string> names;
  for (; entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    if (error) return std::nullopt;
    names.push_back(entries->path().filename().string());
  }
  if (error) return std::nullopt;
  return names;
}

// Removes the named entries of the folder, logging each failure.
void removeEntries(const std::string& directory, const std::vector<std::string>& names) {
  for (const auto& name : names) {
    if (auto error = removeItemAtPath(directory + "/" + name)) CRVLog("CorvanaSDK-Could not delete file : " + *error);
  }
}

}  // namespace

const std::string& cacheDir() { return CRVIOManager::sharedInstance().cacheDirectory(); }

CRVIOManager& CRVIOManager::sharedInstance() {
  static CRVIOManager* instance = new CRVIOManager();
  return *instance;
}

CRVIOManager::CRVIOManager() : cacheDir_(expandingTildeInPath(Platform::current().files->cachesDirectory())) {}

std::string CRVIOManager::filePathWithId(const std::optional<std::string>& uri,
                                         const std::optional<std::string>& campaignId) const {
  std::string lastComponent = kNullDescription;
  if (uri) lastComponent = uri->substr(uri->find_last_of('/') + 1);  // the whole URI when it has no "/"
  return cacheDir_ + "/" + fileNamePart(describe(campaignId)) + "_" + lastComponent;
}

bool CRVIOManager::isFileExistsWithId(const std::optional<std::string>& uri,
                                      const std::optional<std::string>& campaignId) {
  if (!uri || !campaignId) return false;
  return fileExistsAtPath(filePathWithId(uri, campaignId));
}

bool CRVIOManager::getFileFromServerWithId(const std::optional<std::string>& uri,
                                           const std::optional<std::string>& campaignId) {
  if (!uri || !campaignId) return false;
  if (isFileExistsWithId(uri, campaignId)) return true;
  return saveFileFromServerWithId(uri, campaignId).has_value();
}

std::optional<Data> CRVIOManager::getFileFromLocalWithId(const std::optional<std::string>& uri,
                                                         const std::optional<std::string>& campaignId) {
  const std::string path = filePathWithId(uri, campaignId);
  if (!fileExistsAtPath(path)) return saveFileFromServerWithId(uri, campaignId);
  // An entry that is there but cannot be read (a folder, no permission) answers nothing; it is not fetched again.
  const std::optional<std::string> contents = posix::readFile(path);
  if (!contents) return std::nullopt;
  return Data(contents->begin(), contents->end());
}

std::optional<Data> CRVIOManager::saveFileFromServerWithId(const std::optional<std::string>& uri,
                                                           const std::optional<std::string>& campaignId) {
  if (!uri || !isValidUrlSyntax(*uri)) return std::nullopt;
  CRVLog("CorvanaSDK-Dowloading resource from: " + *uri);
  const std::optional<Data> bytes = Platform::current().http->fetch(*uri);
  if (!bytes || !decodesAsImage(*bytes)) {
    CRVLog("CorvanaSDK-Dowloading failed for resource : " + *uri);
    return std::nullopt;
  }
  // A failed write goes unnoticed: the bytes are answered all the same, and the next call downloads again.
  posix::writeFileAtomically(filePathWithId(uri, campaignId), std::string(bytes->begin(), bytes->end()));
  const float kilobytes = static_cast<float>(bytes->size()) / 1024.0f;
  CRVLogf("CorvanaSDK-Dowloaded resource from: %s of size : %.2f KB", uri->c_str(), static_cast<double>(kilobytes));
  return bytes;
}

void CRVIOManager::deleteFileWithId(const std::optional<std::string>& uri,
                                    const std::optional<std::string>& campaignId) {
  const std::string path = filePathWithId(uri, campaignId);
  if (auto error = removeItemAtPath(path)) {
    CRVLog("CorvanaSDK-Could not delete file : " + *error + " ");
  } else {
    CRVLog("CorvanaSDK-Successfully removed : " + path);
  }
}

void CRVIOManager::clearFile(const CRVResource& resource) {
  const auto names = contentsOfDirectoryAtPath(cacheDir_);
  if (!names) return;
  std::vector<std::string> matching;
  for (const auto& name : *names) {
    // Deliberately "-": the files this class writes join the campaign id with "_" and so stay.
    if (resource.campaignId() && name.substr(0, name.find('-')) == *resource.campaignId()) matching.push_back(name);
  }
  removeEntries(cacheDir_, matching);
}

void CRVIOManager::clearFiles(const std::vector<std::string>& campaignIds) {
  for (const auto& campaignId : campaignIds) {
    CRVResource resource;
    resource.setCampaignId(campaignId);
    clearFile(resource);
  }
}

void CRVIOManager::cleanUp() {
  if (const auto names = contentsOfDirectoryAtPath(cacheDir_)) removeEntries(cacheDir_, *names);
}

}  // namespace corvana
