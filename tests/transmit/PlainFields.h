/// @file
/// What holds for the settings of a server as for those of a client.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace transmit_test {

/// A text of a plain value, by its two operations.
template <class Info>
struct Field {
    void (Info::*set)(const std::string&);
    std::string (Info::*get)() const;
};

/// Each setter changes its own field only, and neither checks nor trims. A field may be assigned to
/// itself, what a getter gave stays when the field changes, and a copy is independent.
template <class Info>
void expectPlainFields(const std::vector<Field<Info>>& fields) {
    const std::string awkward = " t\t\n and far more than any server would take ";
    Info info;
    std::vector<std::string> texts;
    for (const auto& field : fields) {
        texts.push_back(awkward + std::to_string(texts.size()));
        (info.*field.set)(texts.back());
    }
    const auto expectTexts = [&](const Info& of, const char* when) {
        for (std::size_t i = 0; i < fields.size(); ++i)
            EXPECT_EQ((of.*fields[i].get)(), texts[i]) << "field " << i << " " << when;
    };
    expectTexts(info, "once all are set");

    for (const auto& field : fields) (info.*field.set)((info.*field.get)());
    expectTexts(info, "after it was assigned to itself");

    const Info copy = info;
    for (const auto& field : fields) {
        const std::string& given = (info.*field.get)();
        const std::string before = given;
        (info.*field.set)("");
        EXPECT_EQ(given, before) << "what a getter gave changed with the field";
    }
    expectTexts(copy, "of a copy");
}

}  // namespace transmit_test
