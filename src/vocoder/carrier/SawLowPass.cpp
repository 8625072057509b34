// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/SawLowPass.h"

#include "dsp/math/CornerAngle.h"

#include <array>
#include <cmath>

namespace Velmora::Processor {

void SawLowPass::Prepare(float rate) {
    sampleRate = rate;
    cutoff = -1.0F;
}

void SawLowPass::Reset() {
    s1 = 0.0F;
    s2 = 0.0F;
}

void SawLowPass::SetCutoff(float hz) {
    if (hz == cutoff) {
        return;
    }
    cutoff = hz;
    constexpr double pi = 3.14159265358979323846;
    const double rate = sampleRate;
    const auto g = static_cast<float>(std::tan(pi * dsp::LimitCorner(hz, rate) / rate));
    a1 = 1.0F / ((g + 1.4142135F) * g + 1.0F);
    a2 = a1 * g;
    a3 = a2 * g;
}

void SawLowPass::Run(std::span<const Job> jobs, u32 frames) {
    LowPassLanes lanes{};
    std::array<float*, mostJobs> channels;
    for (u32 lane = 0; lane < jobs.size(); ++lane) {
        const SawLowPass& filter = *jobs[lane].filter;
        lanes.a1[lane] = filter.a1;
        lanes.a2[lane] = filter.a2;
        lanes.a3[lane] = filter.a3;
        lanes.z1[lane] = filter.s1;
        lanes.z2[lane] = filter.s2;
        channels[lane] = jobs[lane].samples;
    }
    SelectVoiceKernels().lowPass(lanes, channels.data(), static_cast<u32>(jobs.size()), frames);
    for (u32 lane = 0; lane < jobs.size(); ++lane) {
        jobs[lane].filter->Keep(lanes.z1[lane], lanes.z2[lane]);
    }
}

void SawLowPass::Keep(float z1, float z2) {
    const bool isSound = std::isfinite(z1) && std::isfinite(z2);
    s1 = isSound ? z1 : 0.0F;
    s2 = isSound ? z2 : 0.0F;
}

} // namespace Velmora::Processor
