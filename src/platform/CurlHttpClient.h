#pragma once

// The Linux HTTP client: libcurl behind the platform's `HttpClient`. This header stays free of curl; the
// implementation file is the only one in the SDK that includes it.
//
// Data tasks share one curl multi handle, driven by one worker thread that starts with the first task. Every
// completion runs on that worker thread, exactly once per task: never on the caller's thread, never on the
// main queue. A completion must therefore not wait for the completion of another data task (it would wait for
// itself); it may start new tasks. Destroying the client completes every task still in flight with
// NSURLErrorCancelled (-999) and joins the worker.
//
// Certificates are always verified, for data tasks and fetches alike; nothing in a request or a response can
// turn that off. A CA file, when given, replaces the system's trust store. Proxy settings of the environment are
// ignored. Data tasks do not follow redirects (the 3xx answer is the response); `fetch` does.
//
// Transport failures become errors of NSURLErrorDomain:
//   couldn't resolve host              -1003  A server with the specified hostname could not be found.
//   couldn't connect                   -1004  Could not connect to the server.
//   operation timed out                -1001  The request timed out.
//   peer verification, unknown issuer  -1202  The certificate for this server is invalid.
//   other TLS failures                 -1200  An SSL error has occurred and a secure connection to the server
//                                             cannot be made.
//   send/receive error, partial answer,
//   empty reply                        -1005  The network connection was lost.
//   malformed URL, unsupported scheme  -1000  unsupported URL
//   anything else                      -1     curl's own description
// On failure the completion receives neither body nor response. On success the body is present, possibly
// empty, whatever the status code.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvana/platform.h"

namespace corvana {

class CurlHttpClient final : public HttpClient {
 public:
  // `caFile`: PEM file of trusted certificates, empty for the system's store. `resolve`: "HOST:PORT:ADDRESS"
  // entries that bypass name resolution for those hosts.
  CurlHttpClient(std::string caFile, std::vector<std::string> resolve);
  ~CurlHttpClient() override;
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;

  void dataTask(const HttpRequest& request, HttpCompletion completion) override;
  // Blocks the caller on a transfer of its own; follows up to 10 redirects, waits at most 60 seconds. Empty
  // on any failure and on a final status outside 200-299.
  std::optional<Data> fetch(const std::string& url) override;

 private:
  class Engine;
  std::shared_ptr<Engine> engine_;
};

// The URL-loading error of that code, with the platform's description of it. Codes without a description of
// their own take `fallbackDescription`.
Error makeURLError(int code, const std::string& fallbackDescription = "");

}  // namespace corvana
