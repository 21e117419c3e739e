#include <gtest/gtest.h>

#include "support/ScopedEnvVar.h"

namespace {

using test_support::ScopedEnvVar;

const char* const kName = "HCRPT_SCOPED_ENV_VAR_TEST";

TEST(ScopedEnvVarTest, TheFormerValueComesBack) {
    const ScopedEnvVar outer(kName, "outer");
    {
        ScopedEnvVar inner(kName, "inner");
        EXPECT_STREQ(std::getenv(kName), "inner");
        inner.set("changed");
        EXPECT_STREQ(std::getenv(kName), "changed");
    }
    EXPECT_STREQ(std::getenv(kName), "outer");
    {
        const ScopedEnvVar unset(kName, std::nullopt);
        EXPECT_EQ(std::getenv(kName), nullptr);
    }
    EXPECT_STREQ(std::getenv(kName), "outer");
}

TEST(ScopedEnvVarTest, AVariableThatWasNotThereIsUnsetAgain) {
    { const ScopedEnvVar variable(kName, ""); }
    EXPECT_EQ(std::getenv(kName), nullptr);
}

}  // namespace
