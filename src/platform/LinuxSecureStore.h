#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "corvana/platform.h"

namespace corvana {

// The status of a change that could not be written to the disk (the keychain's I/O error).
inline constexpr SecStatus errSecIO = -36;

// Generic-password items kept in one private JSON file of the user:
//   {"version": 1, "items": [{"attributes": {"class": "genp", "svce": ..., "acct": ..., ...}, "data": "<base64>"}]}
// An item is identified by its class, service and account (a missing service or account counts as ""); it also
// keeps its generic, access-group and accessibility attributes. Every attribute is a string; data is a binary
// `Value`. Keys of the maps that the store does not know are ignored.
//
// Lookups, updates and deletes select the items for which every one of class, service, account, generic and
// access group that the query holds equals the item's. The file is read once at construction; every change is
// written to a new file that replaces the old one (mode 0600, in a 0700 folder) and, when that fails, undone
// and answered with errSecIO. A file that cannot be read is moved aside to "<path>.corrupt" and the store
// starts empty. All operations may be called from any thread.
class LinuxSecureStore : public SecureStore {
 public:
  // `log` receives the line about an unreadable file; it may be empty.
  LinuxSecureStore(std::string path, std::shared_ptr<LogSink> log);

  SecStatus copyMatching(const Value& query, Value* result) override;
  SecStatus add(const Value& attributes) override;
  SecStatus update(const Value& query, const Value& attributesToUpdate) override;
  SecStatus deleteItems(const Value& query) override;

  const std::string& path() const { return path_; }

 private:
  struct Item {
    Value attributes;  // a map of the stored attributes, all strings
    Data data;
  };

  // The items of a file's text; nothing when the text is not such a file.
  static std::optional<std::vector<Item>> decode(const std::string& text);
  void load();
  // Writes `items` to the file; on success they become the store's items.
  SecStatus commitLocked(std::vector<Item> items);

  const std::string path_;
  std::shared_ptr<LogSink> log_;
  std::mutex mutex_;
  std::vector<Item> items_;  // in the order they were added
};

}  // namespace corvana
