#include "platform/CurlHttpClient.h"

#include <curl/curl.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>

namespace corvana {

namespace {

constexpr long kFetchMaxRedirects = 10;
constexpr long kFetchTimeoutMs = 60000;
// Longest sleep of the worker between two looks at its transfers; curl's own timers and new tasks wake it
// sooner.
constexpr int kIdlePollMs = 1000;
// Report bodies and answers are large and short-lived; after this many transfers the worker hands the freed heap
// back to the system once nothing is in flight.
constexpr int kTrimAfterTransfers = 8;
constexpr const char* kAllowedProtocols = "http,https";
// Like the platform's URL session: a few connections per host; further tasks wait inside curl for one.
constexpr long kMaxConnectionsPerHost = 6;

// ---- Errors ---------------------------------------------------------------------------------------------------

struct URLErrorText {
  int code;
  const char* description;
};

// The platform's descriptions of the URL-loading errors the client reports. -1009 has no curl code of its own
// (an interface that is down shows up as "couldn't connect"), but hosts and test doubles report it.
constexpr URLErrorText kURLErrorTexts[] = {
    {NSURLErrorCancelled, "cancelled"},
    {NSURLErrorBadURL, "unsupported URL"},
    {NSURLErrorTimedOut, "The request timed out."},
    {NSURLErrorUnsupportedURL, "unsupported URL"},
    {NSURLErrorCannotFindHost, "A server with the specified hostname could not be found."},
    {NSURLErrorCannotConnectToHost, "Could not connect to the server."},
    {NSURLErrorNetworkConnectionLost, "The network connection was lost."},
    {NSURLErrorNotConnectedToInternet, "The Internet connection appears to be offline."},
    {NSURLErrorBadServerResponse, "bad server response"},
    {NSURLErrorSecureConnectionFailed,
     "An SSL error has occurred and a secure connection to the server cannot be made."},
    {NSURLErrorServerCertificateUntrusted, "The certificate for this server is invalid."},
};

int urlErrorCodeFor(CURLcode code) {
  switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
      return NSURLErrorBadURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NSURLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return NSURLErrorCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return NSURLErrorTimedOut;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return NSURLErrorServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CLIENTCERT:
    case CURLE_USE_SSL_FAILED:
      return NSURLErrorSecureConnectionFailed;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
      return NSURLErrorNetworkConnectionLost;
    default:
      return NSURLErrorUnknown;
  }
}

Error errorForCurlResult(CURLcode code, const char* detail) {
  const std::string curlText = detail && detail[0] != '\0' ? detail : curl_easy_strerror(code);
  return makeURLError(urlErrorCodeFor(code), curlText);
}

Error cancelledError() { return makeURLError(NSURLErrorCancelled); }

// ---- Per-transfer state ---------------------------------------------------------------------------------------

void initializeCurlOnce() {
  static std::once_flag once;
  // Never undone: transfers may still be running on other threads while the process exits.
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n')) {
    text.remove_suffix(1);
  }
  return text;
}

// Collects the header fields of the last response, in the order received. A status line starts a new response
// (an interim 100 Continue, or the next hop of a redirect), so only the final one's fields remain.
size_t onHeaderLine(char* data, size_t size, size_t count, void* user) {
  auto& headers = static_cast<HttpResponse*>(user)->headers;
  const size_t length = size * count;
  std::string_view line(data, length);
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.remove_suffix(1);
  if (line.empty()) return length;
  if (line.starts_with("HTTP/")) {
    headers.clear();
    return length;
  }
  if (line.front() == ' ' || line.front() == '\t') {  // continuation of a folded field
    if (!headers.empty()) {
      headers.back().second += ' ';
      headers.back().second += trim(line);
    }
    return length;
  }
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) return length;
  headers.emplace_back(std::string(trim(line.substr(0, colon))), std::string(trim(line.substr(colon + 1))));
  return length;
}

size_t onBodyBytes(char* data, size_t size, size_t count, void* user) {
  auto& body = *static_cast<Data*>(user);
  const size_t length = size * count;
  body.insert(body.end(), reinterpret_cast<const uint8_t*>(data), reinterpret_cast<const uint8_t*>(data) + length);
  return length;
}

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;
using Slist = std::unique_ptr<curl_slist, SlistDeleter>;

// Appends to a list, keeping the list intact (and answering false) when curl is out of memory.
bool append(Slist& list, const std::string& entry) {
  curl_slist* grown = curl_slist_append(list.get(), entry.c_str());
  if (!grown) return false;
  (void)list.release();
  list.reset(grown);
  return true;
}

// One transfer and everything curl reads or writes while it runs; it stays at one address until it ends.
struct Transfer {
  Slist headerList;
  Data requestBody;
  Data responseBody;
  HttpResponse response;
  HttpCompletion completion;
  char errorBuffer[CURL_ERROR_SIZE] = {};
  CURLcode setupResult = CURLE_OK;
  // Declared last so that it is cleaned up first, before the buffers and lists it points to.
  EasyHandle easy{curl_easy_init()};

  void complete(const std::optional<Data>& body, const std::optional<HttpResponse>& answer,
                const std::optional<Error>& error) {
    if (!completion) return;
    HttpCompletion once = std::move(completion);
    completion = nullptr;
    try {
      once(body, answer, error);
    } catch (...) {
      // A completion that throws must not take the transfer engine, and every other task, down with it.
    }
  }

  void finish(CURLcode result) {
    if (result != CURLE_OK) {
      complete(std::nullopt, std::nullopt, errorForCurlResult(result, errorBuffer));
      return;
    }
    long status = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    response.statusCode = static_cast<int>(status);
    complete(std::move(responseBody), std::move(response), std::nullopt);
  }
};

}  // namespace

Error makeURLError(int code, const std::string& fallbackDescription) {
  for (const auto& entry : kURLErrorTexts) {
    if (entry.code == code) return Error{NSURLErrorDomain, code, entry.description};
  }
  return Error{NSURLErrorDomain, code, fallbackDescription};
}

// ---- The engine -----------------------------------------------------------------------------------------------

// Shared by the client and its worker thread, so that a client released from inside one of its own completions
// leaves the worker something valid to finish with.
class CurlHttpClient::Engine : public std::enable_shared_from_this<Engine> {
 public:
  Engine(std::string caFile, const std::vector<std::string>& resolve) : caFile_(std::move(caFile)) {
    initializeCurlOnce();
    multi_ = curl_multi_init();
    if (multi_) {
      curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, kMaxConnectionsPerHost);
    } else {
      finished_ = true;  // curl cannot run transfers: every task ends at once, cancelled
    }
    for (const auto& entry : resolve) append(resolve_, entry);
  }

  ~Engine() {
    // Every easy handle was removed and cleaned up by the worker before it ended.
    if (multi_) curl_multi_cleanup(multi_);
  }

  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // The settings every transfer shares: verification, trust store, overrides, protocols, collectors.
  CURLcode configureCommon(CURL* easy, const std::string& url, char* errorBuffer, HttpResponse* response,
                           Data* body) const {
    CURLcode result = curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorBuffer);
    auto then = [&result](CURLcode next) {
      if (result == CURLE_OK) result = next;
    };
    then(curl_easy_setopt(easy, CURLOPT_URL, url.c_str()));
    then(curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L));
    then(curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, kAllowedProtocols));
    then(curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, kAllowedProtocols));
    // The SDK reads no environment variable: an empty proxy overrides http_proxy and friends.
    then(curl_easy_setopt(easy, CURLOPT_PROXY, ""));
    then(curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L));
    then(curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L));
    if (!caFile_.empty()) {
      then(curl_easy_setopt(easy, CURLOPT_CAINFO, caFile_.c_str()));
      then(curl_easy_setopt(easy, CURLOPT_CAPATH, static_cast<const char*>(nullptr)));
    }
    if (resolve_) then(curl_easy_setopt(easy, CURLOPT_RESOLVE, resolve_.get()));
    then(curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, onHeaderLine));
    then(curl_easy_setopt(easy, CURLOPT_HEADERDATA, response));
    then(curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, onBodyBytes));
    then(curl_easy_setopt(easy, CURLOPT_WRITEDATA, body));
    return result;
  }

  std::unique_ptr<Transfer> makeTransfer(const HttpRequest& request, HttpCompletion completion) const {
    auto transfer = std::make_unique<Transfer>();
    transfer->completion = std::move(completion);
    transfer->requestBody = request.body;
    CURL* easy = transfer->easy.get();
    if (!easy) {
      transfer->setupResult = CURLE_OUT_OF_MEMORY;
      return transfer;
    }
    CURLcode result =
        configureCommon(easy, request.url, transfer->errorBuffer, &transfer->response, &transfer->responseBody);
    auto then = [&result](CURLcode next) {
      if (result == CURLE_OK) result = next;
    };
    if (request.timeoutSeconds > 0) {
      // At least a millisecond, at most about 24 days (curl counts in a long; some are 32 bits wide).
      const long timeoutMs = std::lround(std::clamp(request.timeoutSeconds * 1000.0, 1.0, 2147483647.0));
      then(curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeoutMs));
    }

    // A body goes out as given, whatever the method; an empty one is sent as zero bytes, never read from stdin.
    static const char kNoBytes[] = "";
    const char* bodyBytes =
        transfer->requestBody.empty() ? kNoBytes : reinterpret_cast<const char*>(transfer->requestBody.data());
    const auto bodySize = static_cast<curl_off_t>(transfer->requestBody.size());
    if (request.method == "GET") {
      then(curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L));
    } else if (request.method == "HEAD") {
      then(curl_easy_setopt(easy, CURLOPT_NOBODY, 1L));
    } else {
      if (request.method != "POST") then(curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str()));
      if (request.method == "POST" || !transfer->requestBody.empty()) {
        then(curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, bodySize));
        then(curl_easy_setopt(easy, CURLOPT_POSTFIELDS, bodyBytes));
      }
    }

    // The request's fields in their order. An empty value is sent as an empty field ("Name;" in curl's
    // syntax); a field with a line break in it is left out rather than split into two; no
    // "Expect: 100-continue" is added unless the request asks for it.
    bool listComplete = true;
    for (const auto& [name, value] : request.headers) {
      if ((name + value).find_first_of("\r\n") != std::string::npos) continue;
      listComplete = listComplete && append(transfer->headerList, value.empty() ? name + ";" : name + ": " + value);
    }
    if (!request.valueForHTTPHeaderField("Expect")) {
      listComplete = listComplete && append(transfer->headerList, "Expect:");
    }
    if (!listComplete) then(CURLE_OUT_OF_MEMORY);
    then(curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer->headerList.get()));
    // No response cache exists below this client, so every request already reloads from the origin.
    transfer->setupResult = result;
    return transfer;
  }

  void submit(std::unique_ptr<Transfer> transfer) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (!finished_) {
        pending_.push_back(std::move(transfer));
        // While shutting down, the worker that is still running cancels what arrives; none is started anew.
        if (!worker_.joinable() && !stopping_) {
          worker_ = std::thread([self = shared_from_this()] { self->run(); });
        }
      }
    }
    if (transfer) {
      // The engine has already shut down: only a task started while the client is being destroyed gets here.
      transfer->complete(std::nullopt, std::nullopt, cancelledError());
      return;
    }
    curl_multi_wakeup(multi_);
  }

  // Cancels what is in flight and lets the worker end: joined, or left to end by itself when the client is
  // released by one of its own completions.
  void shutdown() {
    std::thread worker;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
      worker = std::move(worker_);
      // No worker ever started, so no task was ever submitted: nothing to cancel.
      if (!worker.joinable()) finished_ = true;
    }
    if (!worker.joinable()) return;
    curl_multi_wakeup(multi_);
    if (worker.get_id() == std::this_thread::get_id()) {
      worker.detach();
    } else {
      worker.join();
    }
  }

  std::optional<Data> fetch(const std::string& url) const {
    EasyHandle easy(curl_easy_init());
    if (!easy) return std::nullopt;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    HttpResponse response;
    Data body;
    CURLcode result = configureCommon(easy.get(), url, errorBuffer, &response, &body);
    auto then = [&result](CURLcode next) {
      if (result == CURLE_OK) result = next;
    };
    then(curl_easy_setopt(easy.get(), CURLOPT_FOLLOWLOCATION, 1L));
    then(curl_easy_setopt(easy.get(), CURLOPT_MAXREDIRS, kFetchMaxRedirects));
    then(curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, kFetchTimeoutMs));
    if (result != CURLE_OK || curl_easy_perform(easy.get()) != CURLE_OK) return std::nullopt;
    long status = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status > 299) return std::nullopt;
    return body;
  }

 private:
  void run() {
    for (;;) {
      std::vector<std::unique_ptr<Transfer>> incoming;
      bool stopping = false;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        incoming.swap(pending_);
        stopping = stopping_;
      }
      if (stopping) {
        for (auto& transfer : incoming) transfer->complete(std::nullopt, std::nullopt, cancelledError());
        cancelAll();
        return;
      }
      for (auto& transfer : incoming) start(std::move(transfer));

      int running = 0;
      curl_multi_perform(multi_, &running);
      int queued = 0;
      while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
        if (message->msg != CURLMSG_DONE) continue;
        CURL* easy = message->easy_handle;
        const CURLcode result = message->data.result;  // read before the handle leaves the multi handle
        curl_multi_remove_handle(multi_, easy);
        auto found = active_.find(easy);
        if (found == active_.end()) continue;
        std::unique_ptr<Transfer> transfer = std::move(found->second);
        active_.erase(found);
        transfer->finish(result);
        ++finishedSinceTrim_;
      }
      if (active_.empty() && finishedSinceTrim_ >= kTrimAfterTransfers) {
        ::malloc_trim(0);
        finishedSinceTrim_ = 0;
      }
      curl_multi_poll(multi_, nullptr, 0, kIdlePollMs, nullptr);
    }
  }

  void start(std::unique_ptr<Transfer> transfer) {
    if (transfer->setupResult != CURLE_OK) {
      transfer->finish(transfer->setupResult);
      return;
    }
    CURL* easy = transfer->easy.get();
    const CURLMcode added = curl_multi_add_handle(multi_, easy);
    if (added != CURLM_OK) {
      transfer->complete(std::nullopt, std::nullopt, makeURLError(NSURLErrorUnknown, curl_multi_strerror(added)));
      return;
    }
    active_.emplace(easy, std::move(transfer));
  }

  // On the worker, at shutdown: every transfer in flight, and every task its cancellation starts, ends cancelled.
  void cancelAll() {
    for (auto& [easy, transfer] : active_) curl_multi_remove_handle(multi_, easy);
    auto active = std::move(active_);
    active_.clear();
    for (auto& [easy, transfer] : active) transfer->complete(std::nullopt, std::nullopt, cancelledError());
    for (;;) {
      std::vector<std::unique_ptr<Transfer>> late;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (pending_.empty()) {
          finished_ = true;
          return;
        }
        late.swap(pending_);
      }
      for (auto& transfer : late) transfer->complete(std::nullopt, std::nullopt, cancelledError());
    }
  }

  const std::string caFile_;
  Slist resolve_;
  CURLM* multi_ = nullptr;

  std::mutex mutex_;
  std::vector<std::unique_ptr<Transfer>> pending_;
  bool stopping_ = false;
  bool finished_ = false;
  std::thread worker_;

  // Only the worker thread touches these.
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> active_;
  int finishedSinceTrim_ = 0;  // the worker's own count
};

// ---- The client -----------------------------------------------------------------------------------------------

CurlHttpClient::CurlHttpClient(std::string caFile, std::vector<std::string> resolve)
    : engine_(std::make_shared<Engine>(std::move(caFile), resolve)) {}

CurlHttpClient::~CurlHttpClient() { engine_->shutdown(); }

void CurlHttpClient::dataTask(const HttpRequest& request, HttpCompletion completion) {
  engine_->submit(engine_->makeTransfer(request, std::move(completion)));
}

std::optional<Data> CurlHttpClient::fetch(const std::string& url) { return engine_->fetch(url); }

}  // namespace corvana
