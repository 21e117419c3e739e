// The files of process facts, and any other content in their place.
#include <algorithm>

#include "facts/ProcessFacts.h"
#include "fuzz/support/Fuzz.h"

namespace {

using hcrpt::ProcessFacts;

const auto kTexts = {
    &ProcessFacts::startTime,   &ProcessFacts::userName,       &ProcessFacts::productName,
    &ProcessFacts::programName, &ProcessFacts::productVersion, &ProcessFacts::buildNumber,
    &ProcessFacts::buildDate,   &ProcessFacts::commandLine,    &ProcessFacts::testcase};

void requireSame(const ProcessFacts& one, const ProcessFacts& other) {
    for (std::string ProcessFacts::*text : kTexts) FUZZ_REQUIRE(one.*text == other.*text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::directory() + "/facts";
    const std::string input = fuzz::text(data, size);

    // The input as a file: facts read from it can be written and read again.
    fuzz::writeFile(path, input);
    const auto read = hcrpt::readFacts(path);
    if (read) {
        for (std::string ProcessFacts::*text : kTexts)
            FUZZ_REQUIRE(((*read).*text).size() <= hcrpt::kMaxFact);
        FUZZ_REQUIRE(hcrpt::writeFacts(path, *read));
        const auto again = hcrpt::readFacts(path);
        FUZZ_REQUIRE(again);
        requireSame(*again, *read);
    }

    // The input as the texts of a process: they are read back unchanged.
    ProcessFacts facts;
    for (std::string ProcessFacts::*text : kTexts) facts.*text = input;
    std::reverse(facts.commandLine.begin(), facts.commandLine.end());
    FUZZ_REQUIRE(hcrpt::writeFacts(path, facts));
    for (std::string ProcessFacts::*text : kTexts)
        (facts.*text).resize(std::min(input.size(), hcrpt::kMaxFact));
    const auto back = hcrpt::readFacts(path);
    FUZZ_REQUIRE(back);
    requireSame(*back, facts);
    return 0;
}
