#pragma once

#include <filesystem>

namespace corvana::service {

// Makes a self-signed certificate for the service and writes it, with its key, as PEM files: an EC P-256 key;
// names *.corvana.test, corvana.test, localhost and 127.0.0.1; marked as a certificate authority so that a
// client can use the certificate file itself as its CA file; valid from yesterday for one year.
// Throws std::runtime_error when OpenSSL or the file system fails.
void makeSelfSignedCertificate(const std::filesystem::path& certFile, const std::filesystem::path& keyFile);

}  // namespace corvana::service
