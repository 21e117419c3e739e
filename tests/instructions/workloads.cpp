// Fixed work whose machine instructions are counted; see check.cmake.
//
//   instruction_workloads NAME
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrashRptWriters.h"

namespace {

// Names of a host's own libraries, so that the counts are the same wherever the C++ library is
// another.
constexpr const char* kNames[] = {
    "_ZN4mesh7Builder6refineERKSt6vectorINS_4CellESaIS2_EEd",
    "_ZNSt6vectorIN4mesh4CellESaIS1_EE17_M_realloc_insertIJRKS1_EEEvN9__gnu_cxx17__normal_"
    "iteratorIPS1_"
    "S3_EEDpOT_",
    "_ZN6solver4stepEiPKdPd",
    "_ZNK8geometry5Shape6boundsEv",
    "_ZZN2ui6Window4openERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEENKUlvE_clEv",
    "_ZNSt8_Rb_treeINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES5_St9_IdentityIS5_"
    "ESt4lessIS5_"
    "ESaIS5_EE8_M_eraseEPSt13_Rb_tree_nodeIS5_E",
    "main",
    "_ZN10simulation6Engine3runERKNS_7OptionsE",
};

std::string s_directory;

std::string rawTrace(int lines, bool isRecursion) {
    std::string trace;
    for (int i = 0; i < lines; ++i) {
        std::string name = kNames[static_cast<std::size_t>(i) % std::size(kNames)];
        // Otherwise each line has a name of its own.
        if (!isRecursion)
            name = "_ZN4mesh4Cell" + std::to_string(100000 + i).insert(0, "7f") + "Ev";
        trace += "/opt/designer/lib/lnx64.o/libzeb_mesh.so(" + name + "+0x1a)[0x7f3a2c1d4e5f]\n";
    }
    return trace;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// What each workload needs is made first; valgrind counts within workload() alone.
void (*s_work)() = nullptr;

std::string s_rawTrace;
void convert() {
    HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(s_rawTrace);
}
void prepareConversion() {
    s_rawTrace = s_directory + "/hs_mangled_err_pid4711.log";
    writeFile(s_rawTrace, rawTrace(2000, true) + rawTrace(500, false));
    s_work = &convert;
}

void allocate() {
    for (int i = 0; i < 800; ++i)
        if (HCrptResourceMgr::allocateMem(56) == nullptr) std::abort();
}
void prepareArena() {
    HCrptResourceMgr::get();
    s_work = &allocate;
}

std::string s_buffer;
void readLines() {
    char line[10000];
    std::size_t offset = 0;
    std::size_t before = 1;
    while (before != offset) {
        before = offset;
        HCrptResourceMgr::getNextLineFromBuffer(s_buffer.data(), s_buffer.size() - 1, line,
                                                sizeof line - 1, offset, false);
    }
}
void prepareLineReader() {
    s_buffer = rawTrace(1000, true);
    s_work = &readLines;
}

HCrashRptMetaData::Manager* s_manager = nullptr;
void writeReport() {
    if (HCrashRptJsonWriter::writeJsonRpt(s_directory, *s_manager).empty()) std::abort();
}
void prepareJson() {
    HCrptResourceMgr::get();
    s_manager = new HCrashRptMetaData::Manager;
    std::vector<HCrashRptMetaData::TableNode*> leaves;
    for (int i = 0; i < 300; ++i)
        s_manager->addItem(leaves, kNames[static_cast<std::size_t>(i) % std::size(kNames)]);
    s_manager->addItem("stacktrace", leaves);
    s_work = &writeReport;
}

}  // namespace

extern "C" [[gnu::noinline, gnu::visibility("default")]] void workload();
void workload() {
    s_work();
    asm volatile("" ::: "memory");
}

int main(int argc, char** argv) {
    if (argc != 3) return EXIT_FAILURE;
    s_directory = argv[2];
    const std::string name = argv[1];
    if (name == "conversion") prepareConversion();
    if (name == "arena") prepareArena();
    if (name == "line-reader") prepareLineReader();
    if (name == "json") prepareJson();
    if (s_work == nullptr) return EXIT_FAILURE;
    workload();
    return EXIT_SUCCESS;
}
