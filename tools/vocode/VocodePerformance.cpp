// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/vocode/VocodePerformance.h"

namespace orphia::tools {

VocodePerformance::VocodePerformance(InputSound& modulatorSound, InputSound& carrierSound,
                                     host::VocoderSession& vocoder)
    : modulator(modulatorSound), carrier(carrierSound), session(vocoder) {}

std::size_t VocodePerformance::Render(std::span<float> output) {
    const std::size_t frames = modulator.Read(output.size() / 2);
    carrier.Read(output.size() / 2);
    session.Process(modulator.Samples(), carrier.Samples(), output);
    return frames;
}

} // namespace orphia::tools
