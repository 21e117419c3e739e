#include <gtest/gtest.h>

#include <type_traits>

#include "hcrpt/HCrashRptTransmit.h"
#include "transmit/PlainFields.h"

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

TEST(ServerInfoCLTest, ItsFieldsArePlainTexts) {
    transmit_test::expectPlainFields<ServerInfoCL>(
        {{&ServerInfoCL::setUrl, &ServerInfoCL::getUrl},
         {&ServerInfoCL::setDomainName, &ServerInfoCL::getDomainName},
         {&ServerInfoCL::setAccess, &ServerInfoCL::getAccess}});
}

}  // namespace
