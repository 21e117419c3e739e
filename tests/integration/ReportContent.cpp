#include "integration/ReportContent.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include "support/TempDir.h"

namespace integration_test {
namespace {

rapidjson::Document parsed(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
    return document;
}

}  // namespace

ReportContent::ReportContent(const std::string& path)
    : m_path(path), m_json(test_support::readFile(path)) {
    const rapidjson::Document document = parsed(m_json);
    EXPECT_FALSE(document.HasParseError())
        << path << ": " << rapidjson::GetParseError_En(document.GetParseError());
    EXPECT_TRUE(document.HasParseError() || document.IsObject()) << path;
    if (document.HasParseError() || !document.IsObject()) m_json = "{}";
}

std::string ReportContent::text(const std::string& key) const {
    const rapidjson::Document document = parsed(m_json);
    const auto item = document.FindMember(key.c_str());
    if (item == document.MemberEnd() || !item->value.IsString()) {
        ADD_FAILURE() << "no text \"" << key << "\" in " << m_path;
        return "";
    }
    return item->value.GetString();
}

std::vector<std::string> ReportContent::list(const std::string& key) const {
    const rapidjson::Document document = parsed(m_json);
    const auto item = document.FindMember(key.c_str());
    std::vector<std::string> texts;
    if (item == document.MemberEnd() || !item->value.IsArray()) {
        ADD_FAILURE() << "no list \"" << key << "\" in " << m_path;
        return texts;
    }
    for (const rapidjson::Value& text : item->value.GetArray())
        texts.push_back(text.IsString() ? text.GetString() : "(not a text)");
    return texts;
}

std::vector<std::string> ReportContent::keys() const {
    const rapidjson::Document document = parsed(m_json);
    std::vector<std::string> names;
    for (const auto& item : document.GetObject()) names.push_back(item.name.GetString());
    return names;
}

}  // namespace integration_test
