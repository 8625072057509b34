// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/core/PatchBay.h"
#include "vocoder/core/banks/AnalyzerRectifiers.h"
#include "vocoder/core/banks/FilterBanks.h"
#include "vocoder/core/banks/SynthesizerVCABank.h"

namespace Velmora::Processor {

/// The way of one channel's sixteen bands through its modules: analyser, rectifiers, patch panel, amplifiers,
/// synthesis bank. The bands stay side by side in tiles from end to end; only a panel with a hold or a route
/// takes them apart into its buffers.
struct BandChain {
    AnalyzerFilterBank& analyzer;
    AnalyzerRectifiers& rectifiers;
    PatchBay& panel;
    SynthesizerVCABank& amplifiers;
    SynthesizerFilterBank& synthesizer;
    /// Kept by the owner from block to block: silence goes on as it is, and none of the five need run for it.
    /// False after a reset.
    bool& rests;

    /// What a block reads and writes; a modulation may be null.
    struct Block {
        const dsp::ProcessContext& context;
        const float* program;
        const float* carrierBus;
        const float* noiseBus;
        const float* attackModulation;
        const float* releaseModulation;
        const float* holdModulation;
        const float* shiftModulation;
        const float* widthModulation;
        float* sum;
    };

    /// Runs all five modules, control-rate ticks included.
    void Run(const Block& block) const;

private:
    void UpdateRectifiers(const Block& block) const;
    void UpdateSynthesizer(const Block& block) const;
    void RunStraight(const Block& block) const;
    void PassSilence(const Block& block) const;
    void RunThroughPanel(const Block& block, dsp::ProcessContext& panelContext) const;
    void FollowTile(const Block& block, u32 offset, u32 frames, LaneTile& controls,
                    LaneTile& envelopes) const;
    void SynthesizeTile(const Block& block, u32 offset, u32 frames, LaneTile& controls,
                        const LaneTile& envelopes) const;
};

} // namespace Velmora::Processor
