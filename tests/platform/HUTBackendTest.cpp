#include <gtest/gtest.h>

#include "HUTBackend.h"
#include "HUTEnv.h"
#include "HUTFork.h"

namespace {

class Named : public HUTBackend {
  public:
    explicit Named(const std::string& name) : m_name(name) {}
    std::string hostName() override { return m_name; }
    std::string domainName() override { return HCRPT_DOMAIN_NAME; }

  private:
    std::string m_name;
};

TEST(HUTBackendTest, AnotherObjectAnswersUntilThePosixOneIsBack) {
    const std::string real = HUTEnv::getHostName();
    Named first("first"), second("second");
    EXPECT_EQ(HUTBackend::replace(&first), nullptr);
    EXPECT_EQ(HUTEnv::getHostName(), "first");
    EXPECT_EQ(HUTBackend::replace(&second), &first);
    EXPECT_EQ(HUTEnv::getHostName(), "second");
    EXPECT_EQ(&HUTBackend::current(), &second);
    EXPECT_EQ(HUTBackend::replace(nullptr), &second);
    EXPECT_EQ(HUTEnv::getHostName(), real);
    EXPECT_EQ(HUTBackend::replace(nullptr), nullptr);
}

TEST(HUTBackendTest, AReplacedFactSteersWhatIsDerivedFromIt) {
    unsetenv("HUT_INSIDE_NETWORK");
    Named inside("first");
    HUTBackend::replace(&inside);
    EXPECT_TRUE(HUTEnv::isHostInsideVeltra());
    HUTBackend::replace(nullptr);
}

TEST(HUTBackendTest, LaunchPassesItsFlagsInOrder) {
    struct Recorder : HUTBackend {
        std::string seen;
        int launch(const std::string& cmdLine, bool throughShell, bool wait, bool inheritOutput,
                   bool inheritInput, bool inheritEnvironment) override {
            seen = cmdLine;
            for (const bool flag :
                 {throughShell, wait, inheritOutput, inheritInput, inheritEnvironment})
                seen += flag ? '1' : '0';
            return 42;
        }
    } recorder;
    HUTBackend::replace(&recorder);
    HUTFork fork;
    fork.setCmdLine("cmd ", true);
    EXPECT_EQ(fork.launch(false, true, false, true), 42);
    EXPECT_EQ(recorder.seen, "cmd 10101");
    fork.setCmdLine("other ", false);
    EXPECT_EQ(fork.launch(true, false, true, false), 42);
    EXPECT_EQ(recorder.seen, "other 01010");
    HUTBackend::replace(nullptr);
}

}  // namespace
