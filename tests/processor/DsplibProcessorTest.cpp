// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/DsplibProcessor.h"

#include "processor/BlockRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace orphia::test {

namespace {

using Velmora::Processor::ILogSink;
using Velmora::Processor::ParameterDataRecord;
using Velmora::Processor::ParameterInfoRecord;
using Velmora::Processor::ParameterValueRecord;

constexpr u32 tooltipUpdate = FakeEngine::parameterCount;
constexpr u32 tooltipText = tooltipUpdate + 1;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

struct Recorder final : ILogSink {
    std::string text;
    u32 level = 0;
    void Log(const char* newText, u32 newLevel) override {
        text = newText;
        level = newLevel;
    }
};

TEST(DsplibProcessorTest, BlocksLastAMillisecondAtAnyRateAHostMayName) {
    Adapter adapter;
    const std::pair<float, u32> cases[] = {
        {44100.0F, 44}, {48000.0F, 48}, {96000.0F, 96},  {384000.0F, 384}, {1.0e6F, 384}, {infinity, 384},
        {0.0F, 44},     {-1.0F, 44},    {-infinity, 44}, {nan, 44},        {1.0e-30F, 4}, {8000.0F, 8},
    };
    for (const auto& [rate, frames] : cases) {
        EXPECT_EQ(adapter.GetBlockSize(rate), frames) << rate << " Hz";
        const Velmora::Processor::ProcessorSetup setup{rate};
        adapter.engine.diary.clear();
        EXPECT_TRUE(adapter.Initialize(&setup));
        const float engineRate = rate > 0.0F ? std::min(rate, 384000.0F) : 44100.0F;
        EXPECT_EQ(adapter.engine.diary,
                  "Initialize " + std::to_string(engineRate) + " " + std::to_string(frames) + ";");
        EXPECT_EQ(adapter.GetLatency(), 44U + 5U) << "does not follow the rate";
    }
    EXPECT_FALSE(adapter.Initialize(nullptr));
}

TEST(DsplibProcessorTest, CallsPassThroughToTheEngine) {
    Adapter adapter;
    EXPECT_TRUE(adapter.Terminate());
    adapter.Idle();
    EXPECT_EQ(adapter.engine.diary, "Terminate;FinishLoading;");
    EXPECT_FALSE(adapter.IsLoading());
    adapter.engine.loading = true;
    EXPECT_TRUE(adapter.IsLoading());
    const void* records = nullptr;
    u32 count = 0;
    EXPECT_FALSE(adapter.Reserved25(&records, &count));
}

TEST(DsplibProcessorTest, ParametersAreTheEnginesAndTwoMore) {
    Adapter adapter;
    EXPECT_EQ(adapter.GetParameterCount(), FakeEngine::parameterCount + 2);

    EXPECT_TRUE(adapter.SetParameter(6, nan)) << "stored as given";
    EXPECT_TRUE(std::isnan(adapter.engine.value));
    EXPECT_FALSE(adapter.SetParameter(7, 0.75F)) << "the engine's own answer";
    float value = 0.0F;
    EXPECT_TRUE(adapter.GetParameter(9, &value));
    EXPECT_EQ(value, 0.75F);
    adapter.engine.value = -1.0F;
    EXPECT_FALSE(adapter.GetParameter(9, &value)) << "the mark of a missing value";

    for (const u32 id : {tooltipText, tooltipText + 1, 0xFFFFFFFFU}) {
        EXPECT_FALSE(adapter.SetParameter(id, 1.0F)) << id;
        value = -1.0F;
        EXPECT_FALSE(adapter.GetParameter(id, &value)) << id;
        value = 0.0F;
        EXPECT_TRUE(adapter.GetParameter(id, &value)) << id;
        EXPECT_EQ(value, 0.0F);
    }
    value = -1.0F;
    EXPECT_TRUE(adapter.GetParameter(tooltipUpdate, &value));
    EXPECT_EQ(value, -1.0F);
    EXPECT_TRUE(adapter.GetParameter(tooltipUpdate, nullptr));
    EXPECT_FALSE(adapter.GetParameter(0, nullptr));
}

TEST(DsplibProcessorTest, DataAreCopiedOnlyWhereTheyFit) {
    Adapter adapter;
    u32 size = 5;
    EXPECT_TRUE(adapter.SetParameterData(3, "path/", &size));
    EXPECT_FALSE(adapter.SetParameterData(4, "path/", &size)) << "the engine's own answer";
    EXPECT_FALSE(adapter.SetParameterData(3, nullptr, &size));
    EXPECT_FALSE(adapter.SetParameterData(3, "path/", nullptr));
    EXPECT_FALSE(adapter.SetParameterData(tooltipUpdate, "x", &size));
    EXPECT_TRUE(adapter.SetParameterData(tooltipText, "x", &size));

    char buffer[8] = "unset!!";
    size = 4;
    EXPECT_FALSE(adapter.GetParameterData(3, buffer, &size));
    EXPECT_EQ(size, 5U) << "the room that it takes";
    EXPECT_STREQ(buffer, "unset!!");
    EXPECT_FALSE(adapter.GetParameterData(3, nullptr, &size));
    EXPECT_TRUE(adapter.GetParameterData(3, buffer, &size));
    EXPECT_STREQ(buffer, "path/!!");

    EXPECT_TRUE(adapter.GetParameterData(tooltipText, buffer, &size));
    EXPECT_FALSE(adapter.GetParameterData(tooltipUpdate, buffer, &size));
    EXPECT_FALSE(adapter.GetParameterData(tooltipText + 1, buffer, &size));
    EXPECT_STREQ(buffer, "path/!!");
    EXPECT_EQ(size, 5U);
    EXPECT_FALSE(adapter.GetParameterData(4, buffer, &size)) << "no data at all";
    EXPECT_EQ(size, 0U);
    EXPECT_FALSE(adapter.GetParameterData(3, buffer, nullptr));
}

TEST(DsplibProcessorTest, InfoTellsNamesAndSizesOfData) {
    Adapter adapter;
    const auto untouched = 0xABABABABU;
    const auto ask = [&adapter](u32 index, ParameterInfoRecord& record) {
        std::memset(&record, 0xAB, sizeof record);
        u32 id = 0;
        const bool found = adapter.GetParameterInfoByIndex(index, &id, &record);
        EXPECT_EQ(id, index <= tooltipText ? index : 0);
        return found;
    };
    ParameterInfoRecord record;
    EXPECT_TRUE(ask(0, record));
    EXPECT_STREQ(record.name, "Level");
    EXPECT_EQ(record.dataKind, untouched);
    EXPECT_FALSE(ask(9, record)) << "the engine gave no name";
    EXPECT_EQ(record.name[0], '\0');

    adapter.engine.data.resize(77);
    EXPECT_TRUE(ask(3, record));
    EXPECT_EQ(record.dataKind, 0U);
    EXPECT_EQ(record.dataSize, 77U);

    EXPECT_TRUE(ask(tooltipUpdate, record));
    EXPECT_EQ(std::string(record.name, 14), "ToolTipUpdate\xAB") << "no terminator";
    EXPECT_EQ(record.dataKind, untouched);
    EXPECT_TRUE(ask(tooltipText, record));
    EXPECT_EQ(std::string(record.name, 12), "ToolTipText\xAB");
    EXPECT_EQ(record.dataKind, 0U);
    EXPECT_EQ(record.dataSize, 256U);

    EXPECT_FALSE(ask(tooltipText + 1, record));
    EXPECT_EQ(record.name[0], '\xAB');
    EXPECT_FALSE(adapter.GetParameterInfo(0, nullptr));
    EXPECT_FALSE(adapter.GetParameterInfoByIndex(0, nullptr, &record));
}

TEST(DsplibProcessorTest, ANameThatIsCutIsReported) {
    Adapter adapter;
    adapter.engine.data.resize(77);
    Recorder recorder;
    ParameterInfoRecord record{};
    record.dataSize = 1;
    adapter.engine.name = std::string(256, 'n');
    EXPECT_TRUE(adapter.GetParameterInfo(3, &record)) << "without a logger";
    EXPECT_TRUE(adapter.Connect(&recorder));
    EXPECT_TRUE(adapter.GetParameterInfo(3, &record));
    EXPECT_EQ(record.name, std::string(255, 'n'));
    EXPECT_EQ(record.dataSize, 1U) << "left alone";
    EXPECT_EQ(recorder.level, 2U);
    EXPECT_EQ(recorder.text, "Param name too long: (257 chars instead of 256) : " + std::string(255, 'n'));

    recorder.text.clear();
    adapter.engine.name = std::string(255, 'n');
    EXPECT_TRUE(adapter.GetParameterInfo(3, &record));
    EXPECT_EQ(record.dataSize, 77U);
    EXPECT_EQ(recorder.text, "");
}

TEST(DsplibProcessorTest, ATooltipGoesAheadOfTheEnginesMessages) {
    Adapter adapter;
    adapter.engine.dataChanges.Append({4, 8, "message"});
    adapter.engine.valueChanges.Append({});
    const ParameterDataRecord* records = nullptr;
    u32 count = 0;

    EXPECT_TRUE(adapter.SetParameter(tooltipUpdate, 3.5F));
    EXPECT_EQ(adapter.engine.tooltipId, 3U);
    ASSERT_TRUE(adapter.GetParameterDataChanges(&records, &count));
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(records->id, tooltipText);
    EXPECT_EQ(records->size, 256U);
    EXPECT_STREQ(static_cast<const char*>(records->data), "tip");

    ASSERT_TRUE(adapter.GetParameterDataChanges(&records, &count));
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(records->id, 4U);
    const ParameterValueRecord* values = nullptr;
    EXPECT_TRUE(adapter.GetParameterValueChanges(&values, &count));
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(values, adapter.engine.valueChanges.records.data());

    EXPECT_FALSE(adapter.GetParameterDataChanges(&records, &count));
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(count, 0U);
    EXPECT_FALSE(adapter.GetParameterValueChanges(&values, &count));
    EXPECT_EQ(values, nullptr);
    EXPECT_EQ(count, 0U);

    EXPECT_TRUE(adapter.SetParameter(tooltipUpdate, 0.0F));
    EXPECT_EQ(adapter.engine.tooltipId, 0U);
    EXPECT_TRUE(adapter.GetParameterDataChanges(&records, &count));
    for (const float tooLarge : {static_cast<float>(adapter.GetParameterCount()), 1.0e30F, infinity, nan}) {
        EXPECT_TRUE(adapter.SetParameter(tooltipUpdate, tooLarge));
        EXPECT_FALSE(adapter.GetParameterDataChanges(&records, &count)) << tooLarge;
    }
    for (const float negative : {-1.0F, -1.0e30F, -infinity}) {
        EXPECT_TRUE(adapter.SetParameter(tooltipUpdate, negative));
        EXPECT_TRUE(adapter.GetParameterDataChanges(&records, &count)) << negative;
        EXPECT_GT(adapter.engine.tooltipId, adapter.GetParameterCount()) << "no parameter";
    }
}

// Says nothing of the levels above its own.
template <class Level>
struct OldProcessor final : Level {
    OldProcessor() : Level(nullptr) {}
    bool Initialize(const Velmora::Processor::ProcessorSetup* /*setup*/) override { return true; }
    bool GetParameter(u32 /*id*/, float* /*value*/) override { return true; }
    bool SetParameter(u32 /*id*/, float /*value*/) override { return true; }
    bool GetParameterData(u32 /*id*/, void* /*buffer*/, u32* /*size*/) override { return true; }
    bool GetParameterInfo(u32 id, ParameterInfoRecord* /*record*/) override { return id < 3; }
    u32 GetParameterCount() override { return 3; }
};

TEST(DsplibProcessorTest, AnOlderLevelWorksWithWhatItInherits) {
    OldProcessor<Velmora::Processor::IProcessor_V6> six;
    EXPECT_EQ(six.GetVersion(), 6U);
    OldProcessor<Velmora::Processor::IProcessor_V7> seven;
    EXPECT_EQ(seven.GetVersion(), 7U);
    EXPECT_FALSE(seven.IsLoading());
    EXPECT_EQ(seven.GetBlockSize(96000.0F), 44U);
    EXPECT_EQ(seven.GetLatency(), 44U);
    EXPECT_TRUE(seven.Terminate());
    EXPECT_TRUE(seven.Connect(nullptr));
    EXPECT_EQ(seven.GetInfo()->numParameters, 3U);

    u32 value = 99;
    EXPECT_FALSE(seven.GetParameterInfoByIndex(3, &value, nullptr));
    EXPECT_EQ(value, 99U) << "stored for a known parameter only";
    EXPECT_TRUE(seven.GetParameterInfoByIndex(2, &value, nullptr));
    EXPECT_EQ(value, 2U);
    EXPECT_FALSE(seven.SetParameterData(0, nullptr, nullptr));
    const void* records = &value;
    EXPECT_TRUE(seven.Reserved25(&records, &value));
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(value, 0U);
}

} // namespace

} // namespace orphia::test
