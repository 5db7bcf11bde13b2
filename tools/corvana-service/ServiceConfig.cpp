#include "corvana-service/ServiceConfig.h"

#include <fstream>
#include <stdexcept>

namespace corvana::service {

ServiceConfig ServiceConfig::fromJson(const Json& json, const std::filesystem::path& baseDir) {
  if (!json.is_object() || !json.contains("accounts") || !json["accounts"].is_object()) {
    throw std::invalid_argument("the configuration needs an \"accounts\" object");
  }
  ServiceConfig config;
  for (const auto& [id, value] : json["accounts"].items()) {
    if (!value.is_object() || !value.contains("secret") || !value["secret"].is_string()) {
      throw std::invalid_argument("account \"" + id + "\" needs a string \"secret\"");
    }
    Account account;
    account.secret = value["secret"].get<std::string>();
    account.sync = value.value("sync", Json{{"success", true}});
    if (value.contains("test_tokens")) {
      if (!value["test_tokens"].is_array()) {
        throw std::invalid_argument("\"test_tokens\" of account \"" + id + "\" must be an array of strings");
      }
      for (const auto& token : value["test_tokens"]) {
        if (!token.is_string()) {
          throw std::invalid_argument("\"test_tokens\" of account \"" + id + "\" must be an array of strings");
        }
        account.testTokens.insert(token.get<std::string>());
      }
    }
    if (value.contains("images_dir")) {
      if (!value["images_dir"].is_string()) {
        throw std::invalid_argument("\"images_dir\" of account \"" + id + "\" must be a string");
      }
      account.imagesDir = std::filesystem::absolute(baseDir / value["images_dir"].get<std::string>());
    }
    config.accounts.emplace(id, std::move(account));
  }
  return config;
}

ServiceConfig ServiceConfig::fromFile(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) throw std::invalid_argument("cannot read " + file.string());
  const Json json = Json::parse(in, nullptr, false);
  if (json.is_discarded()) throw std::invalid_argument(file.string() + " is not valid JSON");
  return fromJson(json, file.parent_path());
}

Json ServiceConfig::defaultJson() {
  return Json::parse(R"({"accounts": {"acme": {"secret": "s3cret", "test_tokens": ["T1"], "images_dir": "images",
    "sync": {"success": true, "lst": 1700000000,
             "config": {"syncTimeOut": 3600, "secure_mode": false, "test_device": false}, "inapp": []}}}})");
}

const Account* ServiceConfig::find(const std::string& account) const {
  const auto it = accounts.find(account);
  return it == accounts.end() ? nullptr : &it->second;
}

}  // namespace corvana::service
