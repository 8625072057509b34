// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/compressor/Compressor.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/envelopes/ADSR.h"
#include "dsp/framework/ModuleParam.h"
#include "dsp/meters/InputDetector.h"
#include "dsp/pitch/PitchTracker.h"
#include "dsp/sampler/Simpler.h"

#include <vector>

/// What makes general modules the parts of the modulator: names, ranges and start values. A range that is
/// declared anew starts at its minimum, so a sample's gain at -36 dB, until the host restores it.
namespace Velmora::Processor::ModulatorSetUp {

/// The modulator's own parameters, in their order.
std::vector<dsp::ModuleParam> OwnParameters();

void SetUpSampler(dsp::Simpler<12, 1>& sampler);
void SetUpEnvelope(dsp::ADSR& envelope);
void SetUpEqualiser(dsp::ParamEq<5>& equaliser);
void SetUpCompressor(dsp::Compressor& compressor);
void SetUpInput(dsp::PitchTracker& tracker, dsp::InputDetector& gate);

} // namespace Velmora::Processor::ModulatorSetUp
