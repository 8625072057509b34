// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/SawLowPass.h"

#include "dsp/math/CornerAngle.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velmora::Processor {

using dsp::simd::Float4;

/// Up to four filters. What is left over repeats the first job: it writes the same once more.
class SawLowPass::Lanes {
public:
    explicit Lanes(std::span<const Job> jobs) {
        const auto gather = [&jobs](float SawLowPass::*field) {
            const auto of = [&](u32 lane) { return Lane(jobs, lane).filter->*field; };
            return Float4{of(0), of(1), of(2), of(3)};
        };
        a1 = gather(&SawLowPass::a1);
        a2 = gather(&SawLowPass::a2);
        a3 = gather(&SawLowPass::a3);
        z1 = gather(&SawLowPass::s1);
        z2 = gather(&SawLowPass::s2);
        for (u32 lane = 0; lane < rows.size(); ++lane) {
            rows[lane] = Lane(jobs, lane).samples;
        }
    }

    void RunFourFrames(u32 frame) {
        std::array<Float4, 4> x;
        for (u32 lane = 0; lane < x.size(); ++lane) {
            x[lane] = Float4::load_aligned(rows[lane] + frame);
        }
        dsp::simd::Transpose(x[0], x[1], x[2], x[3]);
        for (Float4& sample : x) {
            sample = Tick(sample);
        }
        dsp::simd::Transpose(x[0], x[1], x[2], x[3]);
        for (u32 lane = 0; lane < x.size(); ++lane) {
            x[lane].store_aligned(rows[lane] + frame);
        }
    }

    void KeepStates(std::span<const Job> jobs) const {
        std::array<float, 4> first;
        std::array<float, 4> second;
        z1.store_unaligned(first.data());
        z2.store_unaligned(second.data());
        for (u32 lane = 0; lane < jobs.size(); ++lane) {
            jobs[lane].filter->Keep(first[lane], second[lane]);
        }
    }

private:
    static const Job& Lane(std::span<const Job> jobs, u32 lane) {
        return jobs[lane < jobs.size() ? lane : 0];
    }

    Float4 Tick(Float4 x) {
        const Float4 v3 = x - z2;
        const Float4 v1 = a1 * z1 + a2 * v3;
        const Float4 v2 = z2 + a2 * z1 + a3 * v3;
        z1 = 2.0F * v1 - z1;
        z2 = 2.0F * v2 - z2;
        return v2;
    }

    Float4 a1;
    Float4 a2;
    Float4 a3;
    Float4 z1;
    Float4 z2;
    std::array<float*, 4> rows;
};

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
    constexpr u32 laneCount = 4;
    if (jobs.empty()) {
        return;
    }
    const auto near = jobs.first(std::min<std::size_t>(jobs.size(), laneCount));
    const auto far = jobs.subspan(near.size());
    Lanes nearLanes(near);
    if (far.empty()) {
        for (u32 n = 0; n < frames; n += 4) {
            nearLanes.RunFourFrames(n);
        }
    } else {
        // Two chains that do not wait for each other.
        Lanes farLanes(far);
        for (u32 n = 0; n < frames; n += 4) {
            nearLanes.RunFourFrames(n);
            farLanes.RunFourFrames(n);
        }
        farLanes.KeepStates(far);
    }
    nearLanes.KeepStates(near);
}

void SawLowPass::Keep(float z1, float z2) {
    const bool isSound = std::isfinite(z1) && std::isfinite(z2);
    s1 = isSound ? z1 : 0.0F;
    s2 = isSound ? z2 : 0.0F;
}

} // namespace Velmora::Processor
