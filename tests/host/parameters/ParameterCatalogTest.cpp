// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterCatalog.h"

#include "host/common/Errors.h"
#include "host/parameters/ParameterText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

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
        // Small positions are as likely as large ones.
        for (const float position : {0.0F, 1.0F, unit(random), std::pow(unit(random), 8.0F)}) {
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
    EXPECT_GT(valueCount, catalog.Parameters().size() * 5 / 2) << "most settings are readable values";
    const ParameterInfo& attack = catalog.Find("Attack");
    const float position = catalog.ToPosition(attack.id, 0.012F);
    EXPECT_EQ(FormatSetting(attack, SettingAt(catalog, attack.id, position)), "12 ms");
}

using Scale = ParameterSetting::Scale;

class ParameterTextTest : public testing::Test {
protected:
    ParameterSetting Parse(std::string_view name, std::string_view text) const {
        return ParseSetting(catalog.Find(name), text);
    }
    std::string Refusal(std::string_view name, std::string_view text) const {
        try {
            const ParameterSetting setting = Parse(name, text);
            return "taken as " + std::to_string(setting.number);
        } catch (const UsageError& error) {
            return error.what();
        }
    }

    ParameterCatalog catalog;
};

TEST_F(ParameterTextTest, AllSpellingsOfAValueMeanTheSame) {
    const std::pair<const char*, std::pair<float, std::vector<const char*>>> cases[] = {
        {"AnalyzerRectifiers_Attack", {0.005F, {"5 ms", "5ms", "0.005", "0.005 s", " +5 MS ", "5e-3"}}},
        {"ProgramLevel", {-10.5F, {"-10.5 dB", "-10.5", "-10.5db", "-1.05e1 DB"}}},
        {"HFChannel_FcLP", {1200.0F, {"1.2 kHz", "1200", "1200 Hz", "1.2khz"}}},
        {"Wet", {0.25F, {"0.25", "25 %", "25%", "@0.25", "@ .25", "0.25 knob"}}},
        {"HFMode", {1.0F, {"on", "ON", "1"}}},
        {"NoiseMix", {1.0F, {"100 %"}}},
        {"Shift", {-0.5F, {"-0.5", "-.5"}}},
    };
    for (const auto& [name, expected] : cases) {
        for (const char* text : expected.second) {
            const ParameterSetting setting = Parse(name, text);
            EXPECT_EQ(setting.number, expected.first) << name << " " << text;
            EXPECT_EQ(setting.scale, Scale::Value) << name << " " << text;
        }
    }
    for (const char* text : {"50 %", "@0.5", "0.5 knob"}) {
        const ParameterSetting position{catalog.Find("ProgramLevel").id, Scale::Position, 0.5F};
        EXPECT_EQ(Parse("ProgramLevel", text), position) << text;
    }
}

TEST_F(ParameterTextTest, StepsHaveNamesAndPitchesAnglesAndSharesUnits) {
    const ParameterCatalog& instrument = ParameterCatalog::OfInstrument();
    const std::tuple<const char*, const char*, float, const char*> cases[] = {
        {"Osc1Waveform", "SAW", 1.0F, "saw"},
        {"Osc1Waveform", "1", 1.0F, "saw"},
        {"FX2_ModuleType", "reverb", 1.0F, "reverb"},
        {"FX3_Delay_SyncRate", "1/8", 8.0F, "1/8"},
        {"FX1_Delay_SyncRate", "1/8 dotted", 6.0F, "1/8 dotted"},
        {"PolyphonyMode", "8 voices", 8.0F, "8 voices"},
        {"Osc1Coarse", "-12 st", -12.0F, "-12 st"},
        {"Osc2Fine", "50 ct", 0.5F, "0.5 st"},
        {"LFO_Swing", "60 %", 60.0F, "60 %"},
        {"LFO_PhaseInit", "90 deg", 90.0F, "90 deg"},
        {"FX1_BitCrusher_Split", "1 st", 100.0F, "100 ct"},
        {"FX_Enable", "off", 0.0F, "off"}};
    for (const auto& [name, text, value, written] : cases) {
        const ParameterInfo& info = instrument.Find(name);
        const ParameterSetting setting = ParseSetting(info, text);
        EXPECT_EQ(setting.number, value) << name << " " << text;
        EXPECT_EQ(FormatSetting(info, setting), written) << name;
    }
    EXPECT_THROW(ParseSetting(instrument.Find("Osc1Waveform"), "sine"), UsageError);
    EXPECT_THROW(ParseSetting(instrument.Find("Osc1Coarse"), "3 dB"), UsageError);
    EXPECT_THROW(CheckIsSettable(instrument.Find("PresetLoading")), UsageError);
}

TEST_F(ParameterTextTest, NonsenseIsRefused) {
    for (const char* text : {"", " ", "loud", "1,5", "nan", "inf", "0x1", "--1", "+-1", "1 2", "@", "@ms",
                             "@1 dB", "5 parsecs", "1e", "on"}) {
        EXPECT_NE(Refusal("Release", text).find("is not a value"), std::string::npos)
            << text << ": " << Refusal("Release", text);
    }
}

TEST_F(ParameterTextTest, TheRangeIsClosedAndToldWhenItIsLeft) {
    EXPECT_EQ(Parse("Attack", "1 ms").number, catalog.Find("Attack").minimum);
    EXPECT_EQ(Parse("Attack", "1").number, 1.0F);
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Attack", "0.9 ms", "BodeVocoder_AnalyzerRectifiers_Attack: '0.9 ms' is outside 1 ms .. 1 s"},
        {"ProgramLevel", "0.1", "outside -75 dB .. 0 dB"},
        {"ProgramLevel", "101 %", "outside"},
        {"HFMode", "2", "outside off, on"},
        {"Wet", "1e39", "outside"},
        {"Release", "3 dB", "it takes s or ms"},
        {"Wet", "1 Hz", "no unit"},
        {"NoiseType", "1.5", "0 .. 5 in steps of 1"}};
    for (const auto& [name, text, reason] : cases) {
        EXPECT_NE(Refusal(name, text).find(reason), std::string::npos) << Refusal(name, text);
    }
}

TEST_F(ParameterTextTest, AssignmentsNameAParameterThatCanBeSet) {
    const ParameterSetting setting = ParseAssignment(catalog, "Attack = 5 ms");
    EXPECT_EQ(setting, (ParameterSetting{catalog.Find("Attack").id, Scale::Value, 0.005F}));
    for (const char* text : {"Attack", "=1", "Attack=", "BuzzLED=1", "CVFB3=0", "Foo=1"}) {
        EXPECT_THROW(ParseAssignment(catalog, text), UsageError) << text;
    }
}

} // namespace

} // namespace orphia::host
