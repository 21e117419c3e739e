/// @file
/// The facts of a crash report: a tree of texts and the probes that fill it.
#pragma once

#include <string>
#include <vector>

#include "hcrpt/HCrptExport.h"

/// Grade: @crashtime, on the crashing thread. Nodes lie in the crash-time arena (HCrptResourceMgr)
/// and are never freed singly. Their texts and lists use the heap.
namespace HCrashRptMetaData {

/// A node: a text and an ordered list of children. Its shape gives its meaning:
///
/// | shape | built by | meaning |
/// |---|---|---|
/// | leaf: no children | TableNode(key) | a text |
/// | pair: one child, a leaf | TableNode(key, value) | name and value |
/// | table: any children | TableNode(key, children) | name and ordered list |
///
/// Children are plain pointers that the node does not own: copying a list copies pointers, so two
/// parents may share children.
class HCRPT_EXPORT TableNode {
  public:
    TableNode();
    /// Makes a leaf; implicit, so that a text can be passed as a node.
    // NOLINTNEXTLINE(google-explicit-constructor)
    TableNode(const std::string& key);
    /// Makes a pair. The arena provides the value's leaf; when it is exhausted, the only child is
    /// null.
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

/// Gathers and holds the items of one report.
class HCRPT_EXPORT Manager {
  public:
    Manager();
    ~Manager();

    /// Returns the top-level items in the order in which they were added.
    const std::vector<TableNode*>& getTable() const;

    // Each addItem takes the node's memory from the arena. When the arena is exhausted, the item is
    // dropped without a message.

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

    /// Removes all items, then adds the thirteen items about machine, process and product in their
    /// fixed order. Runs four shell pipelines.
    /// @throws std::runtime_error "popen() failed!", std::out_of_range for a malformed line of the
    /// memory table. Items added before stay. table. Items added before stay.
    void populate();
    /// Adds the content of the file at path: a stack-trace log for the type "stack-trace", the dump
    /// of the host's user-interface strings for "gui-str-dump". Any other type is ignored.
    /// @return the result of the function that reads the file; true for any other type.
    bool appendToMetaData(const std::string& type, const std::string& path);

    // --- Machine and process ----------------------------------------------------------------

    /// Returns the standard output of a shell command. It is read in pieces that end at a line feed
    /// or after 127 characters, and each piece loses its last character: line ends disappear, and
    /// so does one character of a longer line at each border. If the command takes longer than five
    /// seconds, it is killed with all its descendants, and the result is empty.
    /// @throws std::runtime_error "popen() failed!"
    std::string execLinuxCommand(std::string cmd) const;
    /// Returns the first "model name" of /proc/cpuinfo; empty when there is none.
    std::string extract_cpuModel() const;
    /// Returns a leaf "name : value" for each line of /proc/meminfo.
    /// @throws std::out_of_range for a line whose value is empty or blank.
    std::vector<TableNode*> extract_memInfo() const;
    /// Returns the first line of the release files, a blank and the machine type.
    std::string extract_osInfo() const;
    /// Returns the total of this process's memory map, such as 123456K.
    std::string getTotalMemory() const;
    /// Return this process's share of the processor and of the memory in percent, followed by " %".
    /// Both are cut from fixed columns of the output of ps.
    std::string getCpuUtilization() const;
    std::string getMemoryUtilization() const;

    // --- Run of the host --------------------------------------------------------------------

    /// Returns the command line without the directories of its program.
    std::string getCmdline() const;
    /// Returns the script named after "-source"; empty when there is none. Inside the maker's
    /// network the working directory stands before the script, even before an absolute path.
    std::string getTestcase(std::string cmdline) const;
    /// Adds the table "GuiStrDump" with a leaf for each line of the file. Adds no item for an empty
    /// path or a file that cannot be opened. @return true
    bool addGuiStrFileContentToMetaDataTable(const std::string& path);

    // --- Stack trace ------------------------------------------------------------------------

    /// Reads a stack-trace log. Adds "signalNumber" for each line with "An unexpected error has
    /// occurred", "subSystem" and "functionName" of the failing frame, and "stacktrace" with all
    /// lines.
    /// @return false when the log does not exist (adds no item) or cannot be opened (prints a line,
    ///         adds an empty "stacktrace").
    bool addStackTraceToMetaDataTable(const std::string& path);
    /// Examines one frame of an in-house library. Adds "subSystem" and "functionName" and sets
    /// found, unless the frame has no name or belongs to the standard library.
    /// @param subsystem the first subsystem seen; the caller passes the same text to each call.
    void addFailingFuncAndSubsystemName(const std::string& line, std::string& subsystem,
                                        bool& found);
    /// Returns the text between the first "(" and the first ")". Without "(" it begins at the
    /// line's start; without ")", or when ")" stands before "(", it ends at the line's end.
    std::string getSignalNumber(std::string line);

  private:
    std::vector<TableNode*> table;
};

}  // namespace HCrashRptMetaData
