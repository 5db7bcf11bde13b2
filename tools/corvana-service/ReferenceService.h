#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "corvana-service/ServiceConfig.h"

namespace corvana::service {

struct ServiceOptions {
  std::string host = "127.0.0.1";
  int port = 0;                                     // 0: an ephemeral port
  std::filesystem::path dir = ".";                  // certificate, key and service.sqlite live here
  std::optional<std::filesystem::path> configFile;  // ServiceConfig::defaultJson() when absent
  std::filesystem::path certFile;                   // both empty: a self-signed certificate is made in `dir`
  std::filesystem::path keyFile;
};

// The HTTPS service the SDK talks to: configuration sync, event reports, test-device registration and images,
// per account (the first label of the Host header), plus admin endpoints under /__admin/ that inject faults and
// show what was received. Serves on a thread of its own, so a program can run one in-process.
class ReferenceService {
 public:
  // Loads the configuration, opens the database and makes the certificate if needed; throws on failure.
  explicit ReferenceService(ServiceOptions options);
  ~ReferenceService();  // stops
  ReferenceService(const ReferenceService&) = delete;
  ReferenceService& operator=(const ReferenceService&) = delete;

  // Binds the port and starts serving; throws std::runtime_error when it cannot listen.
  void start();
  // Stops serving and waits for the requests in progress. Idempotent.
  void stop();

  int port() const;  // the port bound by start()
  std::filesystem::path certificateFile() const;
  // What the service received from an account: {"events": [{"line", "path", "event", ...}, ...]}, oldest first.
  Json received(const std::string& account);
  // Replaces the accounts while serving (relative image folders are taken from the configuration file's folder).
  void setConfig(const Json& config);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace corvana::service
