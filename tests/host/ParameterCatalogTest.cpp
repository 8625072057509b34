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
    EXPECT_EQ(ParameterCatalog().Parameters().size(), 614U);
    for (const EngineTree tree : {EngineTree::Vocoder, EngineTree::Carrier}) {
        const ParameterCatalog catalog(tree);
        std::set<std::string> names;
        for (std::uint32_t id = 0; id < catalog.Parameters().size(); ++id) {
            const ParameterInfo& info = catalog.Parameters()[id];
            EXPECT_EQ(info.id, id);
            EXPECT_TRUE(names.insert(info.name).second) << info.name;
            EXPECT_EQ(&catalog.Find(info.name), &info) << info.name;
            EXPECT_LT(info.minimum, info.maximum) << info.name;
            EXPECT_TRUE(info.start >= info.minimum && info.start <= info.maximum)
                << info.name << " " << info.start;
            EXPECT_TRUE(info.role != ParameterRole::Control || !info.description.empty()) << info.name;
        }
    }
}

TEST(ParameterCatalog, TheCarrierHasItsOwnNames) {
    const ParameterCatalog catalog(EngineTree::Carrier);
    EXPECT_EQ(catalog.Find("Attack").name, "Attack") << "not that of the envelopes, which follows it";
    EXPECT_EQ(catalog.Find("Attack").role, ParameterRole::Control);
    EXPECT_EQ(catalog.Find("Osc2Coarse").name, "Carrier_Oscillators_Osc2Coarse");
    EXPECT_EQ(catalog.Find("Dst17_Src4_Amount").role, ParameterRole::Route);
    EXPECT_EQ(catalog.Find("VST3_PitchBend").role, ParameterRole::Controller);
    EXPECT_EQ(catalog.Find("OutState").role, ParameterRole::Output);
    EXPECT_EQ(catalog.Similar("Osc1Wavefrom").front(), "Osc1Waveform");
}

TEST(ParameterCatalog, AnEndingMeansTheNameWithTheFewestParts) {
    const ParameterCatalog catalog;
    EXPECT_EQ(catalog.Find("Attack").name, "BodeVocoder_AnalyzerRectifiers_Attack");
    EXPECT_EQ(catalog.Find("RectifierFollower12_Attack").name,
              "BodeVocoder_AnalyzerRectifiers_RectifierFollower12_Attack");
    EXPECT_EQ(catalog.Find("NoiseCarrierBalance").name,
              "BodeVocoder_NoiseCarrierBalance_NoiseCarrierBalance");
    EXPECT_EQ(catalog.Find("HFChannel_FcHP").name, "BodeVocoder_HFChannel_FcHP");
}

TEST(ParameterCatalog, AnEndingBeginsOnlyAfterAnUnderscore) {
    const ParameterCatalog catalog;
    for (const char* name : {"ttack", "Level", "_Attack", "TrimmeR", "", "attack", " Attack"}) {
        EXPECT_TRUE(MessageOf(catalog, name).starts_with("unknown parameter")) << MessageOf(catalog, name);
    }
}

TEST(ParameterCatalog, AmbiguousEndingsAreRefusedWithTheChoice) {
    const ParameterCatalog catalog;
    const std::string few = MessageOf(catalog, "FcHP");
    EXPECT_NE(few.find("ambiguous"), std::string::npos) << few;
    EXPECT_NE(few.find("BodeVocoder_HFChannel_FcHP"), std::string::npos) << few;
    EXPECT_NE(few.find("BodeVocoder_HissBuzzDiscriminator_FcHP"), std::string::npos) << few;
    const std::string many = MessageOf(catalog, "Synthesis7");
    EXPECT_NE(many.find("Analysis1_Synthesis7"), std::string::npos) << many;
    EXPECT_NE(many.find("and 12 more"), std::string::npos) << many;
}

TEST(ParameterCatalog, UnknownNamesAreAnsweredWithSimilarOnes) {
    const ParameterCatalog catalog;
    EXPECT_EQ(catalog.Similar("Atack").front(), "Attack");
    EXPECT_EQ(catalog.Similar("programlevel").front(), "ProgramLevel");
    EXPECT_EQ(catalog.Similar("BodeVocoder_Wett").front(), "BodeVocoder_Wet");
    EXPECT_TRUE(catalog.Similar("SomethingEntirelyDifferent").empty());
    EXPECT_NE(MessageOf(catalog, "GainBnad3").find("GainBand3"), std::string::npos);
}

TEST(ParameterCatalog, UnitsAndRolesFitTheRanges) {
    const ParameterCatalog catalog;
    int outputs = 0;
    int routes = 0;
    for (const ParameterInfo& info : catalog.Parameters()) {
        outputs += info.role == ParameterRole::Output ? 1 : 0;
        routes += info.role == ParameterRole::Route ? 1 : 0;
        // A knob from 0 to 1 has no unit; times and frequencies are above 0; levels in dB can be negative.
        EXPECT_TRUE(info.kind == ParameterKind::Mapped || info.unit == ParameterUnit::None) << info.name;
        const bool isPositive = info.unit == ParameterUnit::Second || info.unit == ParameterUnit::Hertz;
        EXPECT_TRUE(!isPositive || info.minimum > 0.0F) << info.name;
        EXPECT_EQ(info.unit == ParameterUnit::Decibel, info.minimum <= -24.0F) << info.name;
        EXPECT_TRUE(info.unit == ParameterUnit::Hertz || info.maximum < 1000.0F) << info.name;
        EXPECT_TRUE(info.role != ParameterRole::Control || !info.description.empty()) << info.name;
    }
    EXPECT_EQ(outputs, 20);
    EXPECT_EQ(routes, 256);
}

} // namespace

} // namespace orphia::host
