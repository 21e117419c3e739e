#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "HUTPlatform.h"
#include "support/ScopedEnvVar.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

class DirectoriesTest : public testing::Test {
  protected:
    void SetUp() override { HUTPlatform::setProduct({"Designer", "", 0, ""}); }
    void TearDown() override { HUTPlatform::setProduct({}); }
    std::string privateName() const { return "/designer-" + HUTEnv::getUserName(); }

    const TempDir m_dir;
    ScopedEnvVar m_root{"HUT_APP_ROOT", std::nullopt};
    ScopedEnvVar m_appData{"HUT_APP_DATA_DIR", std::nullopt};
    ScopedEnvVar m_tmp{"HUT_TMP_DIR", std::nullopt};
    ScopedEnvVar m_data{"HUT_DATA_DIR", std::nullopt};
    ScopedEnvVar m_home{"HOME", m_dir.path()};
    ScopedEnvVar m_xdgData{"XDG_DATA_HOME", std::nullopt};
    ScopedEnvVar m_tmpdir{"TMPDIR", m_dir.path()};
};

// --- Root ---

TEST_F(DirectoriesTest, TheRootCanBeOverriddenByAnAbsolutePath) {
    const std::string standard = HUTEnv::getTUVAppRoot();
    EXPECT_TRUE(HUTFile(standard).isDir()) << standard;
    m_root.set("/opt/product");
    EXPECT_EQ(HUTEnv::getTUVAppRoot(), "/opt/product");
    m_root.set("relative/place");
    EXPECT_EQ(HUTEnv::getTUVAppRoot(), standard);
    m_root.set("");
    EXPECT_EQ(HUTEnv::getTUVAppRoot(), standard);
}

// --- Application data ---

TEST_F(DirectoriesTest, ApplicationDataLiesInTheUsersDataHome) {
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / ".local/share/designer");
    m_xdgData.set(m_dir / "xdg");
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / "xdg/designer");
    m_xdgData.set("relative");
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / ".local/share/designer");
}

TEST_F(DirectoriesTest, ApplicationDataOfAFreshAccountIsMadeForItsOwner) {
    const std::string directory = HUTEnv::getTUVAppDataDir();
    EXPECT_TRUE(HUTFile(directory).isDir());
    EXPECT_EQ(modeOf(directory), 0700u);
    EXPECT_EQ(modeOf(m_dir / ".local"), 0700u);
    // The backup store is made one level deep only.
    EXPECT_TRUE(HUTFile(directory + "/crashStoreBackup").mkDir());
}

TEST_F(DirectoriesTest, AnOverriddenApplicationDataDirectoryIsMadeToo) {
    m_appData.set(m_dir / "chosen/place");
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / "chosen/place");
    EXPECT_TRUE(HUTFile(m_dir / "chosen/place").isDir());
    m_appData.set("relative");
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / ".local/share/designer");
}

TEST_F(DirectoriesTest, ApplicationDataThatCannotBeMadeIsNamedAllTheSame) {
    writeFile(m_dir / "file", "");
    m_xdgData.set(m_dir / "file");
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / "file/designer");
    EXPECT_FALSE(HUTFile::exists(m_dir / "file/designer"));
}

TEST_F(DirectoriesTest, AHostWithoutProductNameUsesACommonDirectory) {
    HUTPlatform::setProduct({});
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / ".local/share/zeb");
}

TEST_F(DirectoriesTest, ProductNamesNeverLeadOutOfTheDataHome) {
    HUTPlatform::setProduct({"../My Product", "", 0, ""});
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), m_dir / ".local/share/_._my_product");
}

// --- Temporary directory ---

TEST_F(DirectoriesTest, TheTemporaryDirectoryIsThisUsersOwn) {
    const std::string directory = HUTEnv::getTUVTmpDir();
    EXPECT_EQ(directory, m_dir.path() + privateName());
    EXPECT_EQ(modeOf(directory), 0700u);
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), directory);  // also when it is there already
}

TEST_F(DirectoriesTest, TheTemporaryDirectoryCanBeOverriddenByAnAbsolutePath) {
    m_tmp.set(m_dir / "chosen");
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), m_dir / "chosen");
    m_tmp.set("relative");
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), m_dir.path() + privateName());
}

TEST_F(DirectoriesTest, ATmpdirThatIsRelativeOrNeedsQuotesIsNotUsed) {
    HUTPlatform::setProduct({"hcrpt test " + std::to_string(getpid()), "", 0, ""});
    const std::string below =
        "/tmp/hcrpt_test_" + std::to_string(getpid()) + "-" + HUTEnv::getUserName();
    for (const std::string& value : {std::string("relative"), m_dir / "with blank"}) {
        m_tmpdir.set(value);
        EXPECT_EQ(HUTEnv::getTUVTmpDir(), below) << value;
    }
    EXPECT_TRUE(HUTFile(below).rmRecursive());
}

TEST_F(DirectoriesTest, ALinkThatSomebodyPlantedIsNotUsed) {
    ASSERT_TRUE(HUTFile(m_dir / "planted").mkDir());
    ASSERT_EQ(symlink("planted", (m_dir.path() + privateName()).c_str()), 0);
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), m_dir / ".local/share/designer/tmp");
}

TEST_F(DirectoriesTest, ADirectoryThatOthersMayWriteIsNotUsed) {
    const std::string directory = m_dir.path() + privateName();
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    for (const mode_t mode : {0770, 0702}) {
        ASSERT_EQ(chmod(directory.c_str(), mode), 0);
        EXPECT_EQ(HUTEnv::getTUVTmpDir(), m_dir / ".local/share/designer/tmp") << mode;
    }
}

TEST_F(DirectoriesTest, ADirectoryOfAnotherUserIsNotUsed) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can make a directory of another user";
    const std::string directory = m_dir.path() + privateName();
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    ASSERT_EQ(chown(directory.c_str(), 65534, 65534), 0);
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), m_dir / ".local/share/designer/tmp");
}

TEST_F(DirectoriesTest, WithoutAPlaceForTemporariesTheDataHomeIsUsed) {
    m_tmpdir.set(m_dir / "missing");
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), m_dir / ".local/share/designer/tmp");
}

// --- Data ---

TEST_F(DirectoriesTest, TheDataRootIsTheFirstThatHoldsThePath) {
    m_root.set(m_dir / "root");
    for (const char* place : {"one", "two", "root/data"})
        ASSERT_TRUE(HUTFile(m_dir / place).mkDirRecursive());
    m_data.set((m_dir / "one") + "::relative:" + (m_dir / "two"));
    EXPECT_EQ(HUTEnv::getZEBDataDir("telemon/f"), m_dir / "root/data");
    ASSERT_TRUE(HUTFile(m_dir / "two/telemon").mkDir());
    writeFile(m_dir / "two/telemon/f", "");
    EXPECT_EQ(HUTEnv::getZEBDataDir("telemon/f"), m_dir / "two");
    ASSERT_TRUE(HUTFile(m_dir / "one/telemon").mkDir());
    writeFile(m_dir / "one/telemon/f", "");
    EXPECT_EQ(HUTEnv::getZEBDataDir("telemon/f"), m_dir / "one");
}

TEST_F(DirectoriesTest, TheInstallationsDataIsTheRootWhenNothingElseIsChosen) {
    m_root.set("/opt/product");
    EXPECT_EQ(HUTEnv::getZEBDataDir("telemon/cacert.pem"), "/opt/product/data");
}

}  // namespace
