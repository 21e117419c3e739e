#include <fstream>

#include "HUTFile.h"
#include "hcrpt/HCrashRptWriters.h"
#include "store/AtomicFile.h"
#include "utils/Message.h"
#include "writers/ReportFileName.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;

namespace {

/// Items with exactly this name are collected at the end of the document.
constexpr char kStackTraceKey[] = "stacktrace";

}  // namespace

std::string HCrashRptXmlWriter::writeXmlRpt(const std::string& directory, Manager& manager) {
    const std::string path = directory + HUTFile::getDirSeparator() + getCrashReportXmlName();
    if (!HUTFile::isWriteable(path)) {
        hcrpt::logError("file " + path + " is not writable.");
        return "";
    }
    // The directory may be one from which reports are sent as soon as they are listed.
    hcrpt::AtomicFile file(path);
    // Contract: the stream is not checked, unlike in the JSON writer: if the file could not be
    // opened, the document is lost without a message.
    writeXmlFromMetaData(file.stream(), manager);
    // Leaves no file when a full disk cut the report short: it would be sent as if it were
    // complete. Contract: a failed write is not reported: the caller could not act on it.
    static_cast<void>(file.commit());
    return path;
}

std::string HCrashRptXmlWriter::getCrashReportXmlName() {
    return hcrpt::reportFileName(".xml");
}

void HCrashRptXmlWriter::writeXmlFromMetaData(std::ofstream& stream, Manager& manager) {
    stream << "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<crashReporter>\n";
    std::string trace;
    for (const TableNode* node : manager.getTable()) {
        const std::string key = node->getKey();
        if (key == kStackTraceKey) {
            createValueStringRec(node->getTreeTable(), trace);
            continue;
        }
        std::string value;
        createValueStringRec(node->getTreeTable(), value);
        stream << getXmlMarkUp(key, value) << '\n';
    }
    stream << getXmlMarkUp(kStackTraceKey, trace) << "\n</crashReporter>\n";
}

std::string HCrashRptXmlWriter::getXmlMarkUp(std::string tag, std::string value) {
    // Contract: no character is escaped: readers of these files take the text unchanged.
    return "<" + tag + ">" + value + "</" + tag + ">";
}

void HCrashRptXmlWriter::createValueStringRec(const std::vector<TableNode*>& children,
                                              std::string& text) {
    for (const TableNode* child : children) {
        if (child == nullptr) continue;  // the crash-time arena had no room for it
        text += ' ';
        text += child->getKey();
        createValueStringRec(child->getTreeTable(), text);
        text += '\n';
    }
}

bool HCrashRptXmlWriter::copyLinesFromFile(const std::string& path, std::ofstream& stream) {
    std::ifstream file(path);
    if (!file.is_open()) return false;
    for (std::string line; std::getline(file, line);) stream << line << '\n';
    return true;
}

std::string HCrashRptXmlWriter::getBuildInfo() {
    return "";
}
