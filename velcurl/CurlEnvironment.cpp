#include "velcurl/CurlEnvironment.h"

namespace velcurl {
namespace {

// A name that ends in "*" stands for all names with that beginning. The user's proxy variables and
// the resolver's options are not listed: curl needs them to cross the user's network.
constexpr const char* kHarmful[] = {
    // The dynamic linker and the C library: other code, other data files.
    "LD_*",
    "GCONV_PATH",
    "GETCONF_DIR",
    "GLIBC_TUNABLES",
    "HOSTALIASES",
    "LOCPATH",
    "MALLOC_*",
    "NLSPATH",
    // The TLS library: modules, settings, trusted certificates, a log of session keys.
    "OPENSSL_*",
    "SSL_CERT_DIR",
    "SSL_CERT_FILE",
    "SSLKEYLOGFILE",
    // curl itself: CURL_HOME, CURL_CA_BUNDLE, CURL_SSL_BACKEND and its debug switches.
    "CURL_*",
    // A curl that is a shell script.
    "BASH_ENV",
    "BASH_FUNC_*",
    "ENV",
    "SHELLOPTS",
};

}  // namespace

bool isHarmful(const std::string& name) {
    for (const std::string pattern : kHarmful) {
        if (pattern.back() == '*') {
            const std::string::size_type length = pattern.size() - 1;
            if (name.compare(0, length, pattern, 0, length) == 0) return true;
        } else if (name == pattern) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> curlEnvironment(const char* const* environment) {
    std::vector<std::string> kept;
    for (; *environment != nullptr; ++environment) {
        const std::string entry = *environment;
        if (!isHarmful(entry.substr(0, entry.find('=')))) kept.push_back(entry);
    }
    return kept;
}

}  // namespace velcurl
