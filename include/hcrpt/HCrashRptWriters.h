/// @file
/// Writers that make a report file from the facts of a crash.
#pragma once

#include <rapidjson/document.h>

#include <fstream>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrptExport.h"

/// Writes a report as JSON: an object with one member for each top-level item, in their order; a
/// name may occur twice. Indented by two spaces, without a final line feed. Stateless. Grade:
/// @crashtime, one thread at a time.
class HCRPT_EXPORT HCrashRptJsonWriter {
  public:
    /// Writes the report into a directory. The file appears under its name complete or not at all.
    /// When the file cannot be created, prints "[Crash Reporter] Error: file ... is not writable."
    /// or "[Crash Reporter] Error: Could not open crash report file for write:..." and returns an
    /// empty text. A failed write or close is not reported.
    /// @return the file's full path.
    static std::string writeJsonRpt(const std::string& directory,
                                    HCrashRptMetaData::Manager& manager);
    /// Returns "CrashReport_", process id, "_", host name, "_", user name, "_", time stamp without
    /// spaces, ".json".
    static std::string getCrashReportJsonName();
    /// Adds a member to the root object for each top-level item.
    static void populateDocWithMetaData(rapidjson::Document& document,
                                        const HCrashRptMetaData::Manager& manager);
    /// Returns the value of a list of children: "" for an empty list, a string for a single leaf,
    /// otherwise an array in which a leaf is a string and a node with children an object with one
    /// member. A null child is a missing value: a list with only a null child gives "", a longer
    /// list skips it.
    static rapidjson::Value setValRec(const std::vector<HCrashRptMetaData::TableNode*>& children,
                                      rapidjson::Document::AllocatorType& allocator);
    /// Returns true when the list has exactly one node and that node is a leaf.
    static bool isContainString(const std::vector<HCrashRptMetaData::TableNode*>& children);
};

/// Writes a report as tagged lines: an XML declaration and a root element "crashReporter" with one
/// element for each top-level item, in their order. One element "stacktrace" comes last with the
/// content of all items of that name; it is written even when there is no such item.
///
/// The writer escapes no character: a key or value with "<", "&" or a blank is written unchanged,
/// and the file is then not well-formed XML. The library itself writes no XML report; applications
/// do. Stateless. Grade: @crashtime, one thread at a time.
class HCRPT_EXPORT HCrashRptXmlWriter {
  public:
    /// Writes the report into a directory. The file appears under its name complete or not at all.
    /// When the platform library says that the file is not writable, prints "[Crash Reporter]
    /// Error: file ... is not writable." and returns an empty text. A failed open (unlike with
    /// JSON), write or close is not reported.
    /// @return the file's full path.
    static std::string writeXmlRpt(const std::string& directory,
                                   HCrashRptMetaData::Manager& manager);
    /// Returns "CrashReport_", process id, "_", host name, "_", user name, "_", time stamp without
    /// spaces, ".xml".
    static std::string getCrashReportXmlName();
    /// Writes the whole document to the stream. A failed stream is not reported.
    static void writeXmlFromMetaData(std::ofstream& stream, HCrashRptMetaData::Manager& manager);
    /// Returns "<tag>value</tag>".
    static std::string getXmlMarkUp(std::string tag, std::string value);
    /// Appends for each child a blank, its key, the text of its own children, and a line feed.
    /// Skips null children.
    ///
    /// | children | text |
    /// |---|---|
    /// | Linux | " Linux\n" |
    /// | a with child 1, b with child 2 | " a 1\n\n b 2\n\n" |
    static void createValueStringRec(const std::vector<HCrashRptMetaData::TableNode*>& children,
                                     std::string& text);
    /// Copies a file line by line. A last line without a line feed gets one.
    /// @return true when the file could be opened. No message.
    static bool copyLinesFromFile(const std::string& path, std::ofstream& stream);
    /// Always empty: the report's items include the build.
    static std::string getBuildInfo();
};
