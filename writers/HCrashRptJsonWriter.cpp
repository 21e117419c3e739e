#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>

#include <cstring>
#include <fstream>

#include "HUTFile.h"
#include "hcrpt/HCrashRptWriters.h"
#include "store/AtomicFile.h"
#include "utils/Message.h"
#include "writers/JsonReport.h"
#include "writers/ReportFileName.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;

namespace {

constexpr unsigned kIndentWidth = 2;  // blanks

/// Returns the node's text as a string of the document.
/// Contract: the string ends at the text's first NUL, so that no report contains one.
rapidjson::Value copyOfKey(const TableNode& node, rapidjson::Document::AllocatorType& allocator) {
    const std::string key = node.getKey();
    const auto length = static_cast<rapidjson::SizeType>(std::strlen(key.c_str()));
    return rapidjson::Value(key.c_str(), length, allocator);
}

void writeIndented(const rapidjson::Document& document, std::ofstream& stream) {
    rapidjson::BasicOStreamWrapper<std::ofstream> wrapper(stream);
    rapidjson::PrettyWriter<rapidjson::BasicOStreamWrapper<std::ofstream>> writer(wrapper);
    writer.SetIndent(' ', kIndentWidth);
    document.Accept(writer);
}

}  // namespace

std::string HCrashRptJsonWriter::writeJsonRpt(const std::string& directory, Manager& manager) {
    const std::string path = directory + HUTFile::getDirSeparator() + getCrashReportJsonName();
    return hcrpt::writeJsonReport(path, manager) ? path : std::string();
}

bool hcrpt::writeJsonReport(const std::string& path, const Manager& manager) {
    if (!HUTFile::isWriteable(path)) {
        hcrpt::logError("file " + path + " is not writable.");
        return false;
    }
    // The crash reporter may list the directory at any moment and sends every report that it finds.
    hcrpt::AtomicFile file(path);
    if (!file.isOpen()) {
        // Contract: no blank after the colon: tools search logs for this line in this form.
        hcrpt::logError("Could not open crash report file for write:" + path);
        return false;
    }
    rapidjson::Document document(rapidjson::kObjectType);
    HCrashRptJsonWriter::populateDocWithMetaData(document, manager);
    writeIndented(document, file.stream());
    // Leaves no file when a full disk cut the report short: the crash reporter would send it as if
    // it were complete. Contract: a failed write is not reported: the caller could not act on it.
    static_cast<void>(file.commit());
    return true;
}

std::string HCrashRptJsonWriter::getCrashReportJsonName() {
    return hcrpt::reportFileName(".json");
}

void HCrashRptJsonWriter::populateDocWithMetaData(rapidjson::Document& document,
                                                  const Manager& manager) {
    rapidjson::Document::AllocatorType& allocator = document.GetAllocator();
    // A name may occur twice: a log with two error lines has two signal numbers.
    for (const TableNode* node : manager.getTable())
        document.AddMember(copyOfKey(*node, allocator), setValRec(node->getTreeTable(), allocator),
                           allocator);
}

rapidjson::Value HCrashRptJsonWriter::setValRec(const std::vector<TableNode*>& children,
                                                rapidjson::Document::AllocatorType& allocator) {
    // A single null child is a value for which the crash-time arena had no room.
    if (children.empty() || (children.size() == 1 && children.front() == nullptr))
        return rapidjson::Value("");
    if (isContainString(children)) return copyOfKey(*children.front(), allocator);

    rapidjson::Value list(rapidjson::kArrayType);
    for (const TableNode* child : children) {
        if (child == nullptr) continue;
        rapidjson::Value key = copyOfKey(*child, allocator);
        if (child->getTreeTable().empty()) {
            list.PushBack(key, allocator);
        } else {
            rapidjson::Value object(rapidjson::kObjectType);
            object.AddMember(key, setValRec(child->getTreeTable(), allocator), allocator);
            list.PushBack(object, allocator);
        }
    }
    return list;
}

bool HCrashRptJsonWriter::isContainString(const std::vector<TableNode*>& children) {
    return children.size() == 1 && children.front() != nullptr &&
           children.front()->getTreeTable().empty();
}
