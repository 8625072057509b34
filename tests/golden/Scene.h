// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiMessage.h"

#include <ostream>
#include <span>
#include <vector>

namespace orphia::test {

/// A key that is held from one time to another, in seconds.
struct Key {
    double from;
    double to;
    unsigned note;
    float velocity = 0.8F;
};

/// A knob that is moved, as a user writes it: "MasterVolume=-6 dB".
struct Turn {
    double time;
    const char* setting;
};

struct Message {
    double time;
    host::MidiMessage message;
};

/// A few seconds of playing, always the same.
struct Scene {
    /// Of its file, too.
    const char* name;
    /// What is played, in a line.
    const char* what;
    /// By id; null is the one of a new instrument.
    const char* preset = nullptr;
    /// On top of it.
    std::vector<const char*> settings{};
    /// Files of the examples, for the samples from the first one on.
    std::vector<const char*> samples{};
    std::vector<Key> keys{};
    std::vector<Turn> turns{};
    std::vector<Message> messages{};
    /// Whether the example voice speaks.
    bool speaks = true;
    double seconds = 3.0;
    double tempo = 120.0;
    /// Where its strongest partial is followed, in Hz; nowhere when both are 0.
    double pitchFrom = 0.0;
    double pitchTo = 0.0;

    /// For the names of tests.
    friend void PrintTo(const Scene& scene, std::ostream* out) { *out << scene.name; }
};

std::span<const Scene> Scenes();

} // namespace orphia::test
