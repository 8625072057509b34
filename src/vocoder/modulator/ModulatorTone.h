// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/compressor/Compressor.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/meters/VuMeter.h"
#include "dsp/smoothing/SmootherSRL.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/modulator/ModulatorParameters.h"

#include <array>

namespace Velmora::Processor {

/// The last stages of the modulator, in place on outputs 0 and 1: meter, equaliser, compressor. The last two
/// are faded in and out.
class ModulatorTone {
public:
    using Equaliser = dsp::ParamEq<5>;

    ModulatorTone(Equaliser& parametricEqualiser, dsp::Compressor& dynamics, dsp::VuMeter& levelMeter,
                  ModulatorParameters& parameters);

    void Initialize(float sampleRate, u32 maxBlockSize);
    void Reset();
    void FollowControls();

    /// The meter tells the level before equaliser and compressor. isSilent: all samples are 0.
    void Render(const dsp::ProcessContext& context, bool isSilent);

private:
    enum Buffer : u32 { Mono, EqualiserFade, CompressorFade, WetLeft, WetRight, BufferCount };
    using Stereo = std::array<float*, 2>;

    template <class Stage>
    void FollowSwitch(u32 id, Stage& stage, dsp::SmootherSRL& fade);
    void SetAmount(float amount);
    void Measure(const dsp::ProcessContext& context, const Stereo& signal, bool isSilent);
    void Equalise(const dsp::ProcessContext& context, const Stereo& signal, bool compressorFollows);
    void Compress(const dsp::ProcessContext& context, const Stereo& signal, bool afterEqualiser);
    Stereo Wet() { return {buffers[WetLeft], buffers[WetRight]}; }

    Equaliser& equaliser;
    dsp::Compressor& compressor;
    dsp::VuMeter& meter;
    ModulatorParameters& own;
    dsp::SmootherSRL equaliserFade;
    dsp::SmootherSRL compressorFade;
    dsp::BlockPool buffers;
};

} // namespace Velmora::Processor
