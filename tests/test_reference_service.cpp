// The reference service as the SDK meets it: over HTTPS on 127.0.0.1, routed by the Host header and checked by the
// "sec" header.

#include <gtest/gtest.h>

#include "support/ServiceProcess.h"

namespace corvana::test {
namespace {

class ReferenceServiceTest : public ::testing::Test {
 protected:
  httplib::Headers headers(const std::string& account = "acme", const std::string& secret = "s3cret") {
    httplib::Headers result{{"Host", service.hostFor(account)}};
    if (!secret.empty()) result.emplace("sec", secret);
    return result;
  }
  httplib::Result get(const std::string& path, const httplib::Headers& hdrs) { return cli->Get(path.c_str(), hdrs); }
  static Value json(const httplib::Result& res) { return Value::parse(res->body); }

  TempDir dir;
  ServiceProcess service{dir.path()};
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

// Each fault is asserted by the tests that use it (the network manager's, the round trips', the fault tests); a
// fault the service cannot apply is refused.
TEST_F(ReferenceServiceTest, RefusesFaultsItCannotApply) {
  EXPECT_EQ(400, cli->Post("/__admin/faults", R"({"paths": "("})", "application/json")->status);
  EXPECT_EQ(400, cli->Post("/__admin/faults", R"({"status": "500"})", "application/json")->status);
}

}  // namespace
}  // namespace corvana::test
