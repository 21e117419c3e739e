// Probes of the host process: its command line and the texts of its user interface.

#include <optional>
#include <sstream>
#include <string>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "base/FileDescriptor.h"
#include "base/OwnedFile.h"
#include "base/ReadAll.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/ProbeParsers.h"

namespace HCrashRptMetaData {
namespace {

constexpr std::size_t kMaxDump = std::size_t{1024} * 1024;  // bytes; a longer dump is cut

/// Lines of a dump, each with its end. Nothing when the file is no dump of this user: the launch
/// directory may be open to others, who could put a link to a private file in the dump's place and
/// have the report carry its content away. A private file with a second, hard link is the same.
std::optional<std::string> linesOfDump(const std::string& path) {
    struct stat status = {};
    const hcrpt::FileDescriptor file(hcrpt::openOwnedFile(path.c_str(), status));
    if (!file.isOpen() || status.st_nlink != 1) return std::nullopt;
    std::string text(kMaxDump, '\0');
    text.resize(hcrpt::readAll(file.get(), text.data(), text.size()));
    if (text.size() == kMaxDump) text.resize(text.rfind('\n') + 1);  // the last line may be cut
    return text;
}

}  // namespace

std::string Manager::getCmdline() const {
    return hcrpt::withoutProgramDirectory(HUTEnv::getCmdline());
}

std::string Manager::getTestcase(std::string cmdline) const {
    const std::string script = hcrpt::sourceScript(cmdline);
    if (script.empty() || !HUTEnv::isHostInsideVeltra()) return script;
    // Contract: the working directory is put before an absolute path, too: the text always shows
    // the directory in which the host ran.
    return HUTEnv::getPWD() + HUTFile::getDirSeparator() + script;
}

bool Manager::addGuiStrFileContentToMetaDataTable(const std::string& path) {
    if (path.empty()) return true;
    const std::optional<std::string> text = linesOfDump(path);
    if (!text) return true;
    std::istringstream dump(*text);
    std::vector<TableNode*> lines;
    std::string line;
    while (std::getline(dump, line)) addItem(lines, line);
    addItem("GuiStrDump", lines);
    return true;
}

}  // namespace HCrashRptMetaData
