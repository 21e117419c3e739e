/// @file
/// Demangles the raw traces of the crash store and lists the crash reports that wait there.
#pragma once

#include <string>
#include <vector>

#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrptExport.h"

/// Grade: @ordinary; runs in the crash reporter, on one thread. No messages.
namespace HCrashReportMgr {

/// One way of listing reports. Stateless. There is no virtual destructor: delete a handler, if at
/// all, through its own type.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the slots are fixed.
class HCRPT_EXPORT HCrashReportHandler {
  public:
    /// Returns the full paths of the reports in the crash store, in directory order.
    virtual std::vector<std::string> getReportsInCrashStore() = 0;
};

/// Lists the files of the crash store that begin with "CrashReport_".
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the slots are fixed.
class HCRPT_EXPORT CompleteCrashReportHandler : public HCrashReportHandler {
  public:
    std::vector<std::string> getReportsInCrashStore() override;
};

/// Writes a stack-trace log for each raw trace of the crash store, then lists the reports. Raw
/// traces stay in place. Each call covers all of them, but writes no log again that this process
/// has written already while neither the log nor its raw trace has changed since.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the slots are fixed.
class HCRPT_EXPORT MangledStackTraceHandler : public HCrashReportHandler {
  public:
    std::vector<std::string> getReportsInCrashStore() override;
    /// Returns the results of demangleBTFile() for each path, in order, empty results included.
    std::vector<std::string> generateDemangledBTFiles(const std::vector<std::string>& rawTraces);
    /// Writes the stack-trace log of one raw trace beside it, under the path without its first
    /// "mangled_": lines without directories, without frames of this library and of the in-house
    /// stream library, without empty lines, with demangled names. The log appears complete under
    /// its name and replaces an earlier one. A full disk cuts it short.
    /// @return the log's path, also when the raw trace cannot be read or is a named pipe, which is
    ///         not opened; empty when the path contains no "mangled_".
    /// @throws std::out_of_range for a path of fewer than 18 characters.
    std::string demangleBTFile(const std::string& rawTrace);
};

/// @return a new handler, owned by the caller; null for a value that is no ReportType.
HCRPT_EXPORT HCrashReportHandler* getReportHandler(HCrashRptSettings::ReportType type);

/// Demangles the raw traces and returns the full paths of the reports to send.
HCRPT_EXPORT std::vector<std::string> probeAndGetCrashReports();

}  // namespace HCrashReportMgr
