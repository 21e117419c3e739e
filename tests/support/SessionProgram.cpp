#include "support/SessionProgram.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

namespace test_support {

ChildProcess startProgram(const Session& session, const std::string& path,
                          const std::vector<std::string>& arguments,
                          const std::map<std::string, std::string>& environment,
                          const std::function<void()>& preparation) {
    return ChildProcess::fork([&] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // not even a test that is killed leaves it behind
        for (const std::string& name : Session::unwantedVariables()) unsetenv(name.c_str());
        for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
        if (chdir(session.work.c_str()) != 0) return 126;
        std::vector<char*> vector;
        for (const std::string& argument : arguments)
            vector.push_back(const_cast<char*>(argument.c_str()));
        vector.push_back(nullptr);
        if (preparation) preparation();
        execv(path.c_str(), vector.data());
        return 127;
    });
}

}  // namespace test_support
