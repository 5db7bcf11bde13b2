#include "corvana-service/Certificate.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace corvana::service {
namespace {

template <auto Free>
struct Deleter {
  template <typename T>
  void operator()(T* p) const {
    Free(p);
  }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Deleter<X509_free>>;
using ExtPtr = std::unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION_free>>;
using FilePtr = std::unique_ptr<FILE, Deleter<std::fclose>>;

void check(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(std::string("certificate: ") + what + " failed");
}

void addExtension(X509* cert, int nid, const char* value) {
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
  ExtPtr ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value));
  check(ext != nullptr, value);
  check(X509_add_ext(cert, ext.get(), -1) == 1, "X509_add_ext");
}

FilePtr openForWriting(const std::filesystem::path& path, bool secret) {
  std::filesystem::create_directories(path.parent_path().empty() ? "." : path.parent_path());
  FilePtr file(std::fopen(path.c_str(), "wb"));
  if (!file) throw std::runtime_error("certificate: cannot write " + path.string());
  if (secret) {
    std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
  return file;
}

}  // namespace

void makeSelfSignedCertificate(const std::filesystem::path& certFile, const std::filesystem::path& keyFile) {
  KeyPtr key(EVP_EC_gen("P-256"));
  check(key != nullptr, "EVP_EC_gen");

  CertPtr cert(X509_new());
  check(cert != nullptr, "X509_new");
  check(X509_set_version(cert.get(), 2) == 1, "X509_set_version");  // v3

  unsigned char serial[16];
  check(RAND_bytes(serial, sizeof serial) == 1, "RAND_bytes");
  serial[0] &= 0x7f;  // a positive serial number
  std::unique_ptr<BIGNUM, Deleter<BN_free>> bn(BN_bin2bn(serial, sizeof serial, nullptr));
  check(bn && BN_to_ASN1_INTEGER(bn.get(), X509_get_serialNumber(cert.get())) != nullptr, "serial number");

  constexpr long kDay = 24L * 60 * 60;
  check(X509_gmtime_adj(X509_getm_notBefore(cert.get()), -kDay) != nullptr, "notBefore");
  check(X509_gmtime_adj(X509_getm_notAfter(cert.get()), 365 * kDay) != nullptr, "notAfter");
  check(X509_set_pubkey(cert.get(), key.get()) == 1, "X509_set_pubkey");

  X509_NAME* name = X509_get_subject_name(cert.get());
  const auto text = [](const char* s) { return reinterpret_cast<const unsigned char*>(s); };
  check(X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, text("Corvana reference service"), -1, -1, 0) == 1 &&
            X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text("corvana.test"), -1, -1, 0) == 1,
        "subject name");
  check(X509_set_issuer_name(cert.get(), name) == 1, "X509_set_issuer_name");

  addExtension(cert.get(), NID_basic_constraints, "critical,CA:TRUE");
  addExtension(cert.get(), NID_key_usage, "critical,digitalSignature,keyCertSign");
  addExtension(cert.get(), NID_ext_key_usage, "serverAuth");
  addExtension(cert.get(), NID_subject_key_identifier, "hash");
  addExtension(cert.get(), NID_subject_alt_name,
               "DNS:*.corvana.test,DNS:corvana.test,DNS:localhost,IP:127.0.0.1");
  check(X509_sign(cert.get(), key.get(), EVP_sha256()) > 0, "X509_sign");

  {
    FilePtr out = openForWriting(keyFile, true);
    check(PEM_write_PrivateKey(out.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1, "writing the key");
  }
  FilePtr out = openForWriting(certFile, false);
  check(PEM_write_X509(out.get(), cert.get()) == 1, "writing the certificate");
}

}  // namespace corvana::service
