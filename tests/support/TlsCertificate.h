/// @file
/// Certificates for servers of a test's own.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace test_support {

/// A server's certificate, signed by an authority that is made for it alone.
class TlsCertificate {
  public:
    enum Validity { VALID, EXPIRED };

    /// @param name host name that it is for
    /// @throw std::runtime_error
    TlsCertificate(const std::string& name, Validity validity);

    X509* certificate() const { return m_certificate.get(); }
    EVP_PKEY* key() const { return m_key.get(); }
    /// Writes the authority's certificate, which a client must trust.
    void writeAuthority(const std::string& path) const;

  private:
    template <class T, void (*Free)(T*)>
    struct Freer {
        void operator()(T* object) const { Free(object); }
    };
    using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
    using Certificate = std::unique_ptr<X509, Freer<X509, X509_free>>;

    Key m_key;
    Certificate m_authority;
    Certificate m_certificate;
};

}  // namespace test_support
