// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ParameterCatalog.h"

#include "host/Errors.h"
#include "host/ParameterText.h"

#include <gtest/gtest.h>

#include <random>
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
    for (const EngineTree tree : {EngineTree::Vocoder, EngineTree::Instrument}) {
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
    const ParameterCatalog& instrument = ParameterCatalog::OfInstrument();
    EXPECT_EQ(instrument.Parameters().size(), 2359U);
    EXPECT_EQ(instrument.Find("Attack").name, "Attack");
    EXPECT_EQ(instrument.Find("Wet").name, "BodeVocoder_Wet");
    EXPECT_EQ(instrument.Find("FX2_Delay_Time").name, "FX2_Delay_Time");
    EXPECT_NE(MessageOf(instrument, "Delay_Time").find("FX1_Delay_Time, FX2_Delay_Time, FX3_Delay_Time"),
              std::string::npos)
        << MessageOf(instrument, "Delay_Time");
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

TEST(ParameterCatalog, EveryStepOfAChoiceHasANameOfItsOwn) {
    for (const ParameterInfo& info : ParameterCatalog::OfInstrument().Parameters()) {
        if (info.choices.empty()) {
            continue;
        }
        std::set<std::string_view> names;
        for (unsigned step = 0; step < info.stepCount; ++step) {
            EXPECT_FALSE(ChoiceOf(info, step).empty()) << info.name << " step " << step;
            names.insert(ChoiceOf(info, step));
        }
        EXPECT_EQ(names.size(), info.stepCount) << info.name;
        EXPECT_TRUE(ChoiceOf(info, info.stepCount).empty()) << info.name;
    }
}

/// What is saved must come back as exactly the same position of the knob.
TEST(ParameterCatalog, PositionsAndSettingsConvertBothWays) {
    const ParameterCatalog& catalog = ParameterCatalog::OfInstrument();
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    std::size_t valueCount = 0;
    for (const ParameterInfo& info : catalog.Parameters()) {
        for (const float position : {0.0F, 1.0F, unit(random)}) {
            const ParameterSetting setting = SettingAt(catalog, info.id, position);
            EXPECT_EQ(PositionOf(catalog, setting), position) << info.name;
            EXPECT_EQ(ParseSetting(info, FormatSetting(info, setting)), setting) << info.name;
            valueCount += setting.scale == ParameterSetting::Scale::Value ? 1 : 0;
        }
        for (unsigned step = 0; step < info.stepCount; ++step) {
            const float value = info.minimum + static_cast<float>(step) * info.stepWidth;
            EXPECT_EQ(catalog.ToValue(info.id, catalog.ToPosition(info.id, value)), value) << info.name;
        }
    }
    EXPECT_GT(valueCount, catalog.Parameters().size() * 2) << "most settings are readable values";
    const ParameterInfo& attack = catalog.Find("Attack");
    const float position = catalog.ToPosition(attack.id, 0.012F);
    EXPECT_EQ(FormatSetting(attack, SettingAt(catalog, attack.id, position)), "12 ms");
}

} // namespace

} // namespace orphia::host
