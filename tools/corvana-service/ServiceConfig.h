#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

namespace corvana::service {

using Json = nlohmann::ordered_json;

// One account of the service, as configured:
//   {"secret": "s3cret", "sync": {...the sync answer...}, "test_tokens": ["T1"], "images_dir": "images"}
struct Account {
  std::string secret;
  Json sync;                          // answered as is by the sync endpoint
  std::set<std::string> testTokens;   // tokens accepted by the test-device registration
  std::filesystem::path imagesDir;    // absolute; empty when the account serves no images
};

// {"accounts": {"<account id>": {...}}}; relative image folders are taken from `baseDir`.
struct ServiceConfig {
  std::map<std::string, Account> accounts;

  // Throws std::invalid_argument with a readable message when the JSON does not have this shape.
  static ServiceConfig fromJson(const Json& json, const std::filesystem::path& baseDir);
  static ServiceConfig fromFile(const std::filesystem::path& file);
  // Account "acme" with secret "s3cret", the configuration used when none is given.
  static Json defaultJson();

  const Account* find(const std::string& account) const;
};

}  // namespace corvana::service
