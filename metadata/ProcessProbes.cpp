// How the host was started, and what its user interface leaves for a report.

#include <fstream>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "base/OpenStream.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/ProbeParsers.h"

namespace HCrashRptMetaData {

std::string Manager::getCmdline() const {
    return hcrpt::withoutProgramDirectory(HUTEnv::getCmdline());
}

std::string Manager::getTestcase(std::string cmdline) const {
    const std::string script = hcrpt::sourceScript(cmdline);
    if (script.empty() || !HUTEnv::isHostInsideVeltra()) return script;
    // On purpose also in front of an absolute path: the text always tells the directory that the
    // host ran in.
    return HUTEnv::getPWD() + HUTFile::getDirSeparator() + script;
}

bool Manager::addGuiStrFileContentToMetaDataTable(const std::string& path) {
    if (path.empty()) return true;
    std::ifstream dump;
    hcrpt::openStream(dump, path, std::ios::in);
    if (!dump.is_open()) return true;
    std::vector<TableNode*> lines;
    std::string line;
    while (std::getline(dump, line)) addItem(lines, line);
    addItem("GuiStrDump", lines);
    return true;
}

}  // namespace HCrashRptMetaData
