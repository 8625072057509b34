// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace orphia::host {
class Instrument;
}

namespace orphia::tools {

/// The options of orphia sample that say how the sample is played: short ways to set parameters of sample 1.
class SlotOptions {
public:
    explicit SlotOptions(CLI::App& command);

    /// Sets what was asked for, over all presets and --set. `fileSeconds` is the length of the file. Throws
    /// UsageError for a value out of range.
    void Apply(host::Instrument& instrument, double fileSeconds) const;

    /// How long the sample lasts with the settings of an instrument, played once through.
    static double PlayedSeconds(const host::Instrument& instrument, double fileSeconds);
    static bool IsLooped(const host::Instrument& instrument);

private:
    class Slot;

    void ApplyRanges(Slot& slot, double fileSeconds) const;
    void ApplyLoop(Slot& slot, double fileSeconds) const;
    void ApplyPitch(Slot& slot) const;
    void ApplyLevel(Slot& slot) const;

    std::string loop;
    std::string loopRange;
    std::string crossfade;
    std::string trim;
    std::string stretch;
    std::string transpose;
    std::string gain;
    std::string pan;
    bool reverses = false;
    bool repeats = false;
};

} // namespace orphia::tools
