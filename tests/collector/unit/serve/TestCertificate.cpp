#include "tests/collector/unit/serve/TestCertificate.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>

namespace pelto::collector {

namespace {

struct Delete {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

TlsFiles make_certificate(const std::filesystem::path& folder, const std::string& name) {
  const TlsFiles files{folder / (name + ".pem"), folder / (name + ".key")};
  const std::unique_ptr<EVP_PKEY, Delete> key(EVP_EC_gen("P-256"));
  const std::unique_ptr<X509, Delete> certificate(X509_new());
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_NAME* const subject = X509_get_subject_name(certificate.get());
  const std::string host = "localhost";
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(host.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), subject);
  X509_set_pubkey(certificate.get(), key.get());
  EXPECT_GT(X509_sign(certificate.get(), key.get(), EVP_sha256()), 0);
  const std::unique_ptr<std::FILE, Delete> pem(std::fopen(files.certificate.c_str(), "w"));
  EXPECT_EQ(PEM_write_X509(pem.get(), certificate.get()), 1);
  const std::unique_ptr<std::FILE, Delete> key_file(std::fopen(files.key.c_str(), "w"));
  EXPECT_EQ(PEM_write_PrivateKey(key_file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr),
            1);
  return files;
}

}  // namespace pelto::collector
