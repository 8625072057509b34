// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/SampleStretcher.h"

#include "dsp/vectors/SilenceFaults.h"
#include "support/NonBlocking.h"

#include <rubberband/RubberBandStretcher.h>

#include <cmath>
#include <cstddef>

namespace Velmora::dsp {

namespace {

using RubberBand::RubberBandStretcher;

constexpr int options =
    RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionStretchPrecise |
    RubberBandStretcher::OptionTransientsMixed | RubberBandStretcher::OptionThreadingNever;
constexpr std::size_t processSize = 4096;
/// In Hz. At a few Hz the library finds no window, and looks for one for ever.
constexpr float lowestRate = 1000.0F;

/// The library's own logger writes to the error stream, in a block too.
class SilentLogger : public RubberBandStretcher::Logger {
public:
    void log(const char* /*text*/) override {}
    void log(const char* /*text*/, double /*a*/) override {}
    void log(const char* /*text*/, double /*a*/, double /*b*/) override {}
};

} // namespace

struct SampleStretcher::Library : RubberBandStretcher {
    using RubberBandStretcher::RubberBandStretcher;
};

bool SampleStretcher::IsPossible() { return true; }

SampleStretcher::SampleStretcher() = default;
SampleStretcher::~SampleStretcher() = default;

void SampleStretcher::Make(float sampleRate) {
    const auto rate = static_cast<std::size_t>(std::max(sampleRate, lowestRate));
    engine = std::make_unique<Library>(rate, 1, std::make_shared<SilentLogger>(), options);
    engine->setMaxProcessSize(processSize);
    // The output ring grows with the largest ratio so far, the window below a ratio of about 0.19: now, so
    // that they need not in a block.
    for (const double ratio : {longestRatio, shortestRatio, 1.0}) {
        engine->setTimeRatio(ratio);
    }
    hasInput = false;
}

void SampleStretcher::Reset() {
    if (hasInput) {
        engine->reset();
        engine->setMaxProcessSize(processSize);
        hasInput = false;
    }
}

void SampleStretcher::SetTimeRatio(double ratio) {
    const double admitted = ratio > shortestRatio ? std::min(ratio, longestRatio) : shortestRatio;
    if (engine->getTimeRatio() != admitted) {
        // Across a ratio of about 0.19, which only a stretch to the beat reaches, one block is allocated
        // anew.
        const MayBlock exception;
        engine->setTimeRatio(admitted);
    }
}

u32 SampleStretcher::Delay() const { return static_cast<u32>(engine->getLatency()); }

u32 SampleStretcher::Available() const { return static_cast<u32>(std::max(0, engine->available())); }

u32 SampleStretcher::SamplesRequired() const { return static_cast<u32>(engine->getSamplesRequired()); }

void SampleStretcher::Feed(u32 count) {
    for (u32 n = 0; n < count; ++n) {
        portion[n] = SilenceFaults(portion[n]);
    }
    const float* in = portion.data();
    engine->process(&in, count, false);
    hasInput = true;
}

u32 SampleStretcher::Retrieve(float* out, u32 count) {
    const u32 ready = std::min(Available(), count);
    return ready > 0 ? static_cast<u32>(engine->retrieve(&out, ready)) : 0;
}

} // namespace Velmora::dsp
