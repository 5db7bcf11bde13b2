// corvana-service: the HTTPS service that the SDK's demo, tests and benchmarks talk to.
//
//   corvana-service [--host 127.0.0.1] [--port 0] [--dir DIR] [--config FILE] [--cert FILE --key FILE]
//
// Prints one line once it listens, then serves until SIGTERM or SIGINT.

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>

#include "corvana-service/ReferenceService.h"

int main(int argc, char** argv) {
  corvana::service::ServiceOptions options;
  std::string configFile;
  std::string dir = ".";
  CLI::App app{"Reference HTTPS service of the Corvana SDK: configuration sync, event reports, test devices, "
               "images, and admin endpoints under /__admin/ for fault injection and inspection."};
  app.add_option("--host", options.host, "Address to listen on")->capture_default_str();
  app.add_option("--port", options.port, "Port to listen on; 0 picks a free one")->capture_default_str();
  app.add_option("--dir", dir, "Folder of the certificate, the key and service.sqlite")->capture_default_str();
  app.add_option("--config", configFile, "JSON file of the accounts (default: account acme, secret s3cret)")
      ->check(CLI::ExistingFile);
  auto* cert = app.add_option("--cert", options.certFile, "PEM certificate (default: a self-signed one, made now)")
                   ->check(CLI::ExistingFile);
  auto* key = app.add_option("--key", options.keyFile, "PEM private key of --cert")->check(CLI::ExistingFile);
  cert->needs(key);
  key->needs(cert);
  bool exitWithStdin = false;
  app.add_flag("--exit-with-stdin", exitWithStdin,
               "Stop when standard input closes (a parent that starts the service keeps it open while it lives)");
  CLI11_PARSE(app, argc, argv);
  options.dir = dir;
  if (!configFile.empty()) options.configFile = configFile;

  // The signals are taken by sigwait below; every thread the service starts inherits this mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  try {
    corvana::service::ReferenceService service(options);
    service.start();
    std::printf("corvana-service listening on https://%s:%d (certificate %s)\n", options.host.c_str(), service.port(),
                service.certificateFile().c_str());
    std::fflush(stdout);
    if (exitWithStdin) {
      // The parent may die without stopping us (a crashed test): its end of our standard input closes then.
      std::thread([] {
        char buffer[256];
        while (::read(STDIN_FILENO, buffer, sizeof buffer) > 0) {
        }
        ::kill(::getpid(), SIGTERM);
      }).detach();
    }
    int signal = 0;
    sigwait(&stopSignals, &signal);
    service.stop();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "corvana-service: %s\n", e.what());
    return 1;
  }
  return 0;
}
