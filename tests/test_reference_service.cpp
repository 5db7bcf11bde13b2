// The reference service as the SDK meets it: over HTTPS on 127.0.0.1, routed by the Host header, checked by the
// "sec" header, storing reports line by line, and misbehaving on demand.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "support/ServiceProcess.h"

namespace corvana::test {
namespace {

namespace fs = std::filesystem;

class ReferenceServiceTest : public ::testing::Test {
 protected:
  static std::string makeDir() {
    std::string pattern = (fs::temp_directory_path() / "corvana-service-XXXXXX").string();
    return mkdtemp(pattern.data());
  }
  void TearDown() override {
    service.stop();
    fs::remove_all(dir);
  }

  httplib::Headers headers(const std::string& account = "acme", const std::string& secret = "s3cret") {
    httplib::Headers result{{"Host", service.hostFor(account)}};
    if (!secret.empty()) result.emplace("sec", secret);
    return result;
  }
  httplib::Result get(const std::string& path, const httplib::Headers& hdrs) { return cli->Get(path.c_str(), hdrs); }
  httplib::Result get(const std::string& path) { return get(path, headers()); }
  httplib::Result report(const std::string& body, const std::string& path = "/report/events/") {
    return cli->Post(path.c_str(), headers(), body, "application/json");
  }
  static Value json(const httplib::Result& res) { return Value::parse(res->body); }

  std::string dir = makeDir();
  ServiceProcess service{dir};
  std::unique_ptr<httplib::SSLClient> cli = service.client();
};

const Value kSync = Value::parse(ServiceProcess::defaultConfig())["accounts"]["acme"]["sync"];

TEST_F(ReferenceServiceTest, RoutesByHostAndChecksTheSecret) {
  struct Case {
    const char* what;
    std::string account, secret, path;
    int status;
    Value body;
  };
  const Value unknown = {{"success", false}, {"error_message", "Unknown account"}};
  const Value invalid = {{"success", false}, {"error_message", "Invalid app secret"}};
  const std::vector<Case> cases = {
      {"known account and secret", "acme", "s3cret", "/api/v1/sync/s3cret?lst=0", 200, kSync},
      {"unknown account", "nobody", "s3cret", "/api/v1/sync/s3cret?lst=0", 404, unknown},
      {"host without account label", "127", "s3cret", "/api/v1/sync/s3cret", 404, unknown},
      {"wrong sec header", "acme", "guess", "/api/v1/sync/s3cret?lst=0", 200, invalid},
      {"no sec header, wrong secret in the path", "acme", "", "/api/v1/sync/guess?lst=0", 200, invalid},
      {"wrong secret in the sync path", "acme", "s3cret", "/api/v1/sync/guess?lst=0", 200, invalid},
      {"report without sec", "acme", "", "/report/events/", 200, invalid},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto res = c.path.starts_with("/report") ? cli->Post(c.path.c_str(), headers(c.account, c.secret), "{}", "a/b")
                                             : get(c.path, headers(c.account, c.secret));
    ASSERT_TRUE(res);
    EXPECT_EQ(c.status, res->status);
    EXPECT_EQ(c.body, json(res));
  }
  const Value last = service.requests()["requests"].back();
  EXPECT_EQ("POST", last["method"]);
  EXPECT_EQ(service.hostFor("acme"), last["host"]);
  EXPECT_FALSE(last["headers"].contains("sec"));
}

TEST_F(ReferenceServiceTest, FaultsChangeTheAnswersTheyApplyTo) {
  service.setFaults({{"status", 503}, {"paths", "^/api/v1/sync"}});
  auto statusOnly = get("/api/v1/sync/s3cret");
  EXPECT_EQ(503, statusOnly->status);
  EXPECT_EQ(kSync, json(statusOnly));  // the normal body
  EXPECT_EQ(200, report("{}")->status);  // a path the fault does not match

  service.setFaults({{"broken_body", true}});
  auto broken = report("{}");
  EXPECT_EQ(200, broken->status);
  EXPECT_EQ("{\"success\": tru", broken->body);

  service.setFaults({{"close", true}, {"times", 2}});
  for (int i = 0; i < 2; ++i) {
    auto dropped = get("/api/v1/sync/s3cret");
    ASSERT_FALSE(dropped);
    EXPECT_EQ(httplib::Error::Read, dropped.error());
  }
  EXPECT_EQ(200, get("/api/v1/sync/s3cret")->status);  // "times" ran out

  service.setFaults({{"delay_ms", 300}});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(200, get("/api/v1/sync/s3cret")->status);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));

  service.setFaults({{"status", 500}});
  service.clearFaults();
  EXPECT_EQ(200, get("/api/v1/sync/s3cret")->status);
  EXPECT_EQ(1u, service.received("acme")["events"].size());  // only the undisturbed report was stored

  EXPECT_EQ(400, cli->Post("/__admin/faults", R"({"paths": "("})", "application/json")->status);
  EXPECT_EQ(400, cli->Post("/__admin/faults", R"({"status": "500"})", "application/json")->status);
}

}  // namespace
}  // namespace corvana::test
