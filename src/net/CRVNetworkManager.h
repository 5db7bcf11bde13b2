#pragma once

// Every HTTPS request of the SDK to the service: a GET of a JSON document (configuration sync) and a POST of a
// JSON body (reports, test-device registration). Both address "https://<account>.<service domain>/<path>",
// carry the SDK's identification headers and judge the service's envelope: a JSON object whose "success" is
// true is handed to the completion whole; anything else ends in a log line and a null Value.
//
// Completions run on the HTTP client's thread, never on the main thread. A completion may be called more than
// once with null for one request (no base URL, a 304, an unreadable body): callers must tolerate that.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "corvana/dispatch.h"
#include "corvana/platform.h"
#include "corvana/value.h"

namespace corvana {

class CRVNetworkManager {
 public:
  // Receives the decoded document, or a null Value for nothing.
  using Completion = std::function<void(const Value&)>;

  static CRVNetworkManager& sharedInstance();

  CRVNetworkManager(const CRVNetworkManager&) = delete;
  CRVNetworkManager& operator=(const CRVNetworkManager&) = delete;

  // "https://<account>.<service domain>/<endpoint>", the endpoint appended as given (query included). Empty,
  // after a log line, when no account identifier is stored.
  std::optional<std::string> getBaseUrlWithEndPoint(const std::string& endpoint);

  // GET, time-out `timeoutInterval`. Stores the answer's entity tag under "crvn.Etag" on success.
  void getDataFromTheEndpointWithBlock(const std::string& endpoint, Completion completion);
  // POST of the given JSON bytes, time-out 10 s. Returns at once; the HTTP status is not looked at.
  void postDataSyncToTheEndpointWithBlock(const Data& body, const std::string& endpoint, Completion completion);

  // The identification headers, in this order: "lc", "tz", "p", "sec", "sdkvr", "appbd", "appver", "uuid",
  // "tduuid". A value that is missing (an uninitialised app secret, an empty identifier) is not set.
  void setHeaders(HttpRequest& request);

  // Logs "CorvanaSDK-<message>" for a transport error: the app's translation of a connectivity text for
  // "offline", "cannot connect" and "cannot find host", the error's own description otherwise. Nothing for none.
  void printErrorMessage(const std::optional<Error>& error);

  // Seconds a GET waits for the service; 10 unless set.
  int64_t timeoutInterval() const { return timeoutInterval_.load(); }
  void setTimeoutInterval(int64_t seconds) { timeoutInterval_.store(seconds); }

  // A serial queue kept for the class's interface; nothing is submitted to it.
  DispatchQueue& lorrowRequestQueue() { return *_lorrowRequestQueue; }

 private:
  CRVNetworkManager();
  ~CRVNetworkManager() = default;

  std::unique_ptr<DispatchQueue> _lorrowRequestQueue;
  std::atomic<int64_t> timeoutInterval_{10};
  // The manager's monitor: request set-up and error printing.
  std::recursive_mutex monitor_;
};

}  // namespace corvana
