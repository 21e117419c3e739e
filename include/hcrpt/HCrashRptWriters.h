/// @file
/// Writers that turn the facts of a crash into a report file.
#pragma once

#include <rapidjson/document.h>

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
