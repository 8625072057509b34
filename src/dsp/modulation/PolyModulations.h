// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/modulation/ModulationChannels.h"
#include "dsp/modulation/ModulationsBase.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <span>
#include <string>
#include <utility>

namespace Velmora::dsp {

/// A modulation matrix with its buffers: per voice, and once for all voices, every destination is the sum of
/// its sources times the amounts of their cells. A global source is shared by all voices; a global
/// destination hears the global sources and those of the main voice.
///
/// Rate flag R = 0: one value per block, channels of one float. R = 1: audio rate, channels of maxBlockSize
/// floats, 16-byte aligned. A module without audio channels: owners write sources and read destinations in
/// place, through views that stay valid until the next OnInitialize. The float in front of a destination
/// channel, at index -1, is its routed mark: routedMark when some source reaches the destination, else 0, so
/// that a reader can skip the channel.
///
/// Sources are written, then Process runs, once per block, and computes only what changed. Audio thread,
/// nothing allocates but the constructor and OnInitialize.
template <u32 S, u32 D, u32 V, u32 R, class Policy = DefaultModulationPolicy>
class PolyModulations : public ModulationsBase<S, D, Policy> {
    using Base = ModulationsBase<S, D, Policy>;

public:
    static_assert(V <= 64, "the running voices are one word");

    static constexpr u32 voiceCount = V;
    static constexpr i32 noVoice = -1;
    static constexpr float routedMark = 1.23456F;
    /// Floats in front of a destination channel; four keep audio-rate channels aligned.
    static constexpr u32 headerLength = R == 0 ? 1 : 4;

    /// One channel pointer per source.
    using SourceTable = std::array<const float*, S>;

    explicit PolyModulations(std::string moduleName, const ModulationMasks& masks = {});

    void OnInitialize(float sampleRate, u32 maxFrames) override;
    /// Renders into the destination channels; the context's own channels are not used.
    bool Process(ProcessContext& context) override;

    /// True from the first Process or OnInitialize after a source was routed to the destination.
    virtual bool IsDestinationRouted(u32 destination) const {
        return globalDestinationBuffer[destination][-1] == routedMark;
    }

    /// Computes the destinations in mask for all running voices and globally.
    virtual void ComputeDestinations(u32 mask, u32 frames);
    /// Writes the routed marks of the destinations in mask, for all voices, running or not.
    virtual void UpdateRoutedMarks(u32 mask);

    /// The buffers. The frame count of a view is blockSize.
    virtual std::span<float> VoiceSource(u32 voice, u32 source) {
        return {voiceSourceBuffer[voice * S + source], blockSize};
    }
    virtual std::span<float> GlobalSource(u32 source) { return {globalSourceBuffer[source], blockSize}; }
    virtual std::span<float> VoiceDestination(u32 voice, u32 destination) {
        return {voiceDestinationBuffer[voice * D + destination], blockSize};
    }
    virtual std::span<float> GlobalDestination(u32 destination) {
        return {globalDestinationBuffer[destination], blockSize};
    }
    virtual std::span<const float> GlobalDestination(u32 destination) const {
        return {globalDestinationBuffer[destination], blockSize};
    }

    /// Sizes all buffers, zeroed, and the tables that point into them. Set-up only.
    virtual void Resize(u32 frames);
    virtual void ComputeVoice(u32 voice, u32 mask, u32 frames);
    /// otherSources holds the global channel of every source, whatever the main voice, for a matrix that
    /// derives its global destinations otherwise.
    virtual void ComputeGlobal(const SourceTable& sources, const SourceTable& otherSources, u32 mask,
                               u32 frames);

    /// The voice that global destinations follow, or noVoice. Other numbers are ignored.
    void SetMainVoice(i32 voice);
    /// A voice that starts has its destinations at once; one that ends leaves its channels zero.
    void SetVoiceActive(u32 voice, bool active);

    /// Lets a source have one value for all voices, or one per voice. A per-voice source is to be written
    /// by the owner for every running voice after the change.
    void SetSourceGlobal(u32 source, bool isGlobal);

    i32 MainVoice() const { return mainVoice; }
    /// The first sample of a destination as the main voice has it, for readers that have no voice.
    float LastValue(u32 destination) const { return lastValue[destination]; }
    /// A voice's destination channel, or null when no source reaches it.
    const float* RoutedVoiceDestination(u32 voice, u32 destination) const {
        return IsDestinationRouted(destination) ? voiceDestinationBuffer[voice * D + destination] : nullptr;
    }
    /// blockSize zeros behind a header that says "not routed".
    const float* SilentChannel() const { return scratch[0]; }

private:
    static constexpr u32 allDestinations = Base::allDestinations;

    void Allocate(u32 frames);
    void FillTables();
    void FillMainSources();
    void UpdateLastValue(u32 mask);
    void ClearVoice(u32 voice);
    bool IsGlobalSource(u32 source) const { return (globalSources >> source & 1U) != 0; }
    bool IsGlobalDestination(u32 destination) const { return (globalDestinations >> destination & 1U) != 0; }

    template <class ChannelOf>
    void RenderDestinations(u32 mask, const SourceTable& sources, u32 frames, ChannelOf channelOf);
    void RenderDestination(u32 destination, const SourceTable& sources, float* channel, u32 frames) const;
    float SumFirstSamples(u32 destination, const SourceTable& sources) const;
    float SumFiniteTerms(u32 destination, const SourceTable& sources) const;

    u32 globalSources;
    u32 globalDestinations;
    u32 blockSize = 0;
    u64 activeVoices = 0;
    i32 mainVoice = noVoice;

    ModulationChannels globalSourceBuffer;
    ModulationChannels globalDestinationBuffer;
    ModulationChannels voiceSourceBuffer;
    ModulationChannels voiceDestinationBuffer;
    ModulationChannels scratch;

    SourceTable mainSources{};
    SourceTable globalOnlySources{};
    std::array<SourceTable, V> voiceSources{};
    std::array<float, D> lastValue{};
};

template <u32 S, u32 D, u32 V, u32 R, class Policy>
PolyModulations<S, D, V, R, Policy>::PolyModulations(std::string moduleName, const ModulationMasks& masks)
    : Base(std::move(moduleName), masks.alwaysChanged), globalSources(masks.globalSources),
      globalDestinations(masks.globalDestinations & allDestinations) {
    // Owners may start voices and write sources before the first OnInitialize.
    Allocate(1);
    FillTables();
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::OnInitialize(float /*sampleRate*/, u32 maxFrames) {
    const u32 frames = R == 0 ? 1 : std::max(maxFrames, 1U);
    if (frames != blockSize) {
        Resize(frames);
    }
    FillTables();
    UpdateRoutedMarks(allDestinations);
    ComputeDestinations(allDestinations, blockSize);
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
bool PolyModulations<S, D, V, R, Policy>::Process(ProcessContext& context) {
    u32 mask = this->changedDestinations;
    if (mask != 0) {
        UpdateRoutedMarks(mask);
    }
    Base::ForEachBit(this->changedSources, [&](u32 source) { mask |= this->nonZero[source]; });
    this->OnSourcesChanged(this->changedSources);
    this->changedSources = this->alwaysChanged;
    this->changedDestinations = 0;
    if (context.numFrames != this->lastFrames) {
        mask = allDestinations;
    }
    ComputeDestinations(mask, blockSize);
    this->lastFrames = context.numFrames;
    return true;
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::UpdateRoutedMarks(u32 mask) {
    const u32 routed = this->RoutedDestinations();
    Base::ForEachBit(mask, [&](u32 d) {
        const float mark = (routed >> d & 1U) != 0 ? routedMark : 0.0F;
        globalDestinationBuffer[d][-1] = mark;
        for (u32 voice = 0; voice < V; ++voice) {
            voiceDestinationBuffer[voice * D + d][-1] = mark;
        }
    });
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::ComputeDestinations(u32 mask, u32 frames) {
    if (mask == 0) {
        return;
    }
    const u32 perVoice = mask & ~globalDestinations;
    Base::ForEachBit(activeVoices, [&](u32 voice) { ComputeVoice(voice, perVoice, frames); });
    ComputeGlobal(mainSources, globalOnlySources, mask & globalDestinations, frames);
    UpdateLastValue(mask);
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::ComputeVoice(u32 voice, u32 mask, u32 frames) {
    RenderDestinations(mask, voiceSources[voice], frames,
                       [this, voice](u32 d) { return voiceDestinationBuffer[voice * D + d]; });
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::ComputeGlobal(const SourceTable& sources,
                                                        const SourceTable& /*otherSources*/, u32 mask,
                                                        u32 frames) {
    RenderDestinations(mask, sources, frames, [this](u32 d) { return globalDestinationBuffer[d]; });
}

/// What no source reaches is zero without a sum.
template <u32 S, u32 D, u32 V, u32 R, class Policy>
template <class ChannelOf>
void PolyModulations<S, D, V, R, Policy>::RenderDestinations(u32 mask, const SourceTable& sources, u32 frames,
                                                             ChannelOf channelOf) {
    const u32 routed = this->RoutedDestinations();
    Base::ForEachBit(mask & routed, [&](u32 d) { RenderDestination(d, sources, channelOf(d), frames); });
    Base::ForEachBit(mask & ~routed, [&](u32 d) { std::fill_n(channelOf(d), R == 0 ? 1 : frames, 0.0F); });
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::RenderDestination(u32 destination, const SourceTable& sources,
                                                            float* channel, u32 frames) const {
    if constexpr (R == 0) {
        channel[0] = SumFirstSamples(destination, sources);
        return;
    }
    std::fill_n(channel, frames, 0.0F);
    const u32 groupedFrames = frames & ~3U;
    for (u32 s = 0; s < S; ++s) {
        const float amount = this->effectiveAmount[Base::Cell(destination, s)];
        if (amount == 0.0F) {
            continue;
        }
        const float* source = sources[s];
        for (u32 n = 0; n < groupedFrames; ++n) {
            channel[n] += amount * source[n];
        }
    }
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
float PolyModulations<S, D, V, R, Policy>::SumFirstSamples(u32 destination,
                                                           const SourceTable& sources) const {
    const float* amounts = &this->effectiveAmount[Base::Cell(destination, 0)];
    float sum = 0.0F;
    for (u32 s = 0; s < S; ++s) {
        sum += amounts[s] * sources[s][0];
    }
    return std::isfinite(sum) ? sum : SumFiniteTerms(destination, sources);
}

/// A broken source that is not even routed would otherwise stay in the sum until a routed one changes.
template <u32 S, u32 D, u32 V, u32 R, class Policy>
float PolyModulations<S, D, V, R, Policy>::SumFiniteTerms(u32 destination, const SourceTable& sources) const {
    float sum = 0.0F;
    for (u32 s = 0; s < S; ++s) {
        const float term = this->effectiveAmount[Base::Cell(destination, s)] * sources[s][0];
        sum += std::isfinite(term) ? term : 0.0F;
    }
    return std::isfinite(sum) ? sum : 0.0F;
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::UpdateLastValue(u32 mask) {
    Base::ForEachBit(mask, [&](u32 d) {
        if (IsGlobalDestination(d)) {
            lastValue[d] = globalDestinationBuffer[d][0];
        } else if (mainVoice == noVoice) {
            lastValue[d] = SumFirstSamples(d, mainSources);
        } else {
            lastValue[d] = voiceDestinationBuffer[static_cast<u32>(mainVoice) * D + d][0];
        }
    });
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::SetMainVoice(i32 voice) {
    if (voice == mainVoice || voice < noVoice || voice >= static_cast<i32>(V)) {
        return;
    }
    mainVoice = voice;
    FillMainSources();
    ComputeGlobal(mainSources, globalOnlySources, globalDestinations, blockSize);
    UpdateLastValue(allDestinations);
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::SetVoiceActive(u32 voice, bool active) {
    if (voice >= V || ((activeVoices >> voice & 1U) != 0) == active) {
        return;
    }
    activeVoices ^= u64{1} << voice;
    if (!active) {
        ClearVoice(voice);
        return;
    }
    ComputeVoice(voice, allDestinations, blockSize);
    if (static_cast<i32>(voice) == mainVoice) {
        UpdateLastValue(allDestinations);
    }
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::SetSourceGlobal(u32 source, bool isGlobal) {
    if (source >= S || IsGlobalSource(source) == isGlobal) {
        return;
    }
    globalSources ^= 1U << source;
    FillTables();
    this->MarkSourceChanged(source);
}

/// Channels only: the routed marks stay, they belong to the cells. A start renders the global destinations
/// too, so all destinations are cleared.
template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::ClearVoice(u32 voice) {
    for (u32 s = 0; s < S; ++s) {
        if (!IsGlobalSource(s)) {
            std::fill_n(voiceSourceBuffer[voice * S + s], blockSize, 0.0F);
        }
    }
    for (u32 d = 0; d < D; ++d) {
        std::fill_n(voiceDestinationBuffer[voice * D + d], blockSize, 0.0F);
    }
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::Resize(u32 frames) {
    Allocate(frames);
    FillTables();
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::Allocate(u32 frames) {
    blockSize = frames;
    // Channels lie at whole groups of four, so that they stay aligned at any block size.
    const u32 length = R == 0 ? 1 : RoundUpToFour(frames);
    globalSourceBuffer.Resize(S, length, 0);
    globalDestinationBuffer.Resize(D, length, headerLength);
    voiceSourceBuffer.Resize(V * S, length, 0);
    voiceDestinationBuffer.Resize(V * D, length, headerLength);
    scratch.Resize(1, length, headerLength);
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::FillTables() {
    for (u32 s = 0; s < S; ++s) {
        globalOnlySources[s] = globalSourceBuffer[s];
        for (u32 voice = 0; voice < V; ++voice) {
            voiceSources[voice][s] =
                IsGlobalSource(s) ? globalSourceBuffer[s] : voiceSourceBuffer[voice * S + s];
        }
    }
    FillMainSources();
}

template <u32 S, u32 D, u32 V, u32 R, class Policy>
void PolyModulations<S, D, V, R, Policy>::FillMainSources() {
    mainSources = mainVoice == noVoice ? globalOnlySources : voiceSources[static_cast<u32>(mainVoice)];
}

} // namespace Velmora::dsp
