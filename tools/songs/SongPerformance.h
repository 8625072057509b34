// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "host/midi/MidiFile.h"
#include "host/player/MidiPlayer.h"
#include "tools/run/Performance.h"

#include <cstdint>

namespace orphia::tools {

class Automation;
class InputSound;

/// A song on the instrument, with a voice that it hears and with moving parameters, as far as there are any:
/// as long as the longer one of song and voice, a looped voice as long as the song.
class SongPerformance final : public Performance {
public:
    /// Voice and moves may be null. All must outlive this, and the voice must have the instrument's rate.
    SongPerformance(const host::MidiFile& song, host::Instrument& instrument, InputSound* voice,
                    Automation* moves);

    std::size_t Render(std::span<float> output) override;
    bool IsDone() const override;
    double ExpectedSeconds() const override;
    host::MeterReading TakeMeters() override { return instrument.TakeMeters(); }

    /// Note-ons in the song.
    std::size_t NoteCount() const { return player.NoteCount(); }

private:
    host::Instrument& instrument;
    InputSound* voice;
    Automation* moves;
    host::MidiPlayer player;
    std::uint64_t framesDone = 0;
};

} // namespace orphia::tools
