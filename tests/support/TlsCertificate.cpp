#include "support/TlsCertificate.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace test_support {
namespace {

constexpr long kDay = 24L * 60 * 60;

void require(bool worked, const char* what) {
    if (!worked) throw std::runtime_error(std::string("certificate: ") + what);
}

struct Wanted {
    const char* commonName;
    long serial;
    long notBefore, notAfter;  // seconds from now
};

X509* makeCertificate(const Wanted& wanted, EVP_PKEY* key, X509* issuer) {
    X509* const certificate = X509_new();
    require(certificate != nullptr, "memory");
    X509_NAME* const name = X509_get_subject_name(certificate);
    require(
        X509_set_version(certificate, X509_VERSION_3) == 1 &&
            ASN1_INTEGER_set(X509_get_serialNumber(certificate), wanted.serial) == 1 &&
            X509_gmtime_adj(X509_getm_notBefore(certificate), wanted.notBefore) != nullptr &&
            X509_gmtime_adj(X509_getm_notAfter(certificate), wanted.notAfter) != nullptr &&
            X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                       reinterpret_cast<const unsigned char*>(wanted.commonName),
                                       -1, -1, 0) == 1 &&
            X509_set_issuer_name(certificate, issuer ? X509_get_subject_name(issuer) : name) == 1 &&
            X509_set_pubkey(certificate, key) == 1,
        "fields");
    return certificate;
}

void extend(X509* certificate, int extension, const std::string& value) {
    X509_EXTENSION* const made = X509V3_EXT_conf_nid(nullptr, nullptr, extension, value.c_str());
    require(made != nullptr && X509_add_ext(certificate, made, -1) == 1, value.c_str());
    X509_EXTENSION_free(made);
}

}  // namespace

TlsCertificate::TlsCertificate(const std::string& name, Validity validity)
    : m_key(EVP_EC_gen("P-256")) {
    const Key authoritysKey(EVP_EC_gen("P-256"));
    require(m_key && authoritysKey, "keys");
    m_authority.reset(makeCertificate({"authority of one test", 1, -30 * kDay, 30 * kDay},
                                      authoritysKey.get(), nullptr));
    extend(m_authority.get(), NID_basic_constraints, "critical,CA:TRUE");
    extend(m_authority.get(), NID_key_usage, "critical,keyCertSign");
    const long notAfter = validity == EXPIRED ? -kDay : 30 * kDay;
    m_certificate.reset(
        makeCertificate({"test server", 2, -10 * kDay, notAfter}, m_key.get(), m_authority.get()));
    extend(m_certificate.get(), NID_subject_alt_name, "DNS:" + name);
    for (X509* certificate : {m_authority.get(), m_certificate.get()})
        require(X509_sign(certificate, authoritysKey.get(), EVP_sha256()) > 0, "signature");
}

void TlsCertificate::writeAuthority(const std::string& path) const {
    std::FILE* const file = std::fopen(path.c_str(), "we");
    require(file != nullptr, path.c_str());
    const bool written = PEM_write_X509(file, m_authority.get()) == 1;
    require(std::fclose(file) == 0 && written, path.c_str());
}

}  // namespace test_support
