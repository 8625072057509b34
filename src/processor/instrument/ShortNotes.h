// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "engine/voices/VoiceManager.h"

#include <vector>

namespace Velmora::Processor {

/// Stands before the voices. All events of a block act at its start, so a note that ends in the block of its
/// start would never be heard: its note-off waits until the note has sounded for a block, also when the note
/// first has to wait for the end of a fade. Audio thread only, no operation allocates.
class ShortNotes {
public:
    ShortNotes();

    /// Hands on the note-offs whose notes have been heard. To be called once per block, before its events.
    void BeginBlock(engine::VoiceManager& voices);
    /// Hands on an event of the block, unless it is a note-off that has to wait. What is no note is dropped.
    void Send(const dsp::Event& event, engine::VoiceManager& voices);
    void Clear();
    /// Some note-off waits.
    bool HasWaiting() const { return !noteOffs.empty(); }

private:
    template <class IsDue>
    void HandOn(engine::VoiceManager& voices, IsDue isDue);

    /// Of this block.
    std::vector<engine::NoteInfo> noteOns;
    std::vector<dsp::Event> noteOffs;
};

} // namespace Velmora::Processor
