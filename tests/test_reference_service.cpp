// The reference service as the SDK meets it: over HTTPS on 127.0.0.1, routed by the Host header and checked by the
// "sec" header. Its faults are asserted by the tests that use them.

#include <gtest/gtest.h>

#include "support/ServiceProcess.h"

namespace corvana::test {
namespace {

TEST(ReferenceService, RoutesByHostAndChecksTheSecret) {
  TempDir dir;
  ServiceProcess service{dir.path()};
  auto cli = service.client();
  struct Case {
    const char* what;
    std::string account, secret, path;
    int status;
    Value body;
  };
  const Value unknown = {{"success", false}, {"error_message", "Unknown account"}};
  const Value invalid = {{"success", false}, {"error_message", "Invalid app secret"}};
  const Value sync = Value::parse(ServiceProcess::defaultConfig())["accounts"]["acme"]["sync"];
  const Case cases[] = {
      {"known account and secret", "acme", "s3cret", "/api/v1/sync/s3cret?lst=0", 200, sync},
      {"unknown account", "nobody", "s3cret", "/api/v1/sync/s3cret?lst=0", 404, unknown},
      {"wrong sec header", "acme", "guess", "/api/v1/sync/s3cret?lst=0", 200, invalid},
      {"wrong secret in the sync path", "acme", "s3cret", "/api/v1/sync/guess?lst=0", 200, invalid},
      {"report without sec", "acme", "", "/report/events/", 200, invalid},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    httplib::Headers headers{{"Host", service.hostFor(c.account)}};
    if (!c.secret.empty()) headers.emplace("sec", c.secret);
    auto res = c.path.starts_with("/report") ? cli->Post(c.path.c_str(), headers, "{}", "a/b")
                                             : cli->Get(c.path.c_str(), headers);
    ASSERT_TRUE(res);
    EXPECT_EQ(c.status, res->status);
    EXPECT_EQ(c.body, Value::parse(res->body));
  }
}

}  // namespace
}  // namespace corvana::test
