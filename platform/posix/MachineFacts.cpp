#include "MachineFacts.h"

#include <errno.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "FactParsers.h"
#include "Immortal.h"
#include "PathText.h"
#include "WholeText.h"
#include "base/Utf8.h"

namespace {

std::string runningExecutable() {
    char target[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", target, sizeof target);
    if (length <= 0 || length == sizeof target) return "";
    std::string path(target, static_cast<std::size_t>(length));
    // The kernel appends this mark when an update has replaced the program's file.
    const std::string mark = " (deleted)";
    struct stat status = {};
    if (path.size() > mark.size() && stat(path.c_str(), &status) != 0 &&
        path.compare(path.size() - mark.size(), mark.size(), mark) == 0)
        path.resize(path.size() - mark.size());
    return path;
}

void read(MachineFacts& facts) {
    struct utsname system = {};
    uname(&system);
    const std::string nodeName = system.nodename;
    facts.hostName = facts::hostName(nodeName);
    facts.domainName =
        facts::domainName(nodeName, system.domainname, wholeText("/etc/resolv.conf"));

    const unsigned int uid = getuid();
    const facts::Account account = facts::accountOf(uid, wholeText("/etc/passwd"));
    facts.userName =
        facts::userName(account.name, std::getenv("LOGNAME"), std::getenv("USER"), uid);
    facts.homeDirectory = account.home;

    const std::string arguments = wholeText("/proc/self/cmdline");
    facts.commandLine = hcrpt::validUtf8(facts::commandLine(arguments));
    facts.executable = runningExecutable();
    facts.programName = hcrpt::validUtf8(path_text::lastComponent(
        facts.executable.empty() ? arguments.substr(0, arguments.find('\0')) : facts.executable));
}

// Runs while the library is being loaded, when an exception would end the process: facts stay empty
// if memory is exhausted.
struct FactsAtLoad {
    FactsAtLoad() noexcept {
        const int before = errno;
        tzset();  // reads the time zone's file now, so that a crashing process need not
        try {
            read(facts);
        } catch (...) {
        }
        errno = before;
    }
    MachineFacts facts;
};

Immortal<FactsAtLoad> s_atLoad;

}  // namespace

const MachineFacts& machineFacts() {
    return s_atLoad.value.facts;
}
