#include "HUTFork.h"

#include "HUTBackend.h"

void HUTFork::setCmdLine(const std::string& cmdLine, bool throughShell) {
    m_cmdLine = cmdLine;
    m_throughShell = throughShell;
}

int HUTFork::launch(bool wait, bool inheritOutput, bool inheritInput, bool inheritEnvironment) {
    return HUTBackend::current().launch(m_cmdLine, m_throughShell, wait, inheritOutput,
                                        inheritInput, inheritEnvironment);
}
