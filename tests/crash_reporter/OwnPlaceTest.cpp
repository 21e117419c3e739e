#include <sys/stat.h>
#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/OwnPlace.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::Finding;
using crash_reporter::inspectPlace;
using crash_reporter::PlaceKind;

class OwnPlaceTest : public crash_reporter_test::StoreScene {
  protected:
    static unsigned modeOf(const std::string& path) {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_mode & 07777U;
    }
};

TEST_F(OwnPlaceTest, AMissingOneIsTold) {
    EXPECT_TRUE(inspectPlace(store + "/none", PlaceKind::directory).missing);
    EXPECT_TRUE(inspectPlace(add("file") + "/none", PlaceKind::file).missing);
    EXPECT_FALSE(inspectPlace(store, PlaceKind::directory).missing);
}

TEST_F(OwnPlaceTest, OthersRightsAreTakenAway) {
    for (const mode_t mode : {0777U, 0755U, 0710U, 0702U}) {
        chmod(store.c_str(), mode);
        const Finding finding = inspectPlace(store, PlaceKind::directory);
        EXPECT_TRUE(finding.restricted);
        EXPECT_EQ(finding.objection, "");
        EXPECT_EQ(modeOf(store), 0700U);
    }
    EXPECT_FALSE(inspectPlace(store, PlaceKind::directory).restricted);
    const std::string file = add("file");
    chmod(file.c_str(), 0644);
    EXPECT_TRUE(inspectPlace(file, PlaceKind::file).restricted);
    EXPECT_EQ(modeOf(file), 0600U);
}

TEST_F(OwnPlaceTest, ALinkIsObjectedToAndWhatItLeadsToIsLeftAlone) {
    chmod(store.c_str(), 0755);
    fs::create_symlink(store, directory / "link");
    for (const char* end : {"", "/", "//"})
        EXPECT_EQ(inspectPlace((directory / "link") + end, PlaceKind::directory).objection,
                  "is a symbolic link");
    fs::create_symlink(directory / "nowhere", directory / "dangling");
    EXPECT_EQ(inspectPlace(directory / "dangling", PlaceKind::file).objection,
              "is a symbolic link");
    EXPECT_EQ(modeOf(store), 0755U);
}

TEST_F(OwnPlaceTest, OneOfAnotherKindIsTold) {
    EXPECT_TRUE(inspectPlace(add("file"), PlaceKind::directory).otherKind);
    EXPECT_TRUE(inspectPlace(store, PlaceKind::file).otherKind);
    const std::string pipe = store + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(inspectPlace(pipe, PlaceKind::file).otherKind) << "or it would wait for a writer";
}

TEST_F(OwnPlaceTest, AnotherUsersIsObjectedTo) {
    if (geteuid() == 0) {
        chmod(store.c_str(), 0755);
        ASSERT_EQ(chown(store.c_str(), 65534, 65534), 0);
        EXPECT_EQ(inspectPlace(store, PlaceKind::directory).objection, "belongs to another user");
        EXPECT_EQ(modeOf(store), 0755U);
    } else {
        EXPECT_EQ(inspectPlace("/", PlaceKind::directory).objection, "belongs to another user");
    }
}

}  // namespace
