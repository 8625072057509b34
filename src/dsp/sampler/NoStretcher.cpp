// SPDX-License-Identifier: GPL-3.0-or-later
// In place of SampleStretcher.cpp where its library cannot be had: samples then play at their own length.
#include "dsp/sampler/SampleStretcher.h"

namespace Velmora::dsp {

struct SampleStretcher::Library {};

bool SampleStretcher::IsPossible() { return false; }

SampleStretcher::SampleStretcher() = default;
SampleStretcher::~SampleStretcher() = default;

void SampleStretcher::Make(float /*sampleRate*/) {}

// cppcheck-suppress-begin functionStatic ; with the library they need the object
void SampleStretcher::Reset() { hasInput = false; }

void SampleStretcher::SetTimeRatio(double /*ratio*/) {}

u32 SampleStretcher::Delay() const { return 0; }

u32 SampleStretcher::Available() const { return 0; }

u32 SampleStretcher::SamplesRequired() const { return 0; }

void SampleStretcher::Feed(u32 /*count*/) {}

u32 SampleStretcher::Retrieve(float* /*out*/, u32 /*count*/) { return 0; }
// cppcheck-suppress-end functionStatic

} // namespace Velmora::dsp
