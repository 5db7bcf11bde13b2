// A URL opened with the SDK's scheme, handled by the facade: the scheme, host and query checks, the secret
// compared with the stored one ("fuzz-secret"), and for a link that passes, the test-device prompt (answered
// "Yes" at once) and the registration request (which fails: there is no network) with its alert.

#include <cstdint>
#include <string>

#include "FuzzPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

using namespace corvana;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool prepared = [] {
    fuzz::installFuzzPlatform();
    CRVUtil::setObjectForKey(Value("fuzz-secret"), kKeyAppSecret);
    return true;
  }();
  (void)prepared;

  Corvana& sdk = Corvana::sharedInstance();
  sdk.applicationOpenURLOptions(std::string(fuzz::textOf(data, size)));
  fuzz::settle();
  sdk.setToken("");
  return 0;
}
