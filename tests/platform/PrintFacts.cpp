// Prints the fact that its first argument names.
#include <cstdio>
#include <cstring>
#include <string>

#include "HUTEnv.h"

namespace {

// Asks foreverything again when nearly all else of the process has gone.
struct AskInExitHandler {
    bool armed = false;
    ~AskInExitHandler() {
        if (!armed) return;
        std::string stamp;
        HUTEnv::getTimeStamp(stamp);
        std::printf("%s|%s|%s|%d|%zu|%s\n", HUTEnv::getHostName().c_str(),
                    HUTEnv::getUserName().c_str(), HUTEnv::getPWD().c_str(), HUTEnv::getPid(),
                    stamp.size(), HUTEnv::getProductName().c_str());
    }
};
AskInExitHandler s_askInExitHandler;

std::string fact(const std::string& name) {
    if (name == "app-root") return HUTEnv::getTUVAppRoot();
    if (name == "program-name") return HUTEnv::getProgramName();
    if (name == "command-line") return HUTEnv::getCmdline();
    return "unknown fact";
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) return 2;
    if (std::strcmp(argv[1], "in-exit-routine") == 0) {
        // Made now, so that the objects behind it end before the static object above does.
        const std::string before = HUTEnv::getPWD();
        s_askInExitHandler.armed = !before.empty();
        return 0;
    }
    std::printf("%s\n", fact(argv[1]).c_str());
    return 0;
}
