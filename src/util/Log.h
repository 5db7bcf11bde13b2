#pragma once

#include <string>

namespace corvana {

// printf-style formatting into a std::string ("%s" takes a C string; pass std::string through .c_str()).
std::string strfmt(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Writes one line to the platform log.
void CRVLog(const std::string& line);
// printf-style variant of CRVLog.
void CRVLogf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A trace line: "CorvanaFramework-<method> [Line <line>] <message>", where method reads like
// "-[CRVEventLogger reportEvents:]" and line is the method's fixed line number.
void CRVTrace(const char* method, int line, const std::string& message);

// How the platform prints a missing object inside a message.
inline constexpr const char* kNullDescription = "(null)";

}  // namespace corvana
