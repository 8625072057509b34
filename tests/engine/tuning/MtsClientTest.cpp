// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/tuning/MtsClient.h"

#include "engine/tuning_library/TestTuning.h"
#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>

using Velmora::u32;
using Velmora::u8;
using Velmora::engine::MtsClient;

namespace {

constexpr u8 unknownChannel = 255;

/// A tuning library in memory, its state fresh.
class LoadedTuning {
public:
    explicit LoadedTuning(const std::string& variant)
        : path((std::filesystem::path(ORPHIA_TEST_TUNING) / (variant + std::string(".so"))).string()),
          library(path) {
        const auto getState = library.FindFunction<TestTuning*()>("TestTuning_State");
        if (getState == nullptr) {
            throw std::runtime_error(library.GetError());
        }
        state = getState();
        *state = {};
        state->hasMaster = true;
    }

    std::string path;
    Velmora::Platform::DynamicLibrary library;
    TestTuning* state = nullptr;
};

/// `divisions` equal steps to the octave from a given A.
TestTuning::Table EqualSteps(double divisions, double a4 = 440.0) {
    TestTuning::Table table{};
    for (u32 note = 0; note < 128; ++note) {
        table[note] = a4 * std::exp2((note - 69.0) / divisions);
    }
    return table;
}

/// The greatest deviation of what sounds from the table over all notes, in cents.
double WorstCents(const MtsClient& client, const TestTuning::Table& table, u8 channel) {
    double worst = 0.0;
    for (u8 note = 0; note < 128; ++note) {
        const double key = note - 69.0 + client.RetuningInSemitones(note, channel);
        worst = std::max(worst, std::abs(100.0 * key - 1200.0 * std::log2(table[note] / 440.0)));
    }
    return worst;
}

// Float semitones around 60 are exact to 0.0004 cents.
constexpr double tolerance = 0.001;

TEST(MtsClient, SoundsEveryNoteAtTheFrequencyOfTheTableIfItIsOne) {
    LoadedTuning tuning("complete");
    const MtsClient client(tuning.path);
    for (const auto& table : {EqualSteps(19), EqualSteps(12.07), EqualSteps(12, 415), EqualSteps(5)}) {
        tuning.state->table = table; // rewritten under a client that is at work
        EXPECT_LT(WorstCents(client, table, 0), tolerance);
        EXPECT_LT(WorstCents(client, table, unknownChannel), tolerance);
    }
    EXPECT_EQ(client.RetuningInSemitones(60, 0), client.RetuningInSemitones(128 + 60, 0));
    using Limits = std::numeric_limits<double>;
    for (const double entry : {0.0, -440.0, Limits::quiet_NaN(), Limits::infinity()}) {
        tuning.state->table.fill(entry);
        EXPECT_EQ(client.RetuningInSemitones(60, 0), 0.0F) << entry;
    }
    tuning.state->table.fill(Limits::denorm_min());
    EXPECT_TRUE(std::isfinite(client.RetuningInSemitones(60, 0)));
}

TEST(MtsClient, KeepsThePlainTuningWhileNobodyTunes) {
    LoadedTuning tuning("complete");
    tuning.state->table = EqualSteps(19);
    tuning.state->hasMaster = false;
    tuning.state->unmappedNote = 60;
    const LoadedTuning masterless("without_master");
    masterless.state->table = EqualSteps(19);
    for (const auto& path : {std::string(), tuning.path + ".absent", tuning.path, masterless.path}) {
        const MtsClient client(path);
        EXPECT_FALSE(client.HasMaster() || client.ShouldFilterNote(60, 0)) << path;
        EXPECT_LT(WorstCents(client, EqualSteps(12), 0), tolerance) << path;
    }
    const MtsClient client(tuning.path);
    tuning.state->hasMaster = true;
    EXPECT_NE(client.RetuningInSemitones(60, 0), 0.0F) << "a master that came later";
    tuning.state->hasTable = false;
    EXPECT_EQ(client.RetuningInSemitones(60, 0), 0.0F);
}

TEST(MtsClient, FiltersTheNotesThatTheTuningHasNoPlaceFor) {
    LoadedTuning tuning("complete");
    const MtsClient client(tuning.path);
    tuning.state->unmappedNote = 61;
    for (u32 note = 0; note < 256; ++note) {
        EXPECT_EQ(client.ShouldFilterNote(static_cast<u8>(note), 4), note % 128 == 61) << note;
    }
    EXPECT_EQ(tuning.state->lastChannel, 4);
    EXPECT_TRUE(client.ShouldFilterNote(61, 16));
    EXPECT_EQ(tuning.state->lastChannel, -1) << "a channel above 15 is unknown";
    LoadedTuning older("table_only");
    older.state->table = EqualSteps(19);
    older.state->unmappedNote = 60;
    const MtsClient plain(older.path);
    EXPECT_FALSE(plain.ShouldFilterNote(60, 0));
    EXPECT_LT(WorstCents(plain, older.state->table, 0), tolerance);
}

TEST(MtsClient, TakesAChannelsOwnTuningOnlyWhereItIsInForce) {
    LoadedTuning tuning("complete");
    MtsClient client(tuning.path);
    TestTuning& state = *tuning.state;
    state.table = EqualSteps(19);
    state.channelTables[3] = EqualSteps(31);
    state.unmappedNote = 61;
    state.unmappedOnChannels = 62;
    const auto hearsChannel = [&](u8 channel) {
        const auto& expected = client.ShouldFilterNote(62, channel) ? state.channelTables[3] : state.table;
        EXPECT_NE(client.ShouldFilterNote(61, channel), client.ShouldFilterNote(62, channel));
        EXPECT_LT(WorstCents(client, expected, channel), tolerance) << "filter and table disagree";
        return &expected != &state.table;
    };
    state.usesChannel[3] = true;
    EXPECT_FALSE(hearsChannel(3)) << "there is no table";
    state.hasChannelTable[3] = true;
    EXPECT_TRUE(hearsChannel(3));
    EXPECT_FALSE(hearsChannel(2));
    EXPECT_FALSE(hearsChannel(3 + 16));
    state.usesChannel[3] = false;
    EXPECT_FALSE(hearsChannel(3)) << "the table is not in force";
    state.usesChannel[3] = true;
    client.UseMultiChannel(false);
    EXPECT_FALSE(hearsChannel(3)) << "channels are for expression";
    EXPECT_EQ(state.lastChannel, -1);
}

} // namespace
