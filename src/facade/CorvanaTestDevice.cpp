// Test-device registration: the name prompt, the request to the service and the alerts that tell the outcome.
// Alerts are built and shown on the main queue only.

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "net/CRVNetworkManager.h"
#include "storage/UIDeviceAdditionalInfo.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/UrlEncoding.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

constexpr const char* kTestDevicePath = "api/v1/test_device";

void present(AlertRequest alert) {
  Platform::current().mainQueue->async([alert = std::move(alert)]() mutable {
    Platform::current().ui->presentAlert(std::move(alert));
  });
}

}  // namespace

void Corvana::showDialog() {
  AlertRequest prompt;
  prompt.title = "Corvana";
  prompt.message = "Add this device as Test Device?";
  prompt.buttons = {"No", "Yes"};
  prompt.textFields = {CRVUtil::getDeviceName()};
  prompt.onButton = [this](size_t button, const std::vector<std::string>& fields) {
    if (button != 1) return;
    const std::string name = fields.empty() ? std::string() : fields.front();
    CRVLog("CorvanaSDK-Button YES was selected for add test device");
    if (name.empty()) {
      // Title and message of this alert are the other way round from the others.
      showWithTitle("Error", "Please enter a valid name.");
      showDialog();
      return;
    }
    serialQueue_->async([this, name] { setAsTestDeviceWithDeviceName(token(), name); });
  };
  present(std::move(prompt));
}

void Corvana::setAsTestDeviceWithDeviceName(const std::string& registrationToken, const std::string& name) {
  sdkInitilizationWarning();
  if (CRVUtil::isStringEmpty(registrationToken) || CRVUtil::isStringEmpty(name)) return;
  CRVNetworkManager::sharedInstance().getDataFromTheEndpointWithBlock(
      getTestRegistrationForTokenWithName(registrationToken, name), [this, name](const Value& response) {
        const std::string device = UIDeviceAdditionalInfo::sharedInstance().uniqueGlobalDeviceIdentifier();
        if (response.is_null()) {
          CRVLogf("CorvanaSDK-Failed to register this device as a developer test device/%s\n", device.c_str());
        } else if (response.is_object() && intValue(response.value("success", Value())) != 0) {
          CRVLogf("CorvanaSDK- Successfully register this device as a developer test device/%s\n", device.c_str());
          CRVUtil::setObjectForKey(Value(name), kKeyDeviceName);
          CRVUtil::setBoolForKey(true, kKeyTestDevice);
          showWithTitle("This device has been successfully registered.", "Success!");
          return;
        }
        showWithTitle("This device has already been registered, or the device name is already used.",
                      "Device not registered");
      });
}

std::string Corvana::getTestRegistrationForTokenWithName(const std::string& registrationToken,
                                                         const std::string& name) {
  // The settings store answers "" when no push token is stored, so the form with the push token is always used.
  const std::string url = strfmt("%s?name=%s&push_token=%s&token=%s&device_type=%s", kTestDevicePath, name.c_str(),
                                 getPushDeviceToken().c_str(), registrationToken.c_str(), CRVUtil::deviceType().c_str());
  setToken("");
  return percentEncode(url, kURLFragmentAllowedCharacters);
}

void Corvana::showWithTitle(const std::string& message, const std::string& title) {
  AlertRequest alert;
  alert.title = title;
  alert.message = message;
  alert.buttons = {"OK"};
  present(std::move(alert));
}

}  // namespace corvana
