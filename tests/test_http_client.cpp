// The Linux HTTP client against the reference service: how transport failures read, and that every task completes
// exactly once, off the main thread, even when the client goes away. What goes out and comes back is checked
// through the network manager; tasks started from many host threads, by the stress test.

#include <gtest/gtest.h>

#include <map>

#include "platform/CurlHttpClient.h"
#include "support/ServiceProcess.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

struct Outcome {
  std::optional<Data> body;
  std::optional<HttpResponse> response;
  std::optional<Error> error;
  bool onMainThread = false;
};

// Collects completions by task number; `waitFor(0)` answers those in so far.
struct Completions {
  HttpCompletion forTask(int task) {
    return [this, task](const auto& body, const auto& response, const auto& error) {
      std::lock_guard<std::mutex> lock(mutex);
      outcomes.emplace(task, Outcome{body, response, error, Platform::current().mainQueue->isMainThread()});
      changed.notify_all();
    };
  }
  std::multimap<int, Outcome> waitFor(size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(30), [&] { return outcomes.size() >= count; });
    return outcomes;
  }
  std::mutex mutex;
  std::condition_variable changed;
  std::multimap<int, Outcome> outcomes;
};

class HttpClientTest : public ::testing::Test {
 protected:
  void SetUp() override { test::installTestPlatform(); }  // this thread becomes the main thread

  std::unique_ptr<CurlHttpClient> client(bool trustService = true) {
    return std::make_unique<CurlHttpClient>(trustService ? service.caFile() : "",
                                            std::vector<std::string>{service.resolveFor("acme")});
  }
  HttpRequest request(const std::string& path, const std::string& method = "GET", const std::string& body = "") {
    return {service.baseUrl("acme") + path, method, {{"sec", "s3cret"}}, Data(body.begin(), body.end())};
  }

  test::TempDir dir;
  test::ServiceProcess service{dir.path()};
};

TEST_F(HttpClientTest, TransportFailuresBecomeURLErrors) {
  struct Case {
    const char* name;
    Value fault;
    const char* url;  // null: the sync endpoint
    bool trustService;
    int code;
    const char* description;
  } cases[] = {
      {"refused", nullptr, "https://127.0.0.1:1/", true, -1004, "Could not connect to the server."},
      {"unknown CA", nullptr, nullptr, false, -1202, "The certificate for this server is invalid."},
      {"time-out", {{"delay_ms", 3000}, {"times", 1}}, nullptr, true, -1001, "The request timed out."},
      {"scheme", nullptr, "ftp://127.0.0.1/", true, -1000, "unsupported URL"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (!c.fault.is_null()) service.setFaults(c.fault);
    HttpRequest made = request("api/v1/sync/s3cret");
    if (c.url) made.url = c.url;
    made.timeoutSeconds = 1;
    Completions done;
    auto http = client(c.trustService);
    http->dataTask(made, done.forTask(0));
    const Outcome outcome = done.waitFor(1).begin()->second;
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(NSURLErrorDomain, outcome.error->domain);
    EXPECT_EQ(c.code, outcome.error->code);
    EXPECT_EQ(c.description, outcome.error->localizedDescription);
    EXPECT_FALSE(outcome.response || outcome.body || outcome.onMainThread);
  }
  // A blocking fetch (redirects and failures: the resource cache's tests) trusts no more than a task.
  EXPECT_FALSE(client(false)->fetch(service.baseUrl("acme") + "api/v1/sync/s3cret"));
}

TEST_F(HttpClientTest, DestroyingTheClientEndsEveryTaskFirst) {
  service.setFaults({{"delay_ms", 5000}, {"paths", "/report/"}});
  Completions done;
  auto http = client();
  for (int task = 0; task < 5; ++task) http->dataTask(request("report/events/", "POST", "{}"), done.forTask(task));
  http->dataTask(request("api/v1/sync/s3cret"), done.forTask(5));
  done.waitFor(1);  // the sync answers at once; the reports are held back
  http.reset();
  const auto outcomes = done.waitFor(0);  // the destructor returns only after every completion
  ASSERT_EQ(6u, outcomes.size());
  for (int task = 0; task < 5; ++task) {
    const Outcome& outcome = outcomes.find(task)->second;
    EXPECT_TRUE(outcome.error && outcome.error->code == NSURLErrorCancelled && !outcome.onMainThread) << task;
  }

  // Released from inside its own completion, the client neither deadlocks nor leaks.
  std::shared_ptr<CurlHttpClient> shared = client();
  Completions last;
  shared->dataTask(request("api/v1/sync/s3cret"),
                   [released = shared, then = last.forTask(0)](const auto&... outcome) mutable {
                     released.reset();
                     then(outcome...);
                   });
  shared.reset();
  EXPECT_EQ(200, last.waitFor(1).begin()->second.response->statusCode);
}

}  // namespace
}  // namespace corvana
