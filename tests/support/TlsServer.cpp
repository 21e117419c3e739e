#include "support/TlsServer.h"

#include <linux/sockios.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace test_support {
namespace {

struct Free {
    void operator()(SSL* connection) const { SSL_free(connection); }
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using Connection = std::unique_ptr<SSL, Free>;
using Context = std::unique_ptr<SSL_CTX, Free>;

/// Refuses a client that does not offer the protocol.
int selectProtocol(SSL*, const unsigned char** chosen, unsigned char* length,
                   const unsigned char* offered, unsigned int offeredLength, void* only) {
    const std::string& wanted = *static_cast<const std::string*>(only);
    for (unsigned int at = 0; at < offeredLength; at += 1U + offered[at]) {
        const std::string protocol(reinterpret_cast<const char*>(offered + at + 1), offered[at]);
        if (protocol != wanted) continue;
        *chosen = offered + at + 1;
        *length = offered[at];
        return SSL_TLSEXT_ERR_OK;
    }
    return SSL_TLSEXT_ERR_ALERT_FATAL;
}

/// Reads more of the request. @return false when there is nothing more.
bool readMore(SSL* connection, std::string& text) {
    char buffer[4096];
    const int got = SSL_read(connection, buffer, sizeof buffer);
    if (got > 0) text.append(buffer, static_cast<std::size_t>(got));
    return got > 0;
}

bool readRequest(SSL* connection) {
    std::string request;
    std::size_t headersEnd = std::string::npos;
    while ((headersEnd = request.find("\r\n\r\n")) == std::string::npos)
        if (!readMore(connection, request)) return false;
    const std::string field = "Content-Length: ";
    const std::size_t at = request.find(field);
    const std::size_t body =
        at == std::string::npos ? 0 : std::strtoul(&request[at + field.size()], nullptr, 10);
    while (request.size() < headersEnd + 4 + body)
        if (!readMore(connection, request)) return false;
    return true;
}

bool send(SSL* connection, const std::string& text) {
    return text.empty() || SSL_write(connection, text.data(), static_cast<int>(text.size())) > 0;
}

int portOf(int (*name)(int, sockaddr*, socklen_t*), int socket) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    name(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

/// Returns true when the client has taken all that was sent, as the kernel shows its end of the
/// connection.
bool hasReadAll(int socket) {
    int notArrived = 0;
    if (ioctl(socket, SIOCOUTQ, &notArrived) != 0 || notArrived != 0) return false;
    const int clients = portOf(getpeername, socket);
    const int ours = portOf(getsockname, socket);
    std::ifstream connections("/proc/net/tcp");
    for (std::string line; std::getline(connections, line);) {
        unsigned local = 0, remote = 0, waiting = 0;
        if (std::sscanf(line.c_str(), " %*d: %*x:%x %*x:%x %*x %*x:%x", &local, &remote,
                        &waiting) == 3 &&
            local == static_cast<unsigned>(clients) && remote == static_cast<unsigned>(ours))
            return waiting == 0;
    }
    return true;  // it has gone
}

void answer(SSL* connection, const TlsServer::Manners& manners) {
    if (!send(connection, manners.answer)) return;
    std::string ignored;
    switch (manners.end) {
        case TlsServer::CLOSES:
            SSL_shutdown(connection);
            break;
        case TlsServer::CUTS: {
            // What the client has not read by then would be lost with the connection, or not.
            eventually([&] { return hasReadAll(SSL_get_fd(connection)); });
            const linger atOnce = {1, 0};
            setsockopt(SSL_get_fd(connection), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            break;
        }
        case TlsServer::KEEPS_SILENT:
            while (readMore(connection, ignored)) continue;
            break;
        case TlsServer::REPEATS_ITSELF:
            while (send(connection, manners.repeated)) continue;
            break;
    }
}

}  // namespace

TlsServer::TlsServer(const std::string& name, const Manners& manners)
    : m_name(name), m_certificate(name, manners.validity) {
    m_process.emplace(ChildProcess::fork([&]() -> int {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(manners);
    }));
}

void TlsServer::serve(const Manners& manners) const {
    signal(SIGPIPE, SIG_IGN);  // clients go whenever they like
    const Context context(SSL_CTX_new(TLS_server_method()));
    SSL_CTX_use_certificate(context.get(), m_certificate.certificate());
    SSL_CTX_use_PrivateKey(context.get(), m_certificate.key());
    if (!manners.onlyProtocol.empty())
        SSL_CTX_set_alpn_select_cb(context.get(), selectProtocol,
                                   const_cast<std::string*>(&manners.onlyProtocol));
    for (;;) {
        const int client = accept4(m_port.listeningSocket(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) _exit(1);
        const Connection connection(SSL_new(context.get()));
        SSL_set_fd(connection.get(), client);
        if (SSL_accept(connection.get()) == 1 && readRequest(connection.get()))
            answer(connection.get(), manners);
        close(client);
    }
}

}  // namespace test_support
