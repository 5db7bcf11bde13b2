#include "corvana-service/ReferenceService.h"

#include <httplib.h>
#include <openssl/evp.h>
#include <signal.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "corvana-service/Certificate.h"
#include "corvana-service/EventStore.h"
#include "corvana-service/Faults.h"

namespace corvana::service {
namespace {

using httplib::Request;
using httplib::Response;

constexpr size_t kRequestLogSize = 200;

// Who may call a route.
enum class Access {
  kSecret,   // a configured account (Host) whose "sec" header is its secret
  // The same, but the header may be missing: a device's first sync goes out before it holds the secret, which
  // then travels in the path instead (checked by the route).
  kSecretOrPath,
  kAccount,  // a configured account; no secret (the SDK fetches images without its headers)
  kAnyone,
};

Json failure(const std::string& message) { return {{"success", false}, {"error_message", message}}; }

void answer(Response& res, const Json& body, int status = 200) {
  res.status = status;
  res.set_content(body.dump(), "application/json");
}

// The account is the first label of the Host header: "acme.corvana.test:8443" -> "acme".
std::string accountOf(const Request& req) {
  const std::string host = req.get_header_value("Host");
  return host.substr(0, host.find_first_of(".:"));
}

// The request headers as received; the pseudo-headers cpp-httplib adds (REMOTE_ADDR ...) are left out.
Json headersOf(const Request& req) {
  Json headers = Json::object();
  for (const auto& [name, value] : req.headers) {
    if (name != "REMOTE_ADDR" && name != "REMOTE_PORT" && name != "LOCAL_ADDR" && name != "LOCAL_PORT") {
      headers[name] = value;
    }
  }
  return headers;
}

// The lines of a newline-delimited body, each as received; a final line feed does not start another line.
std::vector<std::string> linesOf(const std::string& body) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < body.size()) {
    const size_t end = body.find('\n', start);
    if (end == std::string::npos) {
      lines.push_back(body.substr(start));
      break;
    }
    lines.push_back(body.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

std::string entityTag(const std::string& body) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(body.data(), body.size(), digest, &size, EVP_sha256(), nullptr);
  std::string hex;
  char byte[3];
  for (unsigned int i = 0; i < 16 && i < size; ++i) {
    std::snprintf(byte, sizeof byte, "%02x", digest[i]);
    hex += byte;
  }
  return "\"" + hex + "\"";
}

std::string contentTypeOf(const std::filesystem::path& file) {
  static const std::map<std::string, std::string> types = {
      {".png", "image/png"},   {".jpg", "image/jpeg"},      {".jpeg", "image/jpeg"},
      {".gif", "image/gif"},   {".webp", "image/webp"},     {".svg", "image/svg+xml"},
      {".bmp", "image/bmp"},   {".json", "application/json"}, {".txt", "text/plain"},
      {".html", "text/html"}};
  const auto it = types.find(file.extension().string());
  return it == types.end() ? "application/octet-stream" : it->second;
}

// Ends the TCP connection under the request at once: the client gets no answer at all, and the server's own
// attempt to write one fails quietly.
void dropConnection(const Request& req) {
  if (req.ssl != nullptr) ::shutdown(SSL_get_fd(req.ssl), SHUT_RDWR);
}

// The last requests, newest last: what the SDK really sent.
class RequestLog {
 public:
  void add(const Request& req) {
    const auto query = req.target.find('?');
    Json entry = {{"method", req.method},
                  {"path", req.target.substr(0, query)},
                  {"query", query == std::string::npos ? "" : req.target.substr(query + 1)},
                  {"host", req.get_header_value("Host")},
                  {"headers", headersOf(req)}};
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.push_back(std::move(entry));
    if (entries_.size() > kRequestLogSize) entries_.pop_front();
  }
  Json toJson() {
    std::lock_guard<std::mutex> lock(mutex_);
    return {{"requests", Json(entries_)}};
  }

 private:
  std::mutex mutex_;
  std::deque<Json> entries_;
};

}  // namespace

struct ReferenceService::Impl {
  using AccountHandler = std::function<void(const Request&, Response&, const std::string&, const Account&)>;

  explicit Impl(ServiceOptions opts)
      : options(std::move(opts)),
        configDir(options.configFile ? options.configFile->parent_path() : options.dir),
        config(std::make_shared<const ServiceConfig>(options.configFile
                                                         ? ServiceConfig::fromFile(*options.configFile)
                                                         : ServiceConfig::fromJson(ServiceConfig::defaultJson(),
                                                                                   options.dir))),
        store((std::filesystem::create_directories(options.dir), options.dir / "service.sqlite")) {
    if (options.certFile.empty() != options.keyFile.empty()) {
      throw std::invalid_argument("a certificate needs its key, and a key its certificate");
    }
    if (options.certFile.empty()) {
      certFile = std::filesystem::absolute(options.dir / "cert.pem").lexically_normal();
      keyFile = std::filesystem::absolute(options.dir / "key.pem").lexically_normal();
      makeSelfSignedCertificate(certFile, keyFile);
    } else {
      certFile = std::filesystem::absolute(options.certFile);
      keyFile = std::filesystem::absolute(options.keyFile);
    }
  }

  std::shared_ptr<const ServiceConfig> currentConfig() {
    std::lock_guard<std::mutex> lock(configMutex);
    return config;
  }

  // Wraps an account's route: the fault in force first, then the account and secret checks.
  httplib::Server::Handler route(Access access, AccountHandler handler) {
    return [this, access, handler = std::move(handler)](const Request& req, Response& res) {
      const std::optional<Fault> fault = faults.take(req.path);
      if (fault && fault->delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(fault->delayMs));
      if (fault && fault->close) return dropConnection(req);
      if (fault && fault->brokenBody) return res.set_content(kBrokenBody, "application/json");
      if (fault && fault->body) {
        // The service failed before it could serve the request: nothing is stored.
        res.status = fault->status != 0 ? fault->status : 200;
        return res.set_content(*fault->body, "text/plain");
      }
      serve(access, handler, req, res);
      if (fault && fault->status != 0) res.status = fault->status;
      if (fault && fault->padBytes > 0) pad(res, static_cast<size_t>(fault->padBytes));
      if (fault && fault->cutBody) cut(res);
    };
  }

  static void pad(Response& res, size_t bytes) {
    Json body = Json::parse(res.body, nullptr, /*allow_exceptions=*/false);
    if (!body.is_object()) return;
    body["padding"] = std::string(bytes, 'x');
    res.body = body.dump();
  }

  // The headers announce the whole body; half of it is written, then the connection ends.
  static void cut(Response& res) {
    auto body = std::make_shared<std::string>(std::move(res.body));
    const std::string type = res.get_header_value("Content-Type");
    res.body.clear();
    res.headers.erase("Content-Type");
    res.set_content_provider(body->size(), type.empty() ? "application/json" : type.c_str(),
                             [body](size_t offset, size_t, httplib::DataSink& sink) {
                               if (offset >= body->size() / 2) return false;
                               sink.write(body->data(), body->size() / 2);
                               return true;
                             });
  }

  void serve(Access access, const AccountHandler& handler, const Request& req, Response& res) {
    const auto snapshot = currentConfig();  // keeps the account alive while the handler runs
    const std::string id = accountOf(req);
    const Account* account = snapshot->find(id);
    if (access == Access::kAnyone) {
      static const Account none;
      return handler(req, res, id, account ? *account : none);
    }
    if (account == nullptr) return answer(res, failure("Unknown account"), 404);
    const bool secretRequired = access == Access::kSecret || (access == Access::kSecretOrPath && req.has_header("sec"));
    if (secretRequired && req.get_header_value("sec") != account->secret) {
      return answer(res, failure("Invalid app secret"));
    }
    handler(req, res, id, *account);
  }

  void sync(const Request& req, Response& res, const std::string&, const Account& account) {
    if (req.matches[1] != account.secret) return answer(res, failure("Invalid app secret"));
    const std::string body = account.sync.dump();
    const std::string tag = entityTag(body);
    res.set_header("Etag", tag);
    if (req.get_header_value("If-None-Match") == tag) {
      res.status = 304;
      return;
    }
    res.set_content(body, "application/json");
  }

  void report(const Request& req, Response& res, const std::string& id, const Account&) {
    if (req.body.empty()) return answer(res, failure("No events"));
    store.addReport(id, req.target, linesOf(req.body), headersOf(req));
    answer(res, {{"success", true}});
  }

  void testDevice(const Request& req, Response& res, const std::string& id, const Account& account) {
    const std::string name = req.get_param_value("name");
    const std::string token = req.get_param_value("token");
    const bool registered = !name.empty() && account.testTokens.count(token) > 0 &&
                            store.registerTestDevice(id, name, token, req.get_param_value("push_token"),
                                                     req.get_param_value("device_type"));
    answer(res, {{"success", registered ? 1 : 0}});
  }

  void image(const Request& req, Response& res, const std::string&, const Account& account) {
    const std::filesystem::path relative = std::filesystem::path(req.matches[1].str()).lexically_normal();
    const std::filesystem::path file = account.imagesDir / relative;
    if (account.imagesDir.empty() || relative.is_absolute() || relative.empty() || *relative.begin() == ".." ||
        !std::filesystem::is_regular_file(file)) {
      return answer(res, failure("Not found"), 404);
    }
    std::ifstream in(file, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    res.set_content(content.str(), contentTypeOf(file).c_str());
  }

  static void redirect(const Request& req, Response& res, const std::string&, const Account&) {
    if (!req.has_param("to")) return answer(res, failure("Missing \"to\""), 400);
    res.set_redirect(req.get_param_value("to"), 302);
  }

  // Admin: reads a JSON body, answers 400 with the reason when `apply` rejects it.
  httplib::Server::Handler admin(std::function<Json(const Json&)> apply) {
    return [apply = std::move(apply)](const Request& req, Response& res) {
      const Json body = req.body.empty() ? Json::object() : Json::parse(req.body, nullptr, false);
      if (body.is_discarded()) return answer(res, failure("The body is not JSON"), 400);
      try {
        answer(res, apply(body));
      } catch (const std::invalid_argument& e) {
        answer(res, failure(e.what()), 400);
      }
    };
  }

  void installRoutes(httplib::Server& server) {
    using namespace std::placeholders;
    server.set_pre_routing_handler([this](const Request& req, Response&) {
      if (req.path.rfind("/__admin/", 0) != 0) requestLog.add(req);
      return httplib::Server::HandlerResponse::Unhandled;
    });
    server.Get(R"(/api/v1/sync/([^/]*))", route(Access::kSecretOrPath, std::bind(&Impl::sync, this, _1, _2, _3, _4)));
    server.Post(R"(/report/events/.*)", route(Access::kSecret, std::bind(&Impl::report, this, _1, _2, _3, _4)));
    server.Get("/api/v1/test_device", route(Access::kSecret, std::bind(&Impl::testDevice, this, _1, _2, _3, _4)));
    server.Get(R"(/images/(.+))", route(Access::kAccount, std::bind(&Impl::image, this, _1, _2, _3, _4)));
    server.Get("/redirect", route(Access::kAnyone, &Impl::redirect));

    server.Post("/__admin/faults", admin([this](const Json& body) {
      const Fault fault = Fault::fromJson(body);
      faults.set(fault);
      return Json{{"success", true}, {"fault", fault.toJson()}};
    }));
    server.Delete("/__admin/faults", [this](const Request&, Response& res) {
      faults.clear();
      answer(res, {{"success", true}});
    });
    server.Get("/__admin/events", [this](const Request& req, Response& res) {
      answer(res, store.events(req.get_param_value("account")));
    });
    server.Get("/__admin/requests", [this](const Request&, Response& res) { answer(res, requestLog.toJson()); });
    server.Post("/__admin/config", admin([this](const Json& body) {
      replaceConfig(body);
      return Json{{"success", true}};
    }));
  }

  void replaceConfig(const Json& json) {
    auto next = std::make_shared<const ServiceConfig>(ServiceConfig::fromJson(json, configDir));
    std::lock_guard<std::mutex> lock(configMutex);
    config = std::move(next);
  }

  ServiceOptions options;
  std::filesystem::path configDir;
  std::mutex configMutex;
  std::shared_ptr<const ServiceConfig> config;
  EventStore store;
  Faults faults;
  RequestLog requestLog;
  std::filesystem::path certFile;
  std::filesystem::path keyFile;
  std::unique_ptr<httplib::SSLServer> server;
  std::thread thread;
  int port = 0;
};

ReferenceService::ReferenceService(ServiceOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

ReferenceService::~ReferenceService() { stop(); }

void ReferenceService::start() {
  if (impl_->server) return;
  // A client that goes away must fail our write, not end the process.
  ::signal(SIGPIPE, SIG_IGN);
  auto server = std::make_unique<httplib::SSLServer>(impl_->certFile.c_str(), impl_->keyFile.c_str());
  if (!server->is_valid()) {
    throw std::runtime_error("cannot use the certificate " + impl_->certFile.string() + " with the key " +
                             impl_->keyFile.string());
  }
  // Enough workers for requests held back by a delay fault; idle connections close soon so that stop() is quick.
  server->new_task_queue = [] { return new httplib::ThreadPool(16); };
  server->set_keep_alive_timeout(1);
  // An answer goes out in more than one write; with Nagle's algorithm on, the last part waits for the client's
  // delayed acknowledgement of the first (40 ms on Linux) before it is sent.
  server->set_tcp_nodelay(true);
  impl_->installRoutes(*server);
  const std::string& host = impl_->options.host;
  const int port = impl_->options.port == 0 ? server->bind_to_any_port(host)
                   : server->bind_to_port(host, impl_->options.port) ? impl_->options.port
                                                                      : -1;
  if (port < 0) {
    throw std::runtime_error("cannot listen on " + host + ":" + std::to_string(impl_->options.port));
  }
  impl_->port = port;
  impl_->server = std::move(server);
  impl_->thread = std::thread([server = impl_->server.get()] { server->listen_after_bind(); });
  // stop() only stops a server that runs: return once it does.
  while (!impl_->server->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void ReferenceService::stop() {
  if (!impl_->server) return;
  impl_->server->stop();
  impl_->thread.join();
  impl_->server.reset();
}

int ReferenceService::port() const { return impl_->port; }

std::filesystem::path ReferenceService::certificateFile() const { return impl_->certFile; }

Json ReferenceService::received(const std::string& account) { return impl_->store.events(account); }

void ReferenceService::setConfig(const Json& config) { impl_->replaceConfig(config); }

}  // namespace corvana::service
