// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepPostFilter.h"

#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// Frames filtered at a time, through a copy on the stack: the output may be the input.
constexpr u32 chunkLength = 64;

/// line holds eight frames more than are written.
void FilterLine(const float* line, float* out, u32 length) {
    for (u32 n = 0; n < length; n += 4) {
        PostFiltered<Float4>(line + n).store_unaligned(out + n);
    }
}

} // namespace

PolyBlepPostFilter::PolyBlepPostFilter(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1, {"On"}) {}

void PolyBlepPostFilter::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) { history.fill(0.0F); }

void PolyBlepPostFilter::OnReset(bool /*hard*/) { history.fill(0.0F); }

bool PolyBlepPostFilter::UpdateParameters(ProcessContext& /*context*/) {
    if (anyParameterChanged && Changed(On)) {
        const bool wasOn = isOn;
        isOn = Value(On) >= 0.5F;
        if (isOn && !wasOn) {
            history.fill(0.0F);
        }
    }
    return true;
}

bool PolyBlepPostFilter::Process(ProcessContext& context) {
    const float* in = context.inputs[0];
    float* out = context.outputs[0];
    const u32 count = context.numFrames;
    if (!isOn) {
        if (out != in) {
            std::copy_n(in, count, out);
        }
        return true;
    }
    // The last inputs and the present ones in a row.
    alignas(16) std::array<float, postFilterPast + chunkLength> line;
    std::copy_n(History(), postFilterPast, line.begin());
    for (u32 start = 0; start < count; start += chunkLength) {
        const u32 length = std::min(count - start, chunkLength);
        std::copy_n(in + start, length, line.begin() + postFilterPast);
        FilterLine(line.data(), out + start, length);
        std::copy_n(line.begin() + length, postFilterPast, line.begin());
    }
    std::copy_n(line.begin(), postFilterPast, History());
    return true;
}

} // namespace Velmora::dsp
