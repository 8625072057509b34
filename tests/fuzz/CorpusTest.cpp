// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

namespace {

struct Target {
    const char* name;
    void (*run)(orphia::fuzz::Input input);
    int damagedCopies;
};

class Corpus : public testing::TestWithParam<Target> {};

void RunOn(const Target& target, const std::string& bytes) {
    target.run({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

// A fault ends the program with its name.
TEST_P(Corpus, EveryFileAndItsDamagedCopiesAreSurvived) {
    int files = 0;
    const std::string folder = std::string(ORPHIA_FUZZ_CORPUS "/") + GetParam().name;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++files;
        const std::string whole = orphia::test::ReadText(entry.path());
        RunOn(GetParam(), whole);
        std::mt19937 random(7); // for each file: they come in no order
        for (int copy = 0; copy < GetParam().damagedCopies && !whole.empty(); ++copy) {
            std::string damaged = whole;
            for (int change = 0; change < 4; ++change) {
                damaged[random() % damaged.size()] = static_cast<char>(random());
            }
            RunOn(GetParam(), damaged);
        }
    }
    EXPECT_GE(files, 3) << folder;
}

INSTANTIATE_TEST_SUITE_P(Targets, Corpus,
                         testing::Values(Target{"sample_reader", orphia::fuzz::SampleReader, 20},
                                         Target{"preset_reader", orphia::fuzz::PresetReader, 5},
                                         Target{"midi_reader", orphia::fuzz::MidiReader, 20},
                                         Target{"voice_manager", orphia::fuzz::VoiceManager, 20}),
                         [](const auto& target) { return std::string(target.param.name); });

} // namespace
