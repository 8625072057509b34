// SPDX-License-Identifier: GPL-3.0-or-later
// A host that writes what it has read, when a session is saved and loaded for instance, must not be heard.
#include "host/parameters/ParameterCatalog.h"
#include "processor/instrument/PlayedRig.h"

#include <gtest/gtest.h>

namespace orphia::test {
namespace {

const host::ParameterCatalog& Catalog() { return host::ParameterCatalog::OfInstrument(); }

/// The end of a preset resets, and that is its use.
bool MayAct(u32 id) { return id == VocoderProcessor::ParameterId(PresetLoading); }

/// A chord and a voice, through the values of a new instrument, or through as few as make a new engine speak.
struct Playing : PlayedRig {
    explicit Playing(bool isRaw) {
        isRaw ? SpeakRaw() : Speak();
        for (const u8 note : std::initializer_list<u8>{45, 52, 57}) {
            NoteOn(note);
        }
        Run(200);
    }
    void SpeakRaw() {
        constexpr std::pair<std::string_view, float> speaking[] = {
            {"Modulator_ExternalInput", 1.0F}, {"ExternalInputGain", 0.6F},    {"ProgramLevel", 0.58F},
            {"Osc1Waveform", 0.33F},           {"CarrierLevel", 0.58F},        {"FilterBank_Shift", 0.5F},
            {"FilterBank_Width", 0.5F},        {"Rectifiers_Attack", 0.17F},   {"Rectifiers_Release", 0.08F},
            {"HissBuzzTrimmer", 0.5F},         {"NoiseCarrierBalance", 0.75F}, {"UnvoicedMode", 1.0F},
            {"OutputSelection", 1.0F},         {"BodeVocoder_Wet", 1.0F},      {"MasterVolume", 0.8F}};
        for (const auto& info : Catalog().Parameters()) {
            for (const auto& [ending, position] : speaking) {
                if (info.name.ends_with(ending)) {
                    played->SetParameterNormalized(info.id, position);
                }
            }
            if (info.name.find("_GainBand") != std::string::npos) {
                played->SetParameterNormalized(info.id, 1.0F);
            }
        }
        voiceLevel = 0.5F;
        voiceChannels = 2;
    }
    void WriteBack(u32 id) { played->SetParameterNormalized(id, played->GetParameterNormalized(id)); }
};

/// But for the rounding of a value that was set in its unit and is written as a position.
bool SoundAlike(Playing& one, Playing& other, int blocks) {
    float distance = 0.0F;
    for (int block = 0; block < blocks; ++block) {
        one.RunBlock();
        other.RunBlock();
        for (u32 n = 0; n < 2 * one.blockSize; ++n) {
            const float apart = std::abs(one.out[n % 2][n / 2] - other.out[n % 2][n / 2]);
            distance = apart <= distance ? distance : apart; // what is not a number stays
        }
    }
    return distance < 1e-5F;
}

TEST(ReadBack, AValueThatIsWrittenAsItIsReadChangesNothing) {
    for (const bool isRaw : {true, false}) {
        Playing plain(isRaw);
        Playing written(isRaw);
        EXPECT_GT(plain.Run(50), 0.01F);
        written.Run(50);
        for (u32 id = 0; id < VocoderProcessor::parameterCount; ++id) {
            if (!MayAct(id)) {
                written.WriteBack(id);
                ASSERT_TRUE(SoundAlike(plain, written, 1))
                    << Catalog().Parameters()[id].name << ", " << isRaw;
            }
        }
        for (const bool isBracketed : {false, true}) {
            for (Playing* rig : {&plain, &written}) {
                rig->SetPosition(PresetLoading, isBracketed ? 1.0F : 0.0F);
                rig->NoteOn(48);
                rig->Run(10);
            }
            for (u32 id = 0; id < VocoderProcessor::parameterCount; ++id) {
                MayAct(id) ? void() : written.WriteBack(id);
            }
            for (Playing* rig : {&plain, &written}) {
                rig->SetPosition(PresetLoading, 0.0F);
                rig->NoteOn(50);
            }
            EXPECT_TRUE(SoundAlike(plain, written, 200)) << "bracketed " << isBracketed << ", " << isRaw;
            EXPECT_GT(Peak(plain.out[0]), 0.001F);
        }
    }
}

} // namespace
} // namespace orphia::test
