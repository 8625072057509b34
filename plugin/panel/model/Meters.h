// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::panel {

/// A level meter: rises at once, falls evenly, holds its peak for a while, and keeps the clip light until it
/// is taken back.
class Meter {
public:
    static constexpr float floorDecibels = -60.0F;
    static constexpr float fallPerSecond = 24.0F;
    static constexpr float holdSeconds = 1.5F;

    /// The largest sample since the last call.
    void Update(float peak, double seconds);
    /// Of the scale from -60 to 0 dB, 0 to 1.
    float Level() const { return Height(level); }
    float Peak() const { return Height(peak); }
    bool HasClipped() const { return clipped; }
    void Unclip() { clipped = false; }

private:
    static float Height(float decibels);

    float level = floorDecibels;
    float peak = floorDecibels;
    double sincePeak = 0.0;
    bool clipped = false;
};

} // namespace orphia::panel
