/// @file
/// The facts of a crash report: a tree of texts, and the probes that fill it.
#pragma once

#include <string>
#include <vector>

#include "hcrpt/HCrptExport.h"

/// Grade: @crashtime, on the crashing thread. Nodes lie in the crash-time arena (HCrptResourceMgr)
/// and are never freed singly; their texts and lists use the heap.
namespace HCrashRptMetaData {

/// One node: a text and an ordered list of children. Its shape alone gives its meaning:
///
/// | shape | built by | meaning |
/// |---|---|---|
/// | leaf: no children | TableNode(key) | a bare text |
/// | pair: one child, a leaf | TableNode(key, value) | name and value |
/// | table: any children | TableNode(key, children) | name and ordered list |
///
/// Children are plain pointers that the node does not own: copying a list copies pointers, so two
/// parents may share children.
class HCRPT_EXPORT TableNode {
  public:
    TableNode();
    /// A text may stand wherever a node is asked for.
    // NOLINTNEXTLINE(google-explicit-constructor)
    TableNode(const std::string& key);
    /// The value's leaf comes from the arena. When that is exhausted, the one child is null.
    TableNode(const std::string& key, const std::string& value);
    TableNode(const std::string& key, const std::vector<TableNode*>& children);
    ~TableNode();

    std::string getKey() const;
    const std::vector<TableNode*>& getTreeTable() const;
    void setTreeTable(const std::vector<TableNode*>& children);

  private:
    std::string key;
    std::vector<TableNode*> treeTable;
};

/// The items of one report, and what gathers them. Lives for the writing of that report.
class HCRPT_EXPORT Manager {
  public:
    Manager();
    ~Manager();

    /// The top-level items, in the order of their adding.
    const std::vector<TableNode*>& getTable() const;

    // Each addItem takes the node's memory from the arena. When that is exhausted, nothing is added
    // and nothing is said.

    /// Appends a pair to the list.
    void addItem(std::vector<TableNode*>& into, const std::string& key, const std::string& value);
    /// Appends a leaf to the list.
    void addItem(std::vector<TableNode*>& into, const std::string& key);
    /// Appends a table to the list.
    void addItem(std::vector<TableNode*>& into, const std::string& key,
                 const std::vector<TableNode*>& children);
    /// Appends a pair to the report.
    void addItem(const std::string& key, const std::string& value);
    /// Appends a table to the report.
    void addItem(const std::string& key, const std::vector<TableNode*>& children);

    // --- Assembly ---------------------------------------------------------------------------

    /// Starts the report afresh with its thirteen items about machine, process and product, in
    /// their fixed order. Starts four shell pipelines.
    /// @throws std::runtime_error "popen() failed!", std::out_of_range for an odd line of the
    /// memory
    ///         table. Items added before stay.
    void populate();
    /// Adds the content of a file: "stack-trace" the stack-trace log, "gui-str-dump" the dump of
    /// the host's user-interface strings. Any other type is ignored.
    /// @return what the reader of that file returns; true for an unknown type.
    bool appendToMetaData(const std::string& type, const std::string& path);

    // --- Machine and process ----------------------------------------------------------------

    /// Standard output of a shell command, read in pieces of up to 127 characters of which each
    /// loses its last one. That drops line ends, and a character of a longer line at each border.
    /// A command that takes longer than five seconds is ended, with all that it has started, and
    /// counts as one that prints nothing.
    /// @throws std::runtime_error "popen() failed!"
    std::string execLinuxCommand(std::string cmd) const;
    /// The first "model name" of /proc/cpuinfo; empty when there is none.
    std::string extract_cpuModel() const;
    /// One leaf for each line of /proc/meminfo: name, " : ", value.
    /// @throws std::out_of_range for a line whose value is empty or blank.
    std::vector<TableNode*> extract_memInfo() const;
    /// First line of the release files, a blank, and the machine type.
    std::string extract_osInfo() const;
    /// Total of this process's memory map, such as 123456K.
    std::string getTotalMemory() const;
    /// This process's share of the processor and of the memory, followed by " %". Both are cut from
    /// fixed columns.
    std::string getCpuUtilization() const;
    std::string getMemoryUtilization() const;

    // --- Run of the host --------------------------------------------------------------------

    /// Command line with the directories of its program cut off.
    std::string getCmdline() const;
    /// The script named after "-source"; inside the maker's network with the working directory put
    /// in front, even when it is absolute. Empty when there is none.
    std::string getTestcase(std::string cmdline) const;
    /// Adds "GuiStrDump", a leaf for each line. Nothing for an empty path or a file that cannot be
    /// opened. @return true
    bool addGuiStrFileContentToMetaDataTable(const std::string& path);

    // --- Stack trace ------------------------------------------------------------------------

    /// Reads a stack-trace log: adds "signalNumber" for each line that tells of the error,
    /// "subSystem" and "functionName" of the failing frame, and "stacktrace" with all lines.
    /// @return false when the log does not exist (nothing is added) or cannot be opened (prints a
    ///         line, adds an empty "stacktrace").
    bool addStackTraceToMetaDataTable(const std::string& path);
    /// Judges one frame of an in-house library; adds "subSystem" and "functionName" and sets found
    /// unless the frame has no name or is one of the standard library.
    /// @param subsystem carries the first subsystem met from call to call.
    void addFailingFuncAndSubsystemName(const std::string& line, std::string& subsystem,
                                        bool& found);
    /// The text between the first "(" and the first ")"; without the one, from the start; without
    /// the other, or when it stands before, to the end.
    std::string getSignalNumber(std::string line);

  private:
    std::vector<TableNode*> table;
};

}  // namespace HCrashRptMetaData
