// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/expression/ExpressionManager.h"
#include "engine/tuning/MtsClient.h"
#include "engine/voices/VoiceManager.h"
#include "processor/boundary/HostRecords.h"
#include "processor/synth/ReservedParameters.h"

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Processor {

/// Changes that the engine reports to the host, in order. It never grows: what does not fit is dropped, and
/// stays dropped until the host has taken the queue.
template <class Record, u32 queueCapacity>
struct ChangeQueue {
    static constexpr u32 capacity = queueCapacity;

    u32 count = 0;
    std::array<Record, capacity> records{};

    /// False when the queue is full and the record is dropped.
    bool Append(const Record& record) {
        if (count >= capacity) {
            return false;
        }
        records[count++] = record;
        return true;
    }
};

/// The place of a base that this instrument does without.
struct Empty {};

namespace details {

/// What an instrument is built from: its sections, the reserved parameters followed by its own, and the
/// tuning client. The root of the tree: no prefix, no inputs, stereo out.
template <class... Children>
class ConstructionHelper : public dsp::ModuleContainer<Children...> {
public:
    static constexpr u32 outputCount = 2;

protected:
    /// `tuningLibrary` is where the tuning library lies, null for its usual place; then one tuple of
    /// constructor arguments per section.
    template <class... Arguments>
    ConstructionHelper(std::vector<dsp::ModuleParam>&& instrumentParameters, const std::string* tuningLibrary,
                       Arguments&&... arguments)
        : dsp::ModuleContainer<Children...>(std::string(), 0, outputCount,
                                            AfterReservedParameters(std::move(instrumentParameters)),
                                            std::forward<Arguments>(arguments)...),
          mtsClient(tuningLibrary != nullptr ? std::make_unique<engine::MtsClient>(*tuningLibrary)
                                             : std::make_unique<engine::MtsClient>()) {
        this->linkedIds.resize(linkableCount);
    }

    std::unique_ptr<engine::MtsClient> mtsClient;
};

} // namespace details

/// The frame of a polyphonic instrument: root of the module tree, owner of the reserved parameters, voice and
/// expression manager, and the gain at the very end. What a block does between the sections is left to the
/// instrument that derives from it.
///
/// ValueCapacity and DataCapacity are the lengths of the queues through which values and data go to the host.
/// Outputs 0 and 1 are the sound; a host may give fewer. No output sample is ever not finite: such a block is
/// replaced by silence and resets the instrument.
template <u32 ValueCapacity, u32 DataCapacity, u32 Reserved, class... Children>
class SynthProcessor : public details::ConstructionHelper<Children...>,
                       public engine::VoiceManager,
                       public Empty,
                       public engine::ExpressionManager {
    using Root = details::ConstructionHelper<Children...>;

public:
    static constexpr u32 firstAdditional = Root::childParameterCount;
    static constexpr u32 ReservedId(ReservedParameter index) { return firstAdditional + index; }

    bool SetParameterNormalized(u32 id, float value) override;
    void OnInitialize(float sampleRate, u32 maxBlockSize) final;
    void OnReset(bool hard) final;
    bool UpdateParameters(dsp::ProcessContext& context) final;
    bool Process(dsp::ProcessContext& context) final;

    virtual void OnSynthInitialize(float sampleRate, u32 maxBlockSize) = 0;
    virtual void OnSynthReset(bool hard) = 0;
    virtual bool RenderBlock(dsp::ProcessContext& context) = 0;
    virtual bool OnUpdateParameters(dsp::ProcessContext& context) = 0;
    virtual void OnPanic() = 0;
    virtual void OnPresetLoading(bool /*loading*/) {}
    /// Takes *size bytes for a data parameter. With more than fit, writes the limit into *size and keeps what
    /// was there. False for an id without data.
    virtual bool SetParameterData(u32 id, const void* data, u32* size) = 0;
    /// Text for a parameter; there is none at present.
    virtual void GetTooltipText(u32 id, u32 capacity, char* text);
    /// Frames of latency above the one block that hosts count anyway. Changes with the settings.
    virtual u32 GetExtraLatency() { return 0; }
    /// What a data parameter holds; size 0 for none. Valid until the next SetParameterData.
    virtual ParameterData GetParameterData(u32 id) = 0;

    /// Filled by nobody at present.
    ChangeQueue<ParameterValueRecord, ValueCapacity> valueChanges;
    ChangeQueue<ParameterDataRecord, DataCapacity> dataChanges;

protected:
    using Root::Root;

    const engine::MtsClient* MtsClient() const final { return this->mtsClient.get(); }
    float ReservedValue(ReservedParameter index) { return this->AdditionalValue(index); }
    float ReservedPosition(u32 index) { return this->additional.parameters[index].GetNormalized(); }

    bool IsPresetLoading() const { return presetLoading; }
    /// A preset has been loaded once.
    bool IsFirstPresetDone() const { return firstPresetDone; }
    bool IsGuiVisible() const { return guiVisible; }

private:
    void LoadPreset(bool loading);
    float GainTarget();
    dsp::ProcessContext WithBothOutputs(const dsp::ProcessContext& context);
    void ApplyGain(const dsp::ProcessContext& context);
    void KeepFinite(const dsp::ProcessContext& context);

    bool firstPresetDone = false;
    bool presetLoading = false;
    bool guiVisible = false;
    /// The last block was not finite.
    bool isBroken = false;
    dsp::SmootherLPF synthGain{0.005};
    /// The ramp of the gain, then outputs that a host did not give.
    enum Buffer : u32 { GainRamp, SpareLeft, SpareRight, BufferCount };
    dsp::BlockPool ramps;
    float* blockOutputs[2] = {};
};

} // namespace Velmora::Processor
