// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <array>

namespace Velmora::dsp {

/// Four control values that approach their targets exponentially, one step per quad of frames; a module
/// draws a straight line from `start` to `value` through the quad. What decays is the distance to the target,
/// so that even a small step of a large value is smooth to the end, and the target is reached exactly.
class SmoothedLanes {
public:
    using Float4 = simd::Float4;

    void GlideTo(Float4 newTarget) {
        distance += target - newTarget;
        target = newTarget;
    }

    /// Arrives at once.
    void Arrive() {
        distance = Float4(0.0F);
        target.store_aligned(value.data());
        start = value;
    }

    bool IsMoving() const { return start != value || xsimd::any(distance != Float4(0.0F)); }

    /// decay: what is left of the distance after a step.
    void Step(float decay) {
        constexpr float negligible = 1e-6F;
        const Float4 left = distance * decay;
        distance = xsimd::select(xsimd::abs(left) > Float4(negligible), left, Float4(0.0F));
        start = value;
        (target + distance).store_aligned(value.data());
    }

    /// One of the four in each frame of the quad. When nothing moves, the line is level.
    template <bool moving>
    Float4 Over(u32 lane) const {
        if constexpr (moving) {
            const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
            return start[lane] + (value[lane] - start[lane]) * quarters;
        } else {
            return Float4(value[lane]);
        }
    }

    /// All four at the end of the quad.
    Float4 Value() const { return Float4::load_aligned(value.data()); }

    /// Before the quad, and at its end.
    alignas(16) std::array<float, 4> start{};
    alignas(16) std::array<float, 4> value{};

private:
    Float4 target = Float4(0.0F);
    /// From the target to the value.
    Float4 distance = Float4(0.0F);
};

} // namespace Velmora::dsp
