// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ParameterCatalog.h"

#include "host/Errors.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace orphia::host {

namespace {

std::string MessageOf(const ParameterCatalog& catalog, std::string_view name) {
    try {
        return "found " + catalog.Find(name).name;
    } catch (const UsageError& error) {
        return error.what();
    }
}

TEST(ParameterCatalog, EveryFullNameIsUniqueAndFindsItsOwnParameter) {
    for (const EngineTree tree : {EngineTree::Vocoder, EngineTree::Carrier, EngineTree::Modulator}) {
        const ParameterCatalog catalog(tree);
        std::set<std::string> names;
        for (std::uint32_t id = 0; id < catalog.Parameters().size(); ++id) {
            const ParameterInfo& info = catalog.Parameters()[id];
            EXPECT_EQ(info.id, id);
            EXPECT_TRUE(names.insert(info.name).second) << info.name;
            EXPECT_EQ(&catalog.Find(info.name), &info) << info.name;
            EXPECT_TRUE(info.minimum <= info.start && info.start <= info.maximum) << info.name;
            EXPECT_TRUE(info.role != ParameterRole::Control || !info.description.empty()) << info.name;
        }
    }
}

TEST(ParameterCatalog, AnEndingMeansTheNameWithTheFewestPartsAndBeginsAfterAnUnderscore) {
    const ParameterCatalog catalog;
    EXPECT_EQ(catalog.Find("Attack").name, "BodeVocoder_AnalyzerRectifiers_Attack");
    EXPECT_EQ(catalog.Find("RectifierFollower12_Attack").name,
              "BodeVocoder_AnalyzerRectifiers_RectifierFollower12_Attack");
    EXPECT_EQ(ParameterCatalog(EngineTree::Carrier).Find("Attack").name, "Attack");
    for (const char* name : {"ttack", "Level", "_Attack", "TrimmeR", "", "attack", " Attack"}) {
        EXPECT_TRUE(MessageOf(catalog, name).starts_with("unknown parameter")) << MessageOf(catalog, name);
    }
}

TEST(ParameterCatalog, AmbiguousEndingsAreRefusedWithTheChoice) {
    const std::string few = MessageOf(ParameterCatalog(), "FcHP");
    for (const char* part : {"ambiguous", "BodeVocoder_HFChannel_FcHP", "HissBuzzDiscriminator_FcHP"}) {
        EXPECT_NE(few.find(part), std::string::npos) << few;
    }
    const std::string many = MessageOf(ParameterCatalog(), "Synthesis7");
    EXPECT_NE(many.find("and 12 more"), std::string::npos) << many;
}

} // namespace

} // namespace orphia::host
