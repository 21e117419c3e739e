#include "velcurl/Advice.h"

namespace velcurl {
namespace {

struct Advice {
    int status;
    const char* text;
};

constexpr Advice kOnHttp[] = {
    {200, "only HTTP/1.1 with the reason OK counts"},
    {400, "the server cannot read the upload: compare the versions of both sides"},
    {401, "the server wants a login: the address may be another server's"},
    {403, "check the access code, and whether the server shuts this machine out"},
    {404, "no report server is at this address"},
    {405, "no report server is at this address"},
    {407, "the proxy wants a login: check the proxy variables"},
    {408, "the upload took the server too long: check the network"},
    {413, "the report is longer than the server takes"},
    {429, "the server limits uploads: send the filed report later"},
    {500, "the server is in trouble: see its log"},
    {502, "a gateway stands before the server and does not reach it"},
    {503, "the server is overloaded or being maintained"},
    {504, "a gateway stands before the server and does not reach it"},
};

constexpr Advice kOnCurl[] = {
    {1, "what answers there does not speak HTTP/1.1"},
    {2, "curl does not know an option: check its version"},
    {5, "check the proxy variables and this machine's name servers"},
    {6, "check this machine's name servers and network"},
    {7, "nobody listens there, or a firewall refuses it"},
    {8, "what answers there does not speak proper HTTP"},
    {18, "the connection was cut: check server, proxies and network"},
    {26, "the report cannot be read"},
    {28, "the server, or the network before it, is silent or too slow"},
    {35, "what answers there does not agree on TLS: too old, or no TLS server"},
    {52, "the server closed the connection: see its log"},
    {55, "the connection was cut: check server, proxies and network"},
    {56, "the connection was cut: check server, proxies and network"},
    {63, "no report server answers so"},
    {77, "cacert.pem cannot be read or holds no certificate"},
    {97, "check the proxy variables and the proxy"},
};

template <std::size_t N>
const char* find(const Advice (&table)[N], int status) {
    for (const Advice& advice : table)
        if (advice.status == status) return advice.text;
    return nullptr;
}

// curl ends with 60 forevery problem with a certificate; only its message names the problem.
std::string onCertificate(const std::string& complaint) {
    const auto says = [&](const char* part) { return complaint.find(part) != std::string::npos; };
    if (says("expired") || says("not yet valid"))
        return "renew the server's certificate, or set this machine's clock";
    if (says("subject name"))
        return "the certificate is another server's: check the address and what answers there";
    return "cacert.pem does not hold the authority of the certificate, or another server answers";
}

}  // namespace

std::string adviceOnHttp(int status) {
    if (const char* text = find(kOnHttp, status)) return text;
    if (status < 300) return "only status 200 says that a report is stored";
    if (status < 400) return "redirects are not followed: check the address and what answers there";
    if (status < 500) return "the server refuses the upload: see its log";
    return "the server is in trouble: see its log";
}

std::string adviceOnCurl(int exitStatus, const std::string& complaint) {
    if (exitStatus == 60 || exitStatus == 51) return onCertificate(complaint);
    if (exitStatus == 35 && complaint.find("application protocol") != std::string::npos)
        return "the server does not speak HTTP/1.1, perhaps HTTP/2 only";
    if (exitStatus == 56 && complaint.find("CONNECT") != std::string::npos)
        return "the proxy does not let the upload through: check the proxy variables";
    if (const char* text = find(kOnCurl, exitStatus)) return text;
    return "see the trace below";
}

}  // namespace velcurl
