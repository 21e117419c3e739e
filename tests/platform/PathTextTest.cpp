#include <gtest/gtest.h>

#include <string>

#include "posix/PathText.h"

namespace {

/// Paths, and what an operation makes of them.
struct Row {
    const char* path;
    const char* result;
};

template <class Operation, std::size_t N>
void expectRows(Operation operation, const Row (&rows)[N]) {
    for (const Row& row : rows)
        EXPECT_EQ(operation(row.path), row.result) << "'" << row.path << "'";
}

TEST(PathTextTest, TrailingSlashesGoButTheRootStays) {
    expectRows(path_text::withoutTrailingSlashes,
               {{"/a/b//", "/a/b"}, {"a", "a"}, {"///", "/"}, {"", ""}});
}

TEST(PathTextTest, TheLastComponentDoesNotCountSlashesBehindIt) {
    expectRows(path_text::lastComponent,
               {{"/a/b.log", "b.log"}, {"/a/b/", "b"}, {"b", "b"}, {"/", ""}, {"", ""}});
}

TEST(PathTextTest, TheParentOfABareNameIsTheWorkingDirectory) {
    expectRows(path_text::parentDirectory,
               {{"b", "."}, {"/b", "/"}, {"/a//b/", "/a"}, {"a/b", "a"}});
}

TEST(PathTextTest, TheRootIsAboveTheDirectoryOfThePrograms) {
    expectRows(path_text::installationRoot, {{"/opt/p/bin/unwrapped/lnx64.o/host", "/opt/p"},
                                             {"/bin/unwrapped/lnx64.o/host", "/"}});
}

TEST(PathTextTest, AProgramElsewhereHasItsOwnDirectoryAsRoot) {
    expectRows(path_text::installationRoot,
               {{"/usr/bin/host", "/usr/bin"},
                {"/opt/bin/unwrapped/lnx64.o/deeper/host", "/opt/bin/unwrapped/lnx64.o/deeper"},
                {"/opt/xbin/unwrapped/lnx64.o/host", "/opt/xbin/unwrapped/lnx64.o"},
                {"", ""}});
}

}  // namespace
