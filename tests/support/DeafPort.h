/// @file
/// A port on which nobody answers.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace test_support {

/// A port of 127.0.0.1 that is taken for the time of a scope. It refuses connections, or lets them
/// come and is silent.
class DeafPort {
  public:
    enum Manner { REFUSES, IS_SILENT };

    explicit DeafPort(Manner manner) : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (bind(m_socket, any, size) != 0 || getsockname(m_socket, any, &size) != 0 ||
            (manner == IS_SILENT && listen(m_socket, SOMAXCONN) != 0))
            throw std::runtime_error("no free port");
        m_number = ntohs(address.sin_port);
    }
    ~DeafPort() { close(m_socket); }
    DeafPort(const DeafPort&) = delete;
    DeafPort& operator=(const DeafPort&) = delete;

    std::string number() const { return std::to_string(m_number); }
    /// For one that is silent: what connects to it.
    int listeningSocket() const { return m_socket; }

  private:
    int m_socket;
    int m_number = 0;
};

}  // namespace test_support
