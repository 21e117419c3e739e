#include <gtest/gtest.h>

#include "velcurl/CurlEnvironment.h"

namespace velcurl {
namespace {

TEST(CurlEnvironmentTest, WhatLoadsForeignCodeOrChangesTrustIsHarmful) {
    for (const char* name : {"LD_LIBRARY_PATH",
                             "LD_PRELOAD",
                             "LD_AUDIT",
                             "LD_DEBUG",
                             "GCONV_PATH",
                             "GETCONF_DIR",
                             "GLIBC_TUNABLES",
                             "HOSTALIASES",
                             "LOCPATH",
                             "MALLOC_TRACE",
                             "NLSPATH",
                             "OPENSSL_CONF",
                             "OPENSSL_MODULES",
                             "OPENSSL_ENGINES",
                             "SSL_CERT_DIR",
                             "SSL_CERT_FILE",
                             "SSLKEYLOGFILE",
                             "CURL_HOME",
                             "CURL_CA_BUNDLE",
                             "CURL_SSL_BACKEND",
                             "BASH_ENV",
                             "BASH_FUNC_x%%",
                             "ENV",
                             "SHELLOPTS"})
        EXPECT_TRUE(isHarmful(name)) << name;
}

TEST(CurlEnvironmentTest, TheUsersNetworkAndSessionAreKept) {
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "ALL_PROXY", "no_proxy", "NO_PROXY",
                             "RES_OPTIONS", "HOME", "PATH", "LANG", "TMPDIR", "USER", "LD",
                             "XLD_PRELOAD", "ENVIRONMENT", "ENV2", "CURL", "SSL_CERT_FILES", ""})
        EXPECT_FALSE(isHarmful(name)) << name;
}

TEST(CurlEnvironmentTest, HarmfulEntriesGoAndTheOthersKeepOrderAndValue) {
    const char* const block[] = {
        "B=2=2", "LD_PRELOAD=/x.so", "A=", "NOVALUE", "SSL_CERT_FILE=/y", "C=LD_PRELOAD=z",
        nullptr};
    EXPECT_EQ(curlEnvironment(block),
              (std::vector<std::string>{"B=2=2", "A=", "NOVALUE", "C=LD_PRELOAD=z"}));
}

TEST(CurlEnvironmentTest, AnEmptyBlockStaysEmpty) {
    const char* const block[] = {nullptr};
    EXPECT_TRUE(curlEnvironment(block).empty());
}

}  // namespace
}  // namespace velcurl
