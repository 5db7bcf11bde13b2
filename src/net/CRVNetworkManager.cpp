#include "net/CRVNetworkManager.h"

#include <cassert>
#include <utility>

#include "corvana/Corvana.hpp"
#include "storage/UIDeviceAdditionalInfo.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

constexpr const char* kLorrowBaseURL = "https://%s.%s/%s";
constexpr const char* kLorrowRequestQueueLabel = "com.lorrow.queue";
constexpr double kPostTimeoutSeconds = 10.0;

constexpr const char* kGetMethodName = "-[CRVNetworkManager getDataFromTheEndpoint:withBlock:]";
constexpr int kGetTraceLine = 52;
constexpr const char* kPostMethodName = "-[CRVNetworkManager postDataSync:toTheEndpoint:withBlock:]";
constexpr int kPostTraceLine = 147;

constexpr const char* kInvalidResponseText = "Invalid response, please contact Corvana support.";
constexpr const char* kOfflineText = "Cannot connect to the Corvana, Please check network connectivity.";
constexpr const char* kCannotConnectText = "Cannot connect to Corvana.";

void call(const CRVNetworkManager::Completion& completion, const Value& document) {
  if (completion) completion(document);
}

// The body as a JSON document; an unreadable one (or a bare scalar, which the platform's reader refuses too)
// reports null once here and reads as null, so the envelope check that follows reports it again.
Value decodeBody(const Data& body, const CRVNetworkManager::Completion& completion) {
  Value document = Value::parse(body.begin(), body.end(), nullptr, false);
  if (document.is_discarded() || !(document.is_object() || document.is_array())) {
    CRVLog("CorvanaSDK-Internal Error Occured");
    call(completion, nullptr);
    return nullptr;
  }
  return document;
}

// Answers whether the document says "success"; when it does not, logs the service's message (or the generic
// one) and reports null.
bool judgeEnvelope(const Value& document, const CRVNetworkManager::Completion& completion) {
  const bool success = document.is_object() && document.contains("success") && boolValue(document["success"]);
  if (success) return true;
  const bool hasMessage = document.is_object() && document.contains("error_message");
  const std::string message = hasMessage ? stringValue(document["error_message"]) : kInvalidResponseText;
  CRVLog("CorvanaSDK-" + message);
  call(completion, nullptr);
  return false;
}

// Where "" stands for a missing value.
std::optional<std::string> unlessEmpty(std::string text) {
  if (text.empty()) return std::nullopt;
  return text;
}

std::optional<std::string> hostAppVersion() {
  const Value version = CRVUtil::mainBundleInfoValue("CFBundleShortVersionString");
  if (CRVUtil::isObjectNull(version)) return std::nullopt;
  return stringValue(version);
}

}  // namespace

CRVNetworkManager& CRVNetworkManager::sharedInstance() {
  // Created once and never destroyed: completions may still arrive while the process exits.
  static CRVNetworkManager* instance = new CRVNetworkManager();
  return *instance;
}

CRVNetworkManager::CRVNetworkManager()
    : _lorrowRequestQueue(std::make_unique<DispatchQueue>(kLorrowRequestQueueLabel)) {}

std::optional<std::string> CRVNetworkManager::getBaseUrlWithEndPoint(const std::string& endpoint) {
  const std::string account = CRVUtil::getStringForKey(kKeyQuorvel);
  if (CRVUtil::isStringEmpty(account) && !kLocalhostEnviornment) {
    CRVLogf("CorvanaSDK-Quorvel ID is an empty string.%d", kLocalhostEnviornment ? 1 : 0);
    return std::nullopt;
  }
  return strfmt(kLorrowBaseURL, account.c_str(), Platform::current().serviceDomain.c_str(), endpoint.c_str());
}

void CRVNetworkManager::setHeaders(HttpRequest& request) {
  auto set = [&request](const std::optional<std::string>& value, const char* field) {
    if (value) request.setValueForHTTPHeaderField(*value, field);
  };
  set(unlessEmpty(CRVUtil::getLocal()), "lc");
  set(unlessEmpty(CRVUtil::getTimeZone()), "tz");
  set("ios", "p");
  set(Corvana::sharedInstance().appSecret(), "sec");
  set(kLorrowSDKVersionInt, "sdkvr");
  set(strfmt("Framework Type: %s, SDK Version: %s", CRVUtil::getStringForKey(kKeyFrameworkType).c_str(),
             kLorrowSDKVersion),
      "appbd");
  set(hostAppVersion(), "appver");
  auto& identity = UIDeviceAdditionalInfo::sharedInstance();
  set(unlessEmpty(identity.installIdentifier()), "uuid");
  set(unlessEmpty(identity.uniqueGlobalDeviceIdentifier()), "tduuid");
}

void CRVNetworkManager::getDataFromTheEndpointWithBlock(const std::string& endpoint, Completion completion) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  const std::optional<std::string> url = getBaseUrlWithEndPoint(endpoint);
  if (!url) {
    CRVLog("CorvanaSDK-Error creating request Url");
    call(completion, nullptr);
    // The request still goes out, without a URL; its failure reports null a second time.
  }
  CRVTrace(kGetMethodName, kGetTraceLine, "Getting data from end point " + url.value_or(kNullDescription));

  HttpRequest request;
  request.url = url.value_or("");
  request.reloadIgnoringLocalCacheData = true;
  request.timeoutSeconds = static_cast<double>(timeoutInterval());
  // Written under "crvn.Etag" but read here under "LorrowETag", which nothing writes: in practice no
  // "If-None-Match" goes out and the service answers every sync in full. Installed apps depend on that.
  const std::string etag = CRVUtil::getStringForKey(kKeyLorrowETag);
  if (!etag.empty()) request.setValueForHTTPHeaderField(etag, "If-None-Match");
  request.setValueForHTTPHeaderField("text/plain", "Content-type");
  setHeaders(request);
  request.method = "GET";

  Platform::current().http->dataTask(request, [this, completion = std::move(completion)](
                                                  const std::optional<Data>& body,
                                                  const std::optional<HttpResponse>& response,
                                                  const std::optional<Error>& error) {
    if (!response || response->statusCode != 200 || !body || error) {
      if (response && response->statusCode == 304) {
        CRVLog("CorvanaSDK-No update available");
        call(completion, nullptr);
      }
      printErrorMessage(error);
      call(completion, nullptr);
      return;
    }
    const Value document = decodeBody(*body, completion);
    assert(!Platform::current().mainQueue->isMainThread() && "![NSThread isMainThread]");
    if (!judgeEnvelope(document, completion)) return;
    if (auto tag = response->valueForHTTPHeaderField("Etag")) CRVUtil::setObjectForKey(Value(*tag), kKeyEtag);
    call(completion, document);
  });
}

void CRVNetworkManager::postDataSyncToTheEndpointWithBlock(const Data& body, const std::string& endpoint,
                                                           Completion completion) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  const std::optional<std::string> url = getBaseUrlWithEndPoint(endpoint);
  if (!url) {
    CRVLog("CorvanaSDK-Error creating request Url");
    call(completion, nullptr);
  }
  CRVTrace(kPostMethodName, kPostTraceLine, "Posting data to end point " + url.value_or(kNullDescription));

  HttpRequest request;
  request.url = url.value_or("");
  request.method = "POST";
  request.timeoutSeconds = kPostTimeoutSeconds;
  request.body = body;
  request.setValueForHTTPHeaderField("application/json", "Content-type");
  setHeaders(request);

  Platform::current().http->dataTask(request, [this, completion = std::move(completion)](
                                                  const std::optional<Data>& answer,
                                                  const std::optional<HttpResponse>& /*response*/,
                                                  const std::optional<Error>& error) {
    if (error || !answer) {
      printErrorMessage(error);
      call(completion, nullptr);
      return;
    }
    const Value document = decodeBody(*answer, completion);
    if (!judgeEnvelope(document, completion)) return;
    call(completion, document);
  });
}

void CRVNetworkManager::printErrorMessage(const std::optional<Error>& error) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  if (!error) return;
  std::string message;
  if (error->domain == NSURLErrorDomain && error->code == NSURLErrorNotConnectedToInternet) {
    message = Platform::current().application->localizedString(kOfflineText);
  } else if (error->domain == NSURLErrorDomain &&
             (error->code == NSURLErrorCannotConnectToHost || error->code == NSURLErrorCannotFindHost)) {
    message = Platform::current().application->localizedString(kCannotConnectText);
  } else {
    message = error->localizedDescription;
  }
  CRVLog("CorvanaSDK-" + message);
}

}  // namespace corvana
