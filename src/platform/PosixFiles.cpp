#include "platform/PosixFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace corvana::posix {

namespace {

bool writeAll(int fd, const std::string& contents) {
  size_t done = 0;
  while (done < contents.size()) {
    ssize_t wrote = ::write(fd, contents.data() + done, contents.size() - done);
    if (wrote < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(wrote);
  }
  return true;
}

bool syncPath(const std::string& path, int flags) {
  int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) return false;
  bool ok = ::fsync(fd) == 0;
  ::close(fd);
  return ok;
}

}  // namespace

std::string parentDirectory(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

bool makeDirectories(const std::string& path, unsigned mode) {
  if (path.empty()) return false;
  struct stat info {};
  if (::stat(path.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
  std::string parent = parentDirectory(path);
  if (parent != path && parent != "." && parent != "/" && !makeDirectories(parent, mode)) return false;
  if (::mkdir(path.c_str(), static_cast<mode_t>(mode)) != 0) {
    return errno == EEXIST && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
  }
  // The umask may have taken bits away; the folder gets exactly the mode asked for.
  ::chmod(path.c_str(), static_cast<mode_t>(mode));
  return true;
}

bool writeFileAtomically(const std::string& path, const std::string& contents, unsigned mode) {
  std::string pattern = path + ".tmp-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  int fd = ::mkostemp(name.data(), O_CLOEXEC);
  if (fd < 0) return false;
  bool ok = ::fchmod(fd, static_cast<mode_t>(mode)) == 0 && writeAll(fd, contents);
  ok = (::close(fd) == 0) && ok;
  if (ok) ok = ::rename(name.data(), path.c_str()) == 0;
  if (!ok) ::unlink(name.data());
  return ok;
}

bool syncFile(const std::string& path) {
  return syncPath(path, O_RDONLY) && syncPath(parentDirectory(path), O_RDONLY | O_DIRECTORY);
}

std::optional<std::string> readFile(const std::string& path, bool* exists) {
  if (exists) *exists = false;
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (exists) *exists = errno != ENOENT;
    return std::nullopt;
  }
  if (exists) *exists = true;
  std::string contents;
  char buffer[8192];
  for (;;) {
    ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      return std::nullopt;
    }
    if (got == 0) break;
    contents.append(buffer, static_cast<size_t>(got));
  }
  ::close(fd);
  return contents;
}

}  // namespace corvana::posix
