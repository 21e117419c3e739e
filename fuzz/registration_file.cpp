// The registration file, to which processes of any machine write.
#include <cstdlib>
#include <filesystem>
#include <unordered_set>

#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "support/ScopedFakePlatform.h"

namespace {

const std::string kThisHost = "host";
const std::string kRunningProcess = "7";

/// This machine is "host", and process 7 is the only one that runs.
struct Session {
    Session() {
        platform.fakeHostName = kThisHost;
        platform.onExists = [this](const std::string& path) {
            if (path.compare(0, 6, "/proc/") == 0) return path == "/proc/" + kRunningProcess;
            return platform.HUTBackend::exists(path);
        };
        setenv("ZEB_SESSION_INFO", (fuzz::directory() + ":1").c_str(), 1);
        std::filesystem::create_directories(HCrashRptSettings::getCrashStorePath());
        HCrashRptUtils::redirectedStdOut = true;
    }
    test_support::ScopedFakePlatform platform;
};

std::vector<std::string> wordsOf(const std::string& content) {
    const char* const blanks = " \t\n\v\f\r";
    std::vector<std::string> words;
    std::size_t start = content.find_first_not_of(blanks);
    while (start != std::string::npos) {
        const std::size_t end = std::min(content.find_first_of(blanks, start), content.size());
        words.push_back(content.substr(start, end - start));
        start = content.find_first_not_of(blanks, end);
    }
    return words;
}

void checkIdentity(const std::string& record) {
    const HCrashReporter::HClientProcessInfo process(record);
    const std::string host = process.getHostName();
    const std::string pid = process.getProcessId();
    if (fuzz::contains(record, ":"))
        FUZZ_REQUIRE(host + ":" + pid == record && !fuzz::contains(host, ":"));
    else
        FUZZ_REQUIRE(host == record && pid == record);
    FUZZ_REQUIRE(process == HCrashReporter::HClientProcessInfo(pid, host));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Session session;
    if (size == 0) return 0;  // the function waits while the file is empty
    const std::string content = fuzz::text(data, size);
    fuzz::writeFile(HCrashRptSettings::getProcRegFileFullPath(), content);
    HCrashReporter::registeredProcSet.clear();
    fuzz::StandardOutput::clear();

    // Reading stops at the first process that runs.
    bool isOver = true;
    std::unordered_set<std::string> announced;
    std::string messages;
    for (const std::string& word : wordsOf(content)) {
        checkIdentity(word);
        if (announced.insert(word).second)
            messages +=
                "[Crash Reporter] New process registration successfull for <hostname>:<pid> = " +
                word + "\n";
        isOver = word != kThisHost + ":" + kRunningProcess;
        if (!isOver) break;
    }
    FUZZ_REQUIRE(HCrashReporter::isExitCondition() == isOver);
    FUZZ_REQUIRE(HCrashReporter::registeredProcSet == announced);
    FUZZ_REQUIRE(fuzz::StandardOutput::content() == messages);

    // A record is announced only once.
    fuzz::StandardOutput::clear();
    FUZZ_REQUIRE(HCrashReporter::isExitCondition() == isOver);
    FUZZ_REQUIRE(fuzz::StandardOutput::content().empty());
    return 0;
}
