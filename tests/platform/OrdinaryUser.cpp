#include "platform/OrdinaryUser.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/ChildProcess.h"

namespace {

const uid_t kNobody = 65534;
enum Answer { YES = 0, NO = 1, COULD_NOT_ASK = 2 };

void giveAway(const std::string& directory) {
    EXPECT_EQ(lchown(directory.c_str(), kNobody, kNobody), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory))
        EXPECT_EQ(lchown(entry.path().c_str(), kNobody, kNobody), 0);
}

}  // namespace

bool asOrdinaryUser(const std::string& directory, const std::function<bool()>& body) {
    const bool isRoot = geteuid() == 0;
    if (isRoot) giveAway(directory);
    auto child = test_support::ChildProcess::fork([&] {
        if (isRoot && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return int{COULD_NOT_ASK};
        return int{body() ? YES : NO};
    });
    const test_support::ExitState end = child.wait();
    EXPECT_TRUE(end == test_support::exitedWith(YES) || end == test_support::exitedWith(NO)) << end;
    return end == test_support::exitedWith(YES);
}
