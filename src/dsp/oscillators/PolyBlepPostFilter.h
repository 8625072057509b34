// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/oscillators/PostFilterTaps.h"
#include "support/platform/Types.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// Lifts the highest frequencies of a band-limited shape, which its wide kernels soften: a symmetric FIR of
/// nine taps, gain 1 at 0 Hz, delay of four samples. Off, it copies.
///
/// Input 0 and output 0 may be the same buffer.
class PolyBlepPostFilter final : public UnitModule {
public:
    enum Parameter : u32 { On, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;

    explicit PolyBlepPostFilter(std::string moduleName = "PolyBlepPostFilter");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    /// The last eight inputs, oldest first, for who filters himself; in front of them is room for eight more.
    float* History() { return history.data() + postFilterPast; }

private:
    bool isOn = false;
    std::array<float, 2 * postFilterPast> history{};
};

} // namespace Velmora::dsp
