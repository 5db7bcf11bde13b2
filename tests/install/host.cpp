// A host app built against an installed SDK: records an action and prints its install identifier.
#include <iostream>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  corvana::LinuxPlatformOptions options;
  options.dataDirectory = argv[1];
  options.serviceDomain = "corvana.test";              // nothing listens there: requests fail at once
  options.resolve = {"acme.corvana.test:443:127.0.0.1"};
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));
  auto& sdk = corvana::Corvana::sharedInstance();
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
  sdk.reportActionWithMetaData("installed");
  sdk.serialQueue()->waitUntilIdle();
  std::cout << "device id: " << sdk.getDeviceId() << " version " << corvana::kLorrowSDKVersion << "\n";
  return 0;
}
