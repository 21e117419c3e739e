#include <sys/stat.h>
#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/SessionPlaces.h"
#include "hcrpt/HCrashRptSettings.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::Refusal;
using crash_reporter::SessionPlaces;
using namespace test_support;
using Texts = std::vector<std::string>;

class SessionPlacesTest : public crash_reporter_test::StoreScene {
  protected:
    SessionPlacesTest() {
        writeRegistrations("");
        platform.fakeDataDir = appData;
        fs::create_directories(backupStore());
        for (const std::string& path : ours()) fs::permissions(path, fs::perms::owner_all);
        fs::permissions(registrations, fs::perms(0600));
    }
    static std::string backupStore() { return HCrashRptSettings::getCrashBackupStorePath(); }
    Texts ours() const {
        return {work + "/.crashReporter", sessionDirectory, store, backupStore()};
    }
    static std::string remark(const std::string& path) {
        return "Took other users' rights to " + path + " away.";
    }

    SessionPlaces places;
};

TEST_F(SessionPlacesTest, WhatIsForItsOwnerOnlyIsNotRemarkedOn) {
    EXPECT_EQ(places.prepareSessionDirectory(), Refusal());
    EXPECT_EQ(places.inspectStores(), Refusal());
    EXPECT_EQ(places.remarks(), Texts());
}

TEST_F(SessionPlacesTest, RightsOfOthersAreTakenAwayAndRemarkedOn) {
    for (const std::string& path : ours()) fs::permissions(path, fs::perms(0755));
    fs::permissions(registrations, fs::perms(0644));
    EXPECT_EQ(places.prepareSessionDirectory(), Refusal());
    EXPECT_EQ(places.inspectStores(), Refusal());
    EXPECT_EQ(places.remarks(),
              (Texts{remark(work + "/.crashReporter"), remark(sessionDirectory),
                     remark(backupStore()), remark(store), remark(registrations)}));
    for (const std::string& path : ours())
        EXPECT_EQ(fs::status(path).permissions(), fs::perms(0700)) << path;
    EXPECT_EQ(fs::status(registrations).permissions(), fs::perms(0600));
}

TEST_F(SessionPlacesTest, ALinkIsRefusedInWordsEverywhereButInThePlaceOfTheBackupStore) {
    const auto makeLink = [this](const std::string& path) {
        fs::rename(path, directory / "moved");
        fs::create_directory_symlink(directory / "moved", path);
    };
    const auto undo = [this](const std::string& path) {
        fs::remove(path);
        fs::rename(directory / "moved", path);
    };
    const auto refusal = [this] {
        Refusal found = places.prepareSessionDirectory();
        if (!found) found = places.inspectStores();
        return found.value_or("none");
    };
    const auto begins = [](const std::string& text, const std::string& beginning) {
        return text.rfind(beginning, 0) == 0;
    };
    const std::vector<std::pair<std::string, std::string>> names = {
        {"directory ", work + "/.crashReporter"},
        {"session directory ", sessionDirectory},
        {"crash store ", store},
        {"registration file ", registrations}};
    for (const auto& [name, path] : names) {
        makeLink(path);
        EXPECT_TRUE(begins(refusal(), "refusing " + name + path + ", which is a symbolic link"))
            << refusal();
        undo(path);
    }
    makeLink(backupStore());
    EXPECT_EQ(refusal(), "none");
}

TEST_F(SessionPlacesTest, ADirectoryIsNoRegistrationFile) {
    fs::remove(registrations);
    fs::create_directory(registrations);
    EXPECT_EQ(places.inspectStores(),
              "refusing registration file " + registrations + ", which is not a regular file");
}

TEST_F(SessionPlacesTest, MissingDirectoriesAreMadeForTheirOwnerOnly) {
    fs::remove_all(work + "/.crashReporter");
    EXPECT_EQ(places.prepareSessionDirectory(), Refusal());
    EXPECT_EQ(fs::status(sessionDirectory).permissions(), fs::perms(0700));
    EXPECT_EQ(places.inspectStores(), Refusal()) << "what is missing may be made";
    EXPECT_EQ(places.remarks(), Texts());
}

TEST_F(SessionPlacesTest, ASessionDirectoryThatCannotBeMadeIsRefused) {
    fs::remove_all(sessionDirectory);
    writeFile(sessionDirectory, "");
    EXPECT_EQ(places.prepareSessionDirectory(),
              "cannot write to session directory " + sessionDirectory);
}

}  // namespace
