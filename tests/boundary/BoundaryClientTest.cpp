// SPDX-License-Identifier: GPL-3.0-or-later
// A host of its own: of this project it has only the restated contract.
#include "boundary/HostContract.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace orphia_contract {

namespace {

using std::uint32_t;

constexpr uint32_t parameterCount = 2359;
constexpr uint32_t tooltipUpdate = 2357;
constexpr uint32_t tooltipText = 2358;
constexpr uint32_t firstPath = 303;
constexpr float sampleRate = 48000.0F;
constexpr uint32_t blockSize = 48;

struct Recorder final : Logger {
    std::vector<std::string> lines;
    void Log(const char* text, uint32_t level) override { lines.push_back(std::to_string(level) + text); }
};

struct InfoRecord {
    alignas(8) char bytes[512] = {};
    std::string Name() const { return bytes; }
};

struct BoundaryClientTest : testing::Test {
    Library library;
    std::unique_ptr<Processor> processor = library.MakeProcessor();

    /// The external voice, by its preamp, is heard.
    std::unique_ptr<Processor> MakeSpeaking(float rate) {
        auto speaking = library.MakeProcessor();
        EXPECT_TRUE(Initialize(*speaking, rate));
        for (const auto& [id, value] :
             {std::pair(366U, 1.0F), {367, 0.5F}, {975, 0.5F}, {2350, 0.5F}, {2351, 1.0F}}) {
            EXPECT_TRUE(speaking->SetParameter(id, value)) << id;
        }
        return speaking;
    }
};

void ExpectWords(const void* object, std::size_t offset, std::initializer_list<uint32_t> expected) {
    for (const uint32_t word : expected) {
        EXPECT_EQ(At<uint32_t>(object, offset), word) << "at byte " << offset;
        offset += 4;
    }
}

void ExpectDescriptions(const Processor& processor, const void* newest, uint32_t count) {
    ExpectWords(&processor, 8, {count, 2, 0, 3, 44, 3});
    ExpectWords(&processor, 40, {count, 2, 0, 3, 44, 4, 2});
    ExpectWords(&processor, 72, {count, 2, 0, 3, 44, 5, 2});
    EXPECT_EQ(At<unsigned char>(&processor, 100), 1);
    ExpectWords(newest, 8, {count, 2, 0, 3, 44, 8, 2});
    EXPECT_EQ(At<unsigned char>(newest, 8 + 28), 1);
    ExpectWords(newest, 8 + 32, {0});
}

TEST_F(BoundaryClientTest, EachFactoryTellsTheProduct) {
    const auto first = library.MakeFactory();
    const auto second = library.MakeFactory();
    ASSERT_NE(first.get(), second.get());
    for (const Factory* factory : {first.get(), second.get()}) {
        const auto* bytes = reinterpret_cast<const char*>(factory);
        EXPECT_STREQ(bytes + 8, "1.6.2.5305");
        EXPECT_STREQ(bytes + 264, "Velmora");
        EXPECT_STREQ(bytes + 520, "Orphia VX");
    }
    EXPECT_EQ(first->GetInterfaceVersion(), 8U);
}

TEST_F(BoundaryClientTest, HostsOfEachLevelFindTheirDescription) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(processor.get()) % 16, 0U);
    const auto* newest = At<const unsigned char*>(processor.get(), 104);
    EXPECT_EQ(processor->GetInfoV5(), newest);
    EXPECT_EQ(processor->GetInfo(), newest + 8);
    EXPECT_EQ(processor->GetVersion(), 8U);
    EXPECT_EQ(At<const void*>(processor.get(), 32), nullptr);
    ExpectDescriptions(*processor, newest, 0);
    Recorder recorder;
    EXPECT_TRUE(processor->Connect(&recorder));
    EXPECT_EQ(At<const void*>(processor.get(), 32), &recorder);
    EXPECT_EQ(processor->GetParameterCount(), parameterCount);
    ExpectDescriptions(*processor, newest, parameterCount);
    EXPECT_TRUE(processor->Connect(nullptr)) << "without a logger";
}

/// By id, as docs/parameters.md tells them.
std::vector<std::string> DocumentedNames() {
    std::vector<std::string> names;
    std::ifstream file(ORPHIA_PARAMETERS);
    for (std::string line; std::getline(file, line);) {
        unsigned id = 0;
        char name[256] = {};
        if (std::sscanf(line.c_str(), "| %u | %255[^|]", &id, name) == 2 && id == names.size()) {
            names.emplace_back(name, std::strlen(name) - 1);
        }
    }
    return names;
}

TEST_F(BoundaryClientTest, EachParameterHasTheIdAndTheNameThatAreDocumented) {
    Recorder recorder;
    processor->Connect(&recorder);
    const std::vector<std::string> names = DocumentedNames();
    ASSERT_EQ(names.size(), parameterCount);
    for (uint32_t index = 0; index < parameterCount; ++index) {
        InfoRecord record;
        uint32_t id = ~index;
        EXPECT_TRUE(processor->GetParameterInfoByIndex(index, &id, &record)) << index;
        EXPECT_EQ(id, index);
        EXPECT_EQ(record.Name(), names[index]) << index;
        float value = 0.0F;
        EXPECT_TRUE(processor->GetParameter(id, &value)) << index;
        EXPECT_TRUE(value >= 0.0F && value <= 1.0F) << index << ": " << value;
    }
    EXPECT_TRUE(recorder.lines.empty()) << recorder.lines.front();
    InfoRecord record;
    uint32_t id = 0;
    EXPECT_FALSE(processor->GetParameterInfoByIndex(parameterCount, &id, &record));
    EXPECT_FALSE(processor->GetParameterInfo(0xFFFFFFFF, &record));
    EXPECT_EQ(record.Name(), "");
}

TEST_F(BoundaryClientTest, ReservedSlotsAnswerAsTheyAlwaysDid) {
    void* records = nullptr;
    uint32_t count = 0;
    Processor& p = *processor;
    EXPECT_TRUE(p.Reserved5() && p.Reserved6() && p.Hook18() && p.Hook19() && p.Reserved22());
    EXPECT_FALSE(p.Reserved1() || p.Reserved16() || p.Reserved20() || p.Reserved25(&records, &count) ||
                 p.Reserved27() || p.Reserved28() || p.Reserved31() || p.IsLoading());
    p.Hook32();
    p.Hook33();
    p.Idle();
    EXPECT_EQ(p.GetLatency(), 44U);
    EXPECT_EQ(p.GetExtraLatency(), 0U);
}

/// What is no rate counts as 44.1 kHz, what is out of range as its nearest end: there it sounds.
TEST_F(BoundaryClientTest, BlocksLastAMillisecondAtAnyRateAHostMayName) {
    struct Case {
        float rate;
        uint32_t frames;
        float taken;
    };
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Case cases[] = {{8000.0F, 8, 8000.0F},         {48000.0F, 48, 48000.0F}, {96000.0F, 96, 96000.0F},
                          {384000.0F, 384, 384000.0F},   {1.0e6F, 384, 384000.0F}, {infinity, 384, 384000.0F},
                          {0.0F, 44, 44100.0F},          {-1.0F, 44, 44100.0F},    {-infinity, 44, 44100.0F},
                          {std::nanf(""), 44, 44100.0F}, {1.0F, 4, 8000.0F},       {1.0e-30F, 4, 8000.0F},
                          {6000.0F, 4, 8000.0F}};
    for (const auto& [rate, frames, taken] : cases) {
        float peaks[2] = {};
        for (const bool isTaken : {false, true}) {
            const auto speaking = MakeSpeaking(isTaken ? taken : rate);
            EXPECT_EQ(speaking->GetBlockSize(rate), frames) << rate << " Hz";
            StereoBlock block(frames);
            for (uint32_t n = 0; n < 500; ++n) {
                block.Hear(n);
                EXPECT_TRUE(speaking->Process(block.data.bytes));
                peaks[isTaken ? 1 : 0] = std::max(peaks[isTaken ? 1 : 0], block.Peak(frames));
            }
            EXPECT_EQ(speaking->GetLatency(), 44U) << "does not follow the rate";
        }
        EXPECT_TRUE(peaks[1] > 0.001F && peaks[1] < 100.0F) << rate << " Hz: " << peaks[1];
        EXPECT_NEAR(peaks[0] / peaks[1], 1.0F, 0.02F) << rate << " Hz";
    }
}

TEST_F(BoundaryClientTest, MissingPlacesAreRefused) {
    InfoRecord record;
    uint32_t size = 1;
    Processor& p = *processor;
    EXPECT_FALSE(p.Initialize(nullptr) || p.Process(nullptr) || p.GetParameter(0, nullptr) ||
                 p.GetParameterInfo(0, nullptr) || p.GetParameterInfoByIndex(0, nullptr, &record) ||
                 p.SetParameterData(firstPath, nullptr, &size) ||
                 p.SetParameterData(firstPath, "a", nullptr));
    EXPECT_FALSE(p.SetParameter(tooltipText, 0.5F) || p.SetParameter(parameterCount, 0.5F));
    EXPECT_TRUE(p.PushEvent(nullptr) && p.SetParameterData(firstPath, "a", &size));
    EXPECT_FALSE(p.GetParameterData(firstPath, nullptr, &size) ||
                 p.GetParameterData(firstPath, &record, nullptr));
}

TEST_F(BoundaryClientTest, PathsOfSamplesComeBack) {
    const std::string path = "no such sample.wav";
    auto size = static_cast<uint32_t>(path.size());
    EXPECT_TRUE(processor->SetParameterData(firstPath + 11, path.data(), &size));
    EXPECT_FALSE(processor->SetParameterData(firstPath + 12, path.data(), &size));
    EXPECT_FALSE(processor->SetParameterData(firstPath - 1, path.data(), &size));

    InfoRecord record;
    EXPECT_TRUE(processor->GetParameterInfo(firstPath + 11, &record));
    EXPECT_EQ(At<std::uint64_t>(record.bytes, 280), path.size());
    char buffer[257] = {};
    size = 256;
    EXPECT_TRUE(processor->GetParameterData(firstPath + 11, buffer, &size));
    EXPECT_EQ(size, path.size());
    EXPECT_EQ(buffer, path);

    size = 257;
    EXPECT_TRUE(processor->SetParameterData(firstPath + 11, buffer, &size));
    EXPECT_EQ(size, 256U) << "the most that there may be";
    size = 1;
    EXPECT_FALSE(processor->GetParameterData(firstPath + 11, buffer, &size));
    EXPECT_EQ(size, path.size()) << "unchanged";
}

TEST_F(BoundaryClientTest, MessagesOfTooltipsAndOfTheLfoComeInTurn) {
    void* records = nullptr;
    uint32_t count = 9;
    EXPECT_FALSE(processor->GetParameterDataChanges(&records, &count));
    EXPECT_FALSE(processor->GetParameterValueChanges(&records, &count));
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(records, nullptr);

    ASSERT_TRUE(Initialize(*processor, sampleRate));
    constexpr uint32_t presetLoading = 2293;
    constexpr uint32_t guiVisible = 2294;
    for (const auto& [id, value] :
         {std::pair(presetLoading, 1.0F), {presetLoading, 0.0F}, {guiVisible, 1.0F}}) {
        processor->SetParameter(id, value);
    }
    StereoBlock block(blockSize);
    for (const int mode : {0, 1}) { // nobody looks while it renders offline
        block.data.Set(160, mode);
        for (int n = 0; n < 40; ++n) {
            processor->Process(block.data.bytes);
        }
    }
    EXPECT_TRUE(processor->SetParameter(tooltipUpdate, 5000.0F)) << "no parameter, no message";
    EXPECT_TRUE(processor->SetParameter(tooltipUpdate, 3.0F));
    ASSERT_TRUE(processor->GetParameterDataChanges(&records, &count));
    ASSERT_EQ(count, 1U);
    ExpectWords(records, 0, {tooltipText});
    EXPECT_EQ(At<std::uint64_t>(records, 8), 256U);
    EXPECT_STREQ(At<const char*>(records, 16), "");
    ASSERT_TRUE(processor->GetParameterDataChanges(&records, &count));
    ASSERT_EQ(count, 1U);
    ExpectWords(records, 0, {2356});
    EXPECT_EQ(At<std::uint64_t>(records, 8), 8U);
    EXPECT_NE(At<const void*>(records, 16), nullptr);
    EXPECT_FALSE(processor->GetParameterDataChanges(&records, &count));
}

TEST_F(BoundaryClientTest, BlocksAreSilentUntilTheyCanBeRendered) {
    StereoBlock block(blockSize);
    EXPECT_TRUE(processor->Process(block.data.bytes)) << "before Initialize";
    EXPECT_EQ(block.Peak(blockSize), 0.0F);
    EXPECT_EQ(block.sound[0][blockSize], 9.0F);

    ASSERT_TRUE(Initialize(*processor, sampleRate));
    for (const uint32_t frames : {blockSize + 4, blockSize - 2, 400U}) {
        StereoBlock refused(frames);
        EXPECT_TRUE(processor->Process(refused.data.bytes));
        EXPECT_EQ(refused.Peak(frames), 0.0F) << frames << " frames";
    }
    StereoBlock withInput(blockSize);
    withInput.data.Set(24, withInput.auxInputs.data());
    withInput.data.Set(32, 1U);
    EXPECT_TRUE(processor->Process(withInput.data.bytes));
    EXPECT_EQ(withInput.Peak(blockSize), 0.0F);
    Block nothing;
    EXPECT_TRUE(processor->Process(nothing.bytes));
    nothing.Set(40, blockSize);
    EXPECT_TRUE(processor->Process(nothing.bytes)) << "no channel at all";
    struct {
        uint32_t count = 9;
        const void* records = nullptr;
    } ports[2];
    StereoBlock missing(blockSize);
    missing.outputs[1] = missing.auxInputs[0] = nullptr;
    missing.data.Set(200, ports);
    missing.data.Set(208, 2U);
    EXPECT_TRUE(processor->Process(missing.data.bytes));
    EXPECT_EQ(missing.sound[0][0], 0.0F) << "the other channel is there";
    EXPECT_EQ(missing.sound[1][0], 9.0F);
    EXPECT_EQ(At<uint32_t>(missing.data.bytes, 128) + ports[0].count + ports[1].count, 0U) << "no events";
}

} // namespace

} // namespace orphia_contract
