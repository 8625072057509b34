// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/BandChain.h"

#include "dsp/framework/RunChild.h"

#include <algorithm>

namespace Velmora::Processor {

namespace {

/// Calls run(offset, frames) for the stretches of a block that fit into a tile.
template <class RunTile>
void ForEachTile(u32 numFrames, RunTile run) {
    for (u32 offset = 0; offset < numFrames; offset += LaneTile::maxFrames) {
        run(offset, std::min(LaneTile::maxFrames, numFrames - offset));
    }
}

bool IsSilent(const float* samples, u32 count) {
    return std::all_of(samples, samples + count, [](float x) { return x == 0.0F; });
}

} // namespace

void BandChain::Run(const Block& block) const {
    UpdateRectifiers(block);
    UpdateSynthesizer(block);
    auto panelContext = block.context.ForChild(&block.holdModulation, 1, nullptr, 0);
    if (panel.UpdateParameters(panelContext) && panel.IsStraight(panelContext)) {
        RunStraight(block);
    } else {
        RunThroughPanel(block, panelContext);
    }
    analyzer.FinishBlock();
    rectifiers.FinishBlock();
    dsp::FinishChild(panel);
    synthesizer.FinishBlock();
}

void BandChain::UpdateRectifiers(const Block& block) const {
    const float* inputs[AnalyzerRectifiers::InputCount] = {};
    inputs[AnalyzerRectifiers::AttackModulation] = block.attackModulation;
    inputs[AnalyzerRectifiers::ReleaseModulation] = block.releaseModulation;
    auto context = block.context.ForChild(inputs, AnalyzerRectifiers::InputCount, nullptr, 0);
    analyzer.UpdateParameters(context);
    rectifiers.UpdateParameters(context);
}

void BandChain::UpdateSynthesizer(const Block& block) const {
    const float* inputs[SynthesizerFilterBank::InputCount] = {};
    inputs[SynthesizerFilterBank::ShiftModulation] = block.shiftModulation;
    inputs[SynthesizerFilterBank::WidthModulation] = block.widthModulation;
    auto context = block.context.ForChild(inputs, SynthesizerFilterBank::InputCount, nullptr, 0);
    synthesizer.UpdateParameters(context);
}

void BandChain::RunStraight(const Block& block) const {
    const bool isSilent = IsSilent(block.program, block.context.numFrames);
    if (rests && isSilent) {
        PassSilence(block);
        return;
    }
    amplifiers.SaturateBuses(block.carrierBus, block.noiseBus, block.context.numFrames);
    amplifiers.SetGains(panel.Gains());
    LaneTile controls;
    LaneTile envelopes;
    ForEachTile(block.context.numFrames, [&](u32 offset, u32 frames) {
        FollowTile(block, offset, frames, controls, envelopes);
        panel.Pass(envelopes, controls, offset, frames);
        SynthesizeTile(block, offset, frames, controls, envelopes);
    });
    rests = isSilent && analyzer.IsSilent() && synthesizer.IsSilent() && rectifiers.RestsInSilence();
}

/// What a block of silence is once everything has come to rest: the noise and the carrier stand before closed
/// amplifiers.
void BandChain::PassSilence(const Block& block) const {
    static constexpr LaneTile silence{};
    ForEachTile(block.context.numFrames,
                [&](u32 offset, u32 frames) { panel.Pass(silence, silence, offset, frames); });
    rectifiers.SetMeters(silence);
    std::fill_n(block.sum, block.context.numFrames, 0.0F);
}

/// The panel has a whole block of all controls before the amplifiers see the first frame.
void BandChain::RunThroughPanel(const Block& block, dsp::ProcessContext& panelContext) const {
    rests = false;
    amplifiers.SaturateBuses(block.carrierBus, block.noiseBus, block.context.numFrames);
    amplifiers.SetGains(nullptr);
    panel.EndStraight();
    LaneTile controls;
    LaneTile envelopes;
    ForEachTile(block.context.numFrames, [&](u32 offset, u32 frames) {
        FollowTile(block, offset, frames, controls, envelopes);
        rectifiers.WriteTile(envelopes, controls, frames, panel.SourcePointers(), offset);
    });
    panel.Process(panelContext);
    ForEachTile(block.context.numFrames, [&](u32 offset, u32 frames) {
        amplifiers.ReadControls(panel.OutputPointers(), offset, frames, envelopes, controls);
        SynthesizeTile(block, offset, frames, controls, envelopes);
    });
}

void BandChain::FollowTile(const Block& block, u32 offset, u32 frames, LaneTile& controls,
                           LaneTile& envelopes) const {
    analyzer.FilterTile(block.program + offset, frames, controls);
    rectifiers.FollowTile(controls, frames, envelopes);
    if (offset == 0) {
        rectifiers.SetMeters(envelopes);
    }
}

void BandChain::SynthesizeTile(const Block& block, u32 offset, u32 frames, LaneTile& controls,
                               const LaneTile& envelopes) const {
    synthesizer.SynthesizeTile(amplifiers.DriveAt(offset, envelopes), controls, frames, block.sum + offset);
}

} // namespace Velmora::Processor
