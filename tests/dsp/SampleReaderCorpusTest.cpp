// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/SampleReader.h"
#include "tests/host/TestFiles.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void RunOn(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

// A fault ends the program with its name.
TEST(SampleReaderCorpus, EveryFileAndItsDamagedCopiesAreSurvived) {
    int sounds = 0;
    int refused = 0;
    for (const auto& entry : std::filesystem::directory_iterator(ORPHIA_FUZZ_CORPUS "/sample_reader")) {
        const std::string whole = orphia::test::ReadText(entry.path());
        RunOn(whole);
        std::mt19937 random(7); // for each file: they come in no order
        const auto result = Velmora::dsp::SampleReader().Read(entry.path().string());
        ++(result.data != nullptr ? sounds : refused);
        for (int copy = 0; copy < 20; ++copy) {
            std::string damaged = whole;
            for (int change = 0; change < 4; ++change) {
                damaged[random() % damaged.size()] = static_cast<char>(random());
            }
            RunOn(damaged);
        }
    }
    EXPECT_GT(sounds, 10) << "the corpus has too few sounds to be of use";
    EXPECT_GT(refused, 8) << "the corpus has too few faults to be of use";
}

} // namespace
