/// @file
/// A TLS server that answers in ways in which no web server would.
#pragma once

#include <optional>
#include <string>

#include "support/ChildProcess.h"
#include "support/DeafPort.h"
#include "support/TlsCertificate.h"

namespace test_support {

/// Serves one connection after the other, in a process of its own that ends with the scope. It
/// reads a whole request each time and then does what its manners say.
class TlsServer {
  public:
    /// What follows the answer.
    enum End {
        CLOSES,         ///< the connection, in good order
        CUTS,           ///< the connection: the client sees it reset
        KEEPS_SILENT,   ///< until the client goes
        REPEATS_ITSELF  ///< sends `repeated` until the client goes
    };
    struct Manners {
        std::string answer = {};
        End end = CLOSES;
        std::string repeated = {};
        TlsCertificate::Validity validity = TlsCertificate::VALID;
        std::string onlyProtocol = {};  ///< "h2": no handshake without it; empty: does not care
    };

    /// @param name host name of its certificate
    TlsServer(const std::string& name, const Manners& manners);

    /// Value of VELCURL_CONNECT_TO that leads uploads for its name to it.
    std::string connectTo() const { return m_name + ":443:127.0.0.1:" + m_port.number(); }
    /// Writes the certificate that a client must trust.
    void writeCaFile(const std::string& path) const { m_certificate.writeAuthority(path); }

  private:
    [[noreturn]] void serve(const Manners& manners) const;

    std::string m_name;
    TlsCertificate m_certificate;
    DeafPort m_port{DeafPort::IS_SILENT};
    std::optional<ChildProcess> m_process;
};

}  // namespace test_support
