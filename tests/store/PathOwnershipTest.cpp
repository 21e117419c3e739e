#include <sys/stat.h>
#include <unistd.h>

#include "crash_reporter/StoreScene.h"
#include "store/PathOwnership.h"

namespace {

namespace fs = std::filesystem;
using hcrpt::Finding;
using hcrpt::inspectPath;
using hcrpt::PathKind;

class PathOwnershipTest : public crash_reporter_test::StoreScene {
  protected:
    static unsigned modeOf(const std::string& path) {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_mode & 07777U;
    }
};

TEST_F(PathOwnershipTest, AMissingOneIsTold) {
    EXPECT_TRUE(inspectPath(store + "/none", PathKind::directory).missing);
    EXPECT_TRUE(inspectPath(add("file") + "/none", PathKind::file).missing);
    EXPECT_FALSE(inspectPath(store, PathKind::directory).missing);
}

TEST_F(PathOwnershipTest, OthersRightsAreTakenAway) {
    for (const mode_t mode : {0777U, 0755U, 0710U, 0702U}) {
        chmod(store.c_str(), mode);
        const Finding finding = inspectPath(store, PathKind::directory);
        EXPECT_TRUE(finding.restricted);
        EXPECT_EQ(finding.objection, std::nullopt);
        EXPECT_EQ(modeOf(store), 0700U);
    }
    EXPECT_FALSE(inspectPath(store, PathKind::directory).restricted);
    const std::string file = add("file");
    chmod(file.c_str(), 0644);
    EXPECT_TRUE(inspectPath(file, PathKind::file).restricted);
    EXPECT_EQ(modeOf(file), 0600U);
}

TEST_F(PathOwnershipTest, ALinkIsObjectedToAndWhatItLeadsToIsLeftAlone) {
    chmod(store.c_str(), 0755);
    fs::create_symlink(store, directory / "link");
    for (const char* end : {"", "/", "//"})
        EXPECT_EQ(inspectPath((directory / "link") + end, PathKind::directory).objection,
                  "is a symbolic link");
    fs::create_symlink(directory / "nowhere", directory / "dangling");
    EXPECT_EQ(inspectPath(directory / "dangling", PathKind::file).objection, "is a symbolic link");
    EXPECT_EQ(modeOf(store), 0755U);
}

TEST_F(PathOwnershipTest, OneOfAnotherKindIsTold) {
    EXPECT_TRUE(inspectPath(add("file"), PathKind::directory).otherKind);
    EXPECT_TRUE(inspectPath(store, PathKind::file).otherKind);
    const std::string pipe = store + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(inspectPath(pipe, PathKind::file).otherKind) << "or it would wait for a writer";
}

TEST_F(PathOwnershipTest, AnotherUsersIsObjectedTo) {
    if (geteuid() == 0) {
        chmod(store.c_str(), 0755);
        ASSERT_EQ(chown(store.c_str(), 65534, 65534), 0);
        EXPECT_EQ(inspectPath(store, PathKind::directory).objection, "belongs to another user");
        EXPECT_EQ(modeOf(store), 0755U);
    } else {
        EXPECT_EQ(inspectPath("/", PathKind::directory).objection, "belongs to another user");
    }
}

}  // namespace
