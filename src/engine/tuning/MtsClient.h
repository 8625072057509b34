// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/tuning/MtsLibrary.h"
#include "support/platform/Types.h"

#include <memory>
#include <string>

namespace Velmora::engine {

/// Asks the machine's tuning source, if there is one, how notes are tuned. The tuning library is bound once
/// per process; each client counts itself in for its lifetime. Without a library every note has its plain
/// tuning, at the cost of one test.
///
/// Made and destroyed off the audio thread; the questions are for the audio thread and neither lock nor
/// allocate, apart from what the library itself does. A tuning may change between any two of them.
class MtsClient {
public:
    /// Binds the library at its usual place.
    MtsClient();
    /// Binds the library at `libraryPath` (UTF-8). An empty path, or one without a library, means none.
    explicit MtsClient(const std::string& libraryPath);
    ~MtsClient();
    MtsClient(const MtsClient&) = delete;
    MtsClient& operator=(const MtsClient&) = delete;

    /// Whether a tuning source runs now.
    bool HasMaster() const { return library != nullptr && library->HasMaster(); }

    /// Whether the tuning has no place for this note, so that it should not start. Notes are taken modulo
    /// 128; a channel above 15 is an unknown one.
    bool ShouldFilterNote(u8 note, u8 channel) const {
        return library != nullptr && AskFilter(note & noteMask, channel);
    }

    /// How far the tuned note lies above its plain pitch, in semitones; 0 without a tuning. Always finite: a
    /// frequency that is none counts as the plain one.
    float RetuningInSemitones(u8 note, u8 channel) const {
        return library != nullptr ? AskRetuning(note & noteMask, channel) : 0.0F;
    }

    /// Whether channels may have tunings of their own (the start state). To be off while each note has a
    /// channel to itself: a channel then says nothing about the tuning.
    void UseMultiChannel(bool use) { usesChannels = use; }

private:
    static constexpr u8 noteMask = 127;

    bool AskFilter(u8 note, u8 channel) const;
    float AskRetuning(u8 note, u8 channel) const;
    i32 ChannelToPass(u8 channel) const;

    std::shared_ptr<const MtsLibrary> library;
    bool usesChannels = true;
};

} // namespace Velmora::engine
