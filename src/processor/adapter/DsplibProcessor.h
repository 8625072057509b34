// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "dsp/framework/ProcessContext.h"
#include "processor/adapter/AlignedChannels.h"
#include "processor/boundary/IProcessor_V8.h"

#include <array>
#include <memory>
#include <string_view>
#include <vector>

namespace Velmora::Processor {

/// The host's view of an engine: translates flat calls into engine calls, keeps the event queues, and shields
/// the engine from what it cannot take. Everything a block needs has a fixed size and lies in the object.
///
/// Parameters: those of the engine, then "ToolTipUpdate", to which the host writes the id of the parameter
/// whose tooltip it wants, and "ToolTipText", whose data carry the answer; a host that writes "seed=5" to
/// these data, best in front of Initialize, makes noise and random modulation repeat, and "drive=smooth"
/// takes the aliases from the drive of the oscillators.
///
/// The engine is a module with `parameterCount`, the data operations and the two change queues of
/// VocoderProcessor. Nothing depends on `variant`: it tells adapters of one engine apart.
///
/// Who makes one includes DsplibProcessor-Impl.h.
template <class Engine, u32 variant>
class alignas(16) alignas(Engine) DsplibProcessor : public IProcessor_V8 {
public:
    static constexpr u32 tooltipUpdateId = Engine::parameterCount;
    static constexpr u32 tooltipTextId = tooltipUpdateId + 1;
    static constexpr u32 parameterCount = tooltipTextId + 1;

    /// With more event ports than the main one, if a host is to have them.
    explicit DsplibProcessor(u32 eventPortCount = 0);

    /// Rates below 8 kHz are taken as 8 kHz, those above 384 kHz as that, and what is no rate as 44100 Hz.
    bool Initialize(const ProcessorSetup* setup) override;
    bool Terminate() override;
    bool GetParameter(u32 id, float* value) override;
    bool SetParameter(u32 id, float value) override;
    bool GetParameterData(u32 id, void* buffer, u32* size) override;
    bool SetParameterData(u32 id, const void* data, u32* size) override;
    bool GetParameterInfo(u32 id, ParameterInfoRecord* record) override;
    bool GetParameterInfoByIndex(u32 index, u32* id, ParameterInfoRecord* record) override;
    u32 GetParameterCount() override { return parameterCount; }
    bool PushEvent(const u8* midi) override;
    bool ClearEvents() override;
    bool GetParameterValueChanges(const ParameterValueRecord** records, u32* count) override;
    bool GetParameterDataChanges(const ParameterDataRecord** records, u32* count) override;
    bool Reserved25(const void** /*records*/, u32* /*count*/) override { return false; }
    u32 GetBlockSize(float sampleRate) override;
    u32 GetExtraLatency() override { return engine.GetExtraLatency(); }
    bool IsLoading() override { return engine.IsLoading(); }
    void Idle() override { engine.FinishLoading(); }
    /// Blocks before Initialize, above GetBlockSize, of frames that are no multiple of 4, or with more
    /// channels than the engine has are refused.
    bool Process(HostProcessData* data) override;

protected:
    static constexpr u32 eventCapacity = dsp::EventQueue::capacity;
    static constexpr u32 textCapacity = 256;
    /// Auxiliary inputs that an engine may read: left and right.
    static constexpr u32 auxInputLimit = 2;

    Engine engine;
    dsp::EventQueue inputEvents;
    dsp::EventQueue outputEvents;
    std::vector<dsp::EventQueue> portEvents;
    std::array<HostEventRecord, eventCapacity> outRecords;
    /// eventCapacity records of the first port, then those of the next.
    std::vector<HostEventRecord> portOutRecords;
    ParameterDataRecord tooltipRecord;
    std::array<char, textCapacity> tooltipText{};
    bool tooltipPending = false;
    bool initialized = false;

private:
    void TakeOption(std::string_view text);
    void RequestTooltip(float value);
    bool GetEngineParameterInfo(u32 id, ParameterInfoRecord& record);
    void ReportLongName(u32 needed, const char* name);
    void RunEngine(const HostProcessData& data);
    void HandOverEvents(HostProcessData& data);

    /// The present limit for the frames of a block.
    u32 maxBlockSize = 0;
    AlignedChannels outputs;
    AlignedChannels auxInputs;
};

} // namespace Velmora::Processor
