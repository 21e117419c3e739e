#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "metadata/ProbeParsers.h"

namespace {

struct Row {
    std::string input;
    std::string expected;
};

template <typename Function>
void expectRows(const Function& function, const std::vector<Row>& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].expected, function(rows[i].input))
            << "row " << i << ": '" << rows[i].input << "'";
}

std::string cpuModelOf(const std::string& text) {
    std::istringstream stream(text);
    return hcrpt::cpuModel(stream);
}

TEST(CpuModelTest, IsTheTextTwoCharactersAfterTheColon) {
    expectRows(cpuModelOf, {
                               {"model name\t: Fast CPU 3000\n", "Fast CPU 3000"},
                               {"model name: Fast", "Fast"},
                               {"model name:Fast", "ast"},
                               {"model name\t:  two blanks \n", " two blanks "},
                               {"model name : a: b", "a: b"},
                               {"model names: plural", "plural"},
                           });
}

TEST(CpuModelTest, FirstMatchingLineDecides) {
    expectRows(
        cpuModelOf,
        {
            {"processor\t: 0\nvendor_id\t: x\nmodel\t\t: 7\nmodel name\t: A\nmodel name\t: B\n",
             "A"},
            {"model name\t:\nmodel name\t: B\n", ""},
        });
}

TEST(CpuModelTest, WithoutAModelNameLineIsEmpty) {
    expectRows(cpuModelOf, {
                               {"", ""},
                               {"processor\t: 0\nmodel\t\t: 7\n", ""},
                               {"model nam", ""},
                               {" model name: indented", ""},
                               {"Model name: capital", ""},
                               {"model\n name: split", ""},
                           });
}

TEST(CpuModelTest, LineThatEndsAtItsColonIsEmpty) {
    expectRows(cpuModelOf, {
                               {"model name\t:", ""},
                               {"model name\t:\n", ""},
                               {"model name\t: \n", ""},
                               {"model name:x\n", ""},
                           });
}

TEST(CpuModelTest, LineWithoutColonLosesItsFirstCharacterOnly) {
    expectRows(cpuModelOf, {{"model name Fast\n", "odel name Fast"}, {"model name", "odel name"}});
}

TEST(CpuModelTest, FileThatCannotBeOpenedGivesNothing) {
    std::ifstream missing("/proc/no-such-file/cpuinfo");
    EXPECT_EQ("", hcrpt::cpuModel(missing));
}

TEST(MemoryTableLineTest, IsNameColonValueWithoutLeadingBlanks) {
    expectRows(hcrpt::memoryTableLine, {
                                           {"MemTotal:       16384 kB", "MemTotal : 16384 kB"},
                                           {"HugePages_Total:       0", "HugePages_Total : 0"},
                                           {"a:b", "a : b"},
                                           {"a:\t b", "a : \t b"},
                                           {"a: b ", "a : b "},
                                           {": b", " : b"},
                                           {" a : b", " a  : b"},
                                       });
}

TEST(MemoryTableLineTest, ValueEndsAtTheNextColon) {
    expectRows(hcrpt::memoryTableLine,
               {{"a: b: c", "a : b"}, {"a: b:", "a : b"}, {"a: b::c", "a : b"}});
}

TEST(MemoryTableLineTest, EmptyOrBlankValueRaisesOutOfRange) {
    for (const char* line : {"", "a", "a:", "a: ", "a:     ", ":", "::", "a:: b", "a:  :b"})
        EXPECT_THROW(hcrpt::memoryTableLine(line), std::out_of_range) << "'" << line << "'";
}

TEST(OsInfoTest, IsReleaseLineBlankMachine) {
    EXPECT_EQ("Some OS 12 x86_64", hcrpt::osInfo("Some OS 12", "x86_64"));
    EXPECT_EQ(" x86_64", hcrpt::osInfo("", "x86_64"));
}

TEST(MapTotalTest, IsTheTextAfterTheLastBlank) {
    expectRows(hcrpt::mapTotal, {
                                    {" total    2048K", "2048K"},
                                    {" total           123456K", "123456K"},
                                    {"2048K", "2048K"},
                                    {"total ", ""},
                                    {"total\t2048K", "total\t2048K"},
                                    {"", ""},
                                });
}

TEST(UtilizationTest, CpuColumnIsCutAtFixedPlaces) {
    expectRows(hcrpt::cpuColumn, {
                                     {" 0.0  0.1", "0.0 %"},
                                     {" 2.5  0.1", "2.5 %"},
                                     {" 100  0.1", "100 %"},
                                     {" 0.0 10.5", "0.0 %"},
                                     {"", " %"},
                                     {" ", " %"},
                                     {"x", " %"},
                                     {" 0.0", "0.0 %"},
                                     {"  0.0  0.1", " %"},
                                 });
}

TEST(UtilizationTest, MemoryColumnIsCutAtFixedPlaces) {
    expectRows(hcrpt::memoryColumn, {
                                        {" 0.0  0.1", "0.1 %"},
                                        {" 100  0.1", "0.1 %"},
                                        {"", " %"},
                                        {" ", " %"},
                                        {"x", " %"},
                                        {" 0.0", "0.0 %"},
                                        {" 0.0 ", " %"},
                                        {" 0.0  ", " %"},
                                        {" 0.0   0.1", " 0.1 %"},
                                        {" 0.0  0.1 ", "0.1  %"},
                                        {"  0.0  0.1", ".0  0.1 %"},
                                    });
}

TEST(UtilizationTest, WideNumbersLoseTheirFirstDigit) {
    EXPECT_EQ("2.5 %", hcrpt::cpuColumn("12.5  0.1"));
    EXPECT_EQ("0.1 %", hcrpt::memoryColumn("12.5  0.1"));
    EXPECT_EQ("0.5 %", hcrpt::memoryColumn(" 0.0 10.5"));
}

TEST(WithoutProgramDirectoryTest, LeavesBaseNameAndArguments) {
    expectRows(hcrpt::withoutProgramDirectory,
               {
                   {"/opt/tool/bin/prog -mode batch", "prog -mode batch"},
                   {"/opt/tool/bin/prog", "prog"},
                   {"bin\\prog x", "prog x"},
                   {"/opt\\prog x", "prog x"},
                   {"C:\\a/prog x", "prog x"},
                   {"/opt/prog  two  blanks ", "prog  two  blanks "},
                   {"/opt/ x", " x"},
                   {"/opt\tx/prog x", "prog x"},
                   {"/", ""},
               });
}

TEST(WithoutProgramDirectoryTest, WithoutSlashInTheProgramNothingChanges) {
    expectRows(hcrpt::withoutProgramDirectory, {
                                                   {"prog -mode batch", "prog -mode batch"},
                                                   {"prog", "prog"},
                                                   {"", ""},
                                                   {" /opt/prog", " /opt/prog"},
                                               });
}

TEST(WithoutProgramDirectoryTest, SlashesAfterTheFirstBlankDoNotCount) {
    expectRows(hcrpt::withoutProgramDirectory,
               {
                   {"prog /a/b", "prog /a/b"},
                   {"prog a\\b", "prog a\\b"},
                   {"/opt/prog -source /a/b.tcl", "prog -source /a/b.tcl"},
               });
}

TEST(SourceScriptTest, IsTheWordAfterTheOption) {
    expectRows(hcrpt::sourceScript, {
                                        {"prog -source run.tcl", "run.tcl"},
                                        {"prog -source  run.tcl", "run.tcl"},
                                        {"prog -source run.tcl -mode batch", "run.tcl"},
                                        {"prog -source /a/run.tcl  ", "/a/run.tcl"},
                                        {"-source run.tcl", "run.tcl"},
                                        {"prog -source a -source b", "a"},
                                        {"prog -source -mode", "-mode"},
                                        {"prog -sourcefile run.tcl", "run.tcl"},
                                        {"prog --source run.tcl", "run.tcl"},
                                        {"prog -source\trun.tcl x", "x"},
                                    });
}

TEST(SourceScriptTest, WithoutAWordAfterTheOptionIsEmpty) {
    expectRows(hcrpt::sourceScript, {
                                        {"", ""},
                                        {"prog -mode batch", ""},
                                        {"prog source run.tcl", ""},
                                        {"prog -Source run.tcl", ""},
                                        {"prog -source", ""},
                                        {"prog -source ", ""},
                                        {"prog -source   ", ""},
                                        {"prog -source=run.tcl", ""},
                                    });
}

}  // namespace
