#include <gtest/gtest.h>

#include <type_traits>

#include "hcrpt/HCrashRptTransmit.h"

namespace {

// A plain value: three texts and nothing else, no virtual operations.
static_assert(!std::is_polymorphic_v<ServerInfoCL> && std::is_copy_assignable_v<ServerInfoCL>);
static_assert(sizeof(ServerInfoCL) == 3 * sizeof(std::string));

TEST(ServerInfoCLTest, IsEmptyAtFirst) {
    const ServerInfoCL info;
    EXPECT_EQ(info.getUrl(), "");
    EXPECT_EQ(info.getDomainName(), "");
    EXPECT_EQ(info.getAccess(), "");
}

TEST(ServerInfoCLTest, EachSetterChangesItsOwnFieldOnlyAndNeitherChecksNorTrims) {
    ServerInfoCL info;
    info.setUrl(" no url ");
    info.setDomainName("domain\t");
    info.setAccess("far too long for an access code");
    EXPECT_EQ(info.getUrl(), " no url ");
    EXPECT_EQ(info.getDomainName(), "domain\t");
    EXPECT_EQ(info.getAccess(), "far too long for an access code");
}

TEST(ServerInfoCLTest, AssigningAFieldToItselfChangesNothing) {
    ServerInfoCL info;
    info.setUrl("https://u");
    info.setDomainName("d");
    info.setAccess("a");
    info.setUrl(info.getUrl());
    info.setDomainName(info.getDomainName());
    info.setAccess(info.getAccess());
    EXPECT_EQ(info.getUrl(), "https://u");
    EXPECT_EQ(info.getDomainName(), "d");
    EXPECT_EQ(info.getAccess(), "a");
}

TEST(ServerInfoCLTest, WhatAGetterGaveStaysWhenTheFieldChanges) {
    ServerInfoCL info;
    info.setUrl("https://u");
    info.setDomainName("d");
    info.setAccess("a");
    const std::string& url = info.getUrl();
    const std::string& domainName = info.getDomainName();
    const std::string& access = info.getAccess();
    info.setUrl("");
    info.setDomainName("");
    info.setAccess("");
    EXPECT_EQ(url, "https://u");
    EXPECT_EQ(domainName, "d");
    EXPECT_EQ(access, "a");
}

TEST(ServerInfoCLTest, ACopyIsIndependent) {
    ServerInfoCL info;
    info.setUrl("before");
    const ServerInfoCL copy = info;
    info.setUrl("after");
    EXPECT_EQ(copy.getUrl(), "before");
}

}  // namespace
