#pragma once

// The reference service as a child process of a test: started on an ephemeral port of 127.0.0.1 with its own
// self-signed certificate, driven through its admin endpoints, stopped when the fixture goes away.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <httplib.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "corvana/platform.h"
#include "corvana/value.h"
#include "support/TestPlatform.h"

#ifndef CORVANA_SERVICE_BINARY
#error "CORVANA_SERVICE_BINARY must name the corvana-service program"
#endif

extern char** environ;

namespace corvana::test {

class ServiceProcess {
 public:
  // Starts the service in `workDir` (its certificate, key, database and configuration live there) on an
  // ephemeral port of 127.0.0.1 with the configuration given as JSON text; returns once it listens.
  // With a `port`, it listens there: a restart of a stopped service. A restart in the same folder keeps the
  // certificate made at the first start, as a real service keeps its identity.
  explicit ServiceProcess(const std::string& workDir, const std::string& configJson = defaultConfig(), int port = 0)
      : dir_(workDir) {
    // A peer closing its end must fail a write, not kill the test process.
    ::signal(SIGPIPE, SIG_IGN);
    std::filesystem::create_directories(dir_);
    const std::string configPath = (std::filesystem::path(dir_) / "service-config.json").string();
    {
      std::ofstream out(configPath, std::ios::trunc);
      out << configJson;
      if (!out) throw std::runtime_error("ServiceProcess: cannot write " + configPath);
    }
    std::vector<std::string> args = {serviceBinary(), "--host", "127.0.0.1", "--port", std::to_string(port),
                                     "--dir", dir_, "--config", configPath, "--exit-with-stdin"};
    const auto cert = std::filesystem::path(dir_) / "cert.pem", key = std::filesystem::path(dir_) / "key.pem";
    if (std::filesystem::exists(cert) && std::filesystem::exists(key)) {
      args.insert(args.end(), {"--cert", cert.string(), "--key", key.string()});
    }
    spawn(args);
  }

  ~ServiceProcess() { stop(); }

  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  // The test device's platform options with the SDK pointed at this service for the account "acme".
  LinuxPlatformOptions platformOptions(LinuxPlatformOptions options = testPlatformOptions()) const {
    options.serviceDomain = domain();
    options.caFile = caFile();
    options.resolve = {resolveFor("acme")};
    return options;
  }
  // Puts a file among the images the service serves ("images/<relative>").
  void serveImage(const std::string& relative, const Data& bytes) const {
    const auto path = std::filesystem::path(dir_) / "images" / relative;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("ServiceProcess: cannot write " + path.string());
  }

  int port() const { return port_; }
  // The service's folder and its database of received lines: the benchmarks read them directly.
  const std::string& dir() const { return dir_; }
  // The PEM of the certificate made at start; self-signed, so it is its own certificate authority.
  std::string caFile() const { return caFile_; }
  // The service domain for the SDK's base URL: "corvana.test:<port>".
  std::string domain() const { return "corvana.test:" + std::to_string(port_); }
  // A resolve entry for libcurl: "<account>.corvana.test:<port>:127.0.0.1".
  std::string resolveFor(const std::string& account) const {
    return account + ".corvana.test:" + std::to_string(port_) + ":127.0.0.1";
  }
  // The Host header the SDK sends for an account: "<account>.corvana.test:<port>".
  std::string hostFor(const std::string& account) const { return account + "." + domain(); }
  // The base URL of an account's requests, ending in "/".
  std::string baseUrl(const std::string& account) const { return "https://" + hostFor(account) + "/"; }
  std::string databasePath() const { return (std::filesystem::path(dir_) / "service.sqlite").string(); }

  // A client of 127.0.0.1:<port> that verifies the service's certificate against caFile() and sends paths exactly
  // as given (no percent-encoding of its own). Requests to an account's routes set the "Host" header (hostFor).
  std::unique_ptr<httplib::SSLClient> client() const {
    auto cli = std::make_unique<httplib::SSLClient>("127.0.0.1", port_);
    cli->set_ca_cert_path(caFile_.c_str());
    cli->enable_server_certificate_verification(true);
    cli->set_connection_timeout(5, 0);
    cli->set_read_timeout(60, 0);  // a configuration of 10,000 campaigns takes a while in a sanitizer build
    cli->set_url_encode(false);
    return cli;
  }

  // Admin calls: each answers the parsed JSON body and throws when the service does not answer.
  // faults: {"status", "delay_ms", "broken_body", "close", "paths" (regex), "times" (0 = until cleared)}.
  Value setFaults(const Value& faults) { return admin("POST", "/__admin/faults", faults.dump()); }
  Value clearFaults() { return admin("DELETE", "/__admin/faults", ""); }
  // {"events": [{"id", "account", "path", "line", "parsed", "event", "headers": {...}, "received_at"}, ...]} in
  // arrival order: "line" exactly as received, "event" the parsed line (null when it does not parse), "path" the
  // raw request target.
  Value received(const std::string& account) { return admin("GET", "/__admin/events?account=" + account, ""); }
  // {"requests": [{"method", "path", "query", "host", "headers": {name: value}}, ...]}, newest last (last 200).
  Value requests() { return admin("GET", "/__admin/requests", ""); }
  // Replaces the service's configuration (same shape as the constructor's).
  Value setConfig(const Value& config) { return admin("POST", "/__admin/config", config.dump()); }

  // Stops the service now (SIGTERM, then SIGKILL after 5 s), like the service going down. Idempotent.
  void stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    int status = 0;
    while (::waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &status, 0);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    pid_ = -1;
    if (lifeline_ >= 0) ::close(lifeline_);
    lifeline_ = -1;
  }

  // The program this build made, unless CORVANA_SERVICE_BINARY names another: the ThreadSanitizer run of the
  // tests uses the normal build's service, whose HTTP library is not instrumented.
  static std::string serviceBinary() {
    const char* chosen = std::getenv("CORVANA_SERVICE_BINARY");
    return chosen && *chosen ? chosen : CORVANA_SERVICE_BINARY;
  }

  // Account "acme" with secret "s3cret", test token "T1", images under "images", and a plain sync answer.
  static std::string defaultConfig() {
    return R"({"accounts": {"acme": {"secret": "s3cret", "test_tokens": ["T1"], "images_dir": "images",
      "sync": {"success": true, "lst": 1700000000,
               "config": {"syncTimeOut": 3600, "secure_mode": false, "test_device": false}, "inapp": []}}}})";
  }

 private:
  void spawn(const std::vector<std::string>& args) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("ServiceProcess: pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    // The service stops when this end closes, which happens at the latest when this process ends, however it
    // ends: a crashed test leaves no service behind.
    int lifeline[2];
    if (::pipe2(lifeline, O_CLOEXEC) != 0) throw std::runtime_error("ServiceProcess: pipe failed");
    posix_spawn_file_actions_adddup2(&actions, lifeline[0], STDIN_FILENO);
    std::vector<char*> argv;
    for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    const int rc = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    ::close(lifeline[0]);
    lifeline_ = lifeline[1];
    if (rc != 0) {
      ::close(fds[0]);
      pid_ = -1;
      throw std::runtime_error(std::string("ServiceProcess: cannot start ") + argv[0] + ": " + std::strerror(rc));
    }
    const std::string line = readLine(fds[0], std::chrono::seconds(15));
    ::close(fds[0]);
    // "corvana-service listening on https://127.0.0.1:<port> (certificate <path>)"
    const std::string marker = "listening on https://127.0.0.1:";
    const std::string certMarker = " (certificate ";
    const auto at = line.find(marker);
    const auto certAt = line.find(certMarker);
    if (at == std::string::npos || certAt == std::string::npos || line.back() != ')') {
      stop();
      throw std::runtime_error("ServiceProcess: the service did not start (it printed \"" + line + "\")");
    }
    port_ = std::stoi(line.substr(at + marker.size(), certAt - at - marker.size()));
    caFile_ = line.substr(certAt + certMarker.size(), line.size() - certAt - certMarker.size() - 1);
  }

  static std::string readLine(int fd, std::chrono::seconds timeout) {
    std::string line;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return line;
      pollfd pfd{fd, POLLIN, 0};
      const int ready = ::poll(&pfd, 1, static_cast<int>(left.count()));
      if (ready < 0 && errno == EINTR) continue;
      if (ready <= 0) return line;
      char c = 0;
      const ssize_t n = ::read(fd, &c, 1);
      if (n <= 0 || c == '\n') return line;
      line.push_back(c);
    }
  }

  Value admin(const std::string& method, const std::string& path, const std::string& body) {
    auto cli = client();
    httplib::Result res = method == "POST"     ? cli->Post(path.c_str(), body, "application/json")
                          : method == "DELETE" ? cli->Delete(path.c_str())
                                               : cli->Get(path.c_str());
    if (!res) {
      throw std::runtime_error("ServiceProcess: " + method + " " + path + " failed: " + httplib::to_string(res.error()));
    }
    auto parsed = Value::parse(res->body, nullptr, false);
    if (parsed.is_discarded()) throw std::runtime_error("ServiceProcess: " + path + " answered " + res->body);
    return parsed;
  }

  std::string dir_;
  pid_t pid_ = -1;
  int lifeline_ = -1;  // write end of the service's standard input
  int port_ = 0;
  std::string caFile_;
};

}  // namespace corvana::test
