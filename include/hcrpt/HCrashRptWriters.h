/// @file
/// Writers that turn the facts of a crash into a report file.
#pragma once

#include <rapidjson/document.h>

#include <fstream>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrptExport.h"

/// Writes a report as JSON: an object with one member for each top-level item, in their order,
/// names that occur twice included. Indented by two spaces, without a final line feed.
/// Stateless. Grade: @crashtime, one thread at a time.
class HCRPT_EXPORT HCrashRptJsonWriter {
  public:
    /// Writes the report into a directory. The file appears under its name whole or not at all.
    /// Prints "[Crash Reporter] Error: file ... is not writable." or "[Crash Reporter] Error: Could
    /// not open crash report file for write:..." and returns an empty text when the file cannot be
    /// made; a failed write or close goes unnoticed.
    /// @return the file's full path.
    static std::string writeJsonRpt(const std::string& directory,
                                    HCrashRptMetaData::Manager& manager);
    /// "CrashReport_", process id, "_", host name, "_", user name, "_", time stamp without spaces,
    /// ".json"
    static std::string getCrashReportJsonName();
    /// Adds a member to the root object for each top-level item.
    static void populateDocWithMetaData(rapidjson::Document& document,
                                        const HCrashRptMetaData::Manager& manager);
    /// The value of a list of children: "" for an empty one, a string for a single leaf, else an
    /// array in which a leaf is a string and a node with children an object with one member. A null
    /// child is an absent value: "" where it is the only one, nothing within a list.
    static rapidjson::Value setValRec(const std::vector<HCrashRptMetaData::TableNode*>& children,
                                      rapidjson::Document::AllocatorType& allocator);
    /// Whether the list holds exactly one node and that is a leaf.
    static bool isContainString(const std::vector<HCrashRptMetaData::TableNode*>& children);
};

/// Writes a report as tagged lines: an XML declaration, a root element "crashReporter", and in it
/// one element for each top-level item, in their order. The items named "stacktrace" come last, as
/// one element that is there even when no item has that name.
///
/// Nothing is escaped: a key or value with "<", "&" or a blank stays as it is, and the file is then
/// no well-formed XML. The library itself writes no such report; applications do.
/// Stateless. Grade: @crashtime, one thread at a time.
class HCRPT_EXPORT HCrashRptXmlWriter {
  public:
    /// Writes the report into a directory. The file appears under its name whole or not at all.
    /// Prints "[Crash Reporter] Error: file ... is not writable." and returns an empty text when
    /// the platform says so. Unlike with JSON, a file that cannot be opened after that goes
    /// unnoticed, as does a failed write or close.
    /// @return the file's full path.
    static std::string writeXmlRpt(const std::string& directory,
                                   HCrashRptMetaData::Manager& manager);
    /// "CrashReport_", process id, "_", host name, "_", user name, "_", time stamp without spaces,
    /// ".xml"
    static std::string getCrashReportXmlName();
    /// Writes the whole document. A stream that has failed takes nothing, without a message.
    static void writeXmlFromMetaData(std::ofstream& stream, HCrashRptMetaData::Manager& manager);
    /// "<tag>value</tag>"
    static std::string getXmlMarkUp(std::string tag, std::string value);
    /// Appends for each child a blank, its key, the text of its own children, and a line feed. A
    /// null child contributes nothing.
    ///
    /// | children | text |
    /// |---|---|
    /// | Linux | " Linux\n" |
    /// | a with child 1, b with child 2 | " a 1\n\n b 2\n\n" |
    static void createValueStringRec(const std::vector<HCrashRptMetaData::TableNode*>& children,
                                     std::string& text);
    /// Copies a file line by line. A last line without a line feed gets one.
    /// @return whether the file could be opened. No message.
    static bool copyLinesFromFile(const std::string& path, std::ofstream& stream);
    /// Always empty: the build is among the report's items.
    static std::string getBuildInfo();
};
