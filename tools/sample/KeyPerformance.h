// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "host/player/BlockAdapter.h"
#include "tools/run/Performance.h"

#include <cstdint>

namespace orphia::tools {

/// One key that plays a sample: as long as the sample sounds.
class KeyPerformance final : public Performance {
public:
    /// The key is down for so many seconds, or until the sample ends; it should take about as long as is
    /// expected. The instrument must outlive this.
    KeyPerformance(host::Instrument& instrument, unsigned key, double heldSeconds, double expectedSeconds);

    std::size_t Render(std::span<float> output) override;
    bool IsDone() const override { return hasEnded; }
    double ExpectedSeconds() const override { return expectedSeconds; }
    host::MeterReading TakeMeters() override { return instrument.TakeMeters(); }

private:
    void RenderBlock(std::span<float> output);
    bool IsPlaying() const { return instrument.Value(playingId) > 0.5F; }

    host::Instrument& instrument;
    host::BlockAdapter adapter;
    unsigned key;
    std::uint32_t playingId;
    double heldSeconds;
    double expectedSeconds;
    std::uint64_t framesDone = 0;
    bool isDown = false;
    bool hasEnded = false;
};

} // namespace orphia::tools
