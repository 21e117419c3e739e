#include "facts/ProcessFacts.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/stat.h>

#include <algorithm>

#include "HUTEnv.h"
#include "base/FileDescriptor.h"
#include "base/OwnedFile.h"
#include "base/ReadAll.h"
#include "facts/ProcessIdScope.h"
#include "facts/ProcessState.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "store/AtomicFile.h"

namespace hcrpt {
namespace {

/// Names in the file; those of a report's items are the report's own.
struct Field {
    const char* name;
    std::string ProcessFacts::*text;
};
constexpr Field kFields[] = {
    {"startTime", &ProcessFacts::startTime},
    {"bootId", &ProcessFacts::bootId},
    {"pidNamespace", &ProcessFacts::pidNamespace},
    {"userName", &ProcessFacts::userName},
    {"productName", &ProcessFacts::productName},
    {"programName", &ProcessFacts::programName},
    {"productVersion", &ProcessFacts::productVersion},
    {"buildNumber", &ProcessFacts::buildNumber},
    {"buildDate", &ProcessFacts::buildDate},
    {"commandLine", &ProcessFacts::commandLine},
    {"testcase", &ProcessFacts::testcase},
};

/// Texts are any bytes: those that JSON must not hold as they are become escapes, a NUL included;
/// the others, well-formed UTF-8 or not, stay.
std::string textOf(const ProcessFacts& facts) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    for (const Field& field : kFields) {
        const std::string& text = facts.*field.text;
        writer.Key(field.name);
        writer.String(text.data(),
                      static_cast<rapidjson::SizeType>(std::min(text.size(), kMaxFact)));
    }
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize());
}

/// Whole content of the file if this user may have left it; nothing otherwise.
std::optional<std::string> ownText(const std::string& path) {
    struct stat status = {};
    const FileDescriptor file(openOwnedFile(path.c_str(), status));
    if (!file.isOpen() || static_cast<std::size_t>(status.st_size) > kMaxFactsFile)
        return std::nullopt;
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    if (readAll(file.get(), text.data(), text.size()) < text.size()) return std::nullopt;
    return text;
}

}  // namespace

ProcessFacts factsOfThisProcess() {
    const HCrashRptMetaData::Manager probes;
    ProcessFacts facts;
    const auto state = processState(std::to_string(HUTEnv::getPid()));
    if (state) facts.startTime = state->startTime;
    facts.bootId = bootId();
    facts.pidNamespace = pidNamespace();
    facts.userName = HUTEnv::getUserName();
    facts.productName = HUTEnv::getProductName();
    facts.programName = HUTEnv::getProgramName();
    facts.productVersion = HUTEnv::getProductVersion();
    facts.buildNumber = std::to_string(HUTEnv::getBuildNumber());
    facts.buildDate = HUTEnv::getBuildDate();
    facts.commandLine = probes.getCmdline();
    facts.testcase = probes.getTestcase(facts.commandLine);
    return facts;
}

bool writeFacts(const std::string& path, const ProcessFacts& facts) {
    // A pipe in the file's place would be opened as it is, and hold the host up forever.
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return false;
    AtomicFile file(path);
    if (!file.isOpen()) return false;
    file.stream() << textOf(facts);
    return file.commit();
}

std::optional<ProcessFacts> readFacts(const std::string& path) {
    const std::optional<std::string> text = ownText(path);
    if (!text) return std::nullopt;
    rapidjson::Document document;
    // Not by recursion, which a file of opening brackets alone would drive into a stack overflow.
    document.Parse<rapidjson::kParseIterativeFlag>(text->data(), text->size());
    if (document.HasParseError() || !document.IsObject()) return std::nullopt;
    ProcessFacts facts;
    for (const Field& field : kFields) {
        const auto member = document.FindMember(field.name);
        if (member == document.MemberEnd()) continue;
        if (!member->value.IsString() || member->value.GetStringLength() > kMaxFact)
            return std::nullopt;
        (facts.*field.text).assign(member->value.GetString(), member->value.GetStringLength());
    }
    return facts;
}

}  // namespace hcrpt
