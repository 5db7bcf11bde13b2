#pragma once

#include <string>

namespace corvana {

// A failure reported as a value: the platform's error object with its domain, code and localized description.
struct Error {
  std::string domain;
  int code = 0;
  std::string localizedDescription;
};

// Domain and codes of URL-loading failures.
inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr int NSURLErrorUnknown = -1;
inline constexpr int NSURLErrorCancelled = -999;
inline constexpr int NSURLErrorBadURL = -1000;
inline constexpr int NSURLErrorTimedOut = -1001;
inline constexpr int NSURLErrorUnsupportedURL = -1002;
inline constexpr int NSURLErrorCannotFindHost = -1003;
inline constexpr int NSURLErrorCannotConnectToHost = -1004;
inline constexpr int NSURLErrorNetworkConnectionLost = -1005;
inline constexpr int NSURLErrorNotConnectedToInternet = -1009;
inline constexpr int NSURLErrorBadServerResponse = -1011;
inline constexpr int NSURLErrorSecureConnectionFailed = -1200;
inline constexpr int NSURLErrorServerCertificateUntrusted = -1202;

}  // namespace corvana
