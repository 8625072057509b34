// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/VoiceManager.h"

#include <array>
#include <sstream>
#include <string>

namespace orphia::test {

using Velmora::i32;
using Velmora::u32;
using Velmora::u8;
using Velmora::engine::NoteInfo;

/// Voices without sound that write down their orders: a slot Starts a note afresh, is Taken over by one,
/// Released, faded (Killed), or Freed. A released or faded one ends when told to.
class FakeVoices : public Velmora::engine::VoiceManager {
public:
    std::string orders;
    std::array<bool, Velmora::engine::voiceCount> mayEnd{};

    void Send(u32 status, u32 data1, u32 data2) {
        Velmora::dsp::Event event;
        event.type = Velmora::dsp::Event::midiType;
        event.midi[0] = static_cast<u8>(status);
        event.midi[1] = static_cast<u8>(data1);
        event.midi[2] = static_cast<u8>(data2);
        HandleEvent(event);
    }
    void Block(bool endsAll, u32 ending = 0) {
        mayEnd.fill(endsAll);
        mayEnd[ending] = endsAll || ending > 0;
        AdvanceAge();
        ReapVoices();
    }
    /// Plays words: +60 and -60 are keys, +60/2 one of channel 2; p and P the pedal down and up; a full stop
    /// a block at whose end all fades and releases are over, a comma one at whose end none is; a letter and a
    /// number a setting: m the mode, a the allocation, s the steal mode, l the limit of one note, g legato, n
    /// the priority, u the unison, c whether channels are ignored, x all keys off, e a block in
    /// which that slot ends.
    std::string Play(const std::string& words) {
        orders.clear();
        std::istringstream stream(words);
        for (std::string word; stream >> word;) {
            const u32 number = word.size() > 1 ? static_cast<u32>(std::stoul(word.substr(1))) : 0;
            const u32 channel = word.find('/') != std::string::npos ? static_cast<u32>(word.back() - '0') : 0;
            if (word[0] == '+' || word[0] == '-') {
                Send((word[0] == '+' ? 0x90 : 0x80) + channel, number, 100);
            } else {
                Do(word[0], number);
            }
        }
        return orders.substr(0, orders.find_last_not_of(' ') + 1);
    }
    void Do(char what, u32 number) {
        constexpr std::array<u32, 6> modes{1, 1, 3, 4, 9, 32};
        const auto value = static_cast<i32>(number);
        what == 'm'                  ? SetPolyphonyMode(value, modes)
        : what == 'a'                ? SetAllocation(value)
        : what == 's'                ? SetStealMode(value)
        : what == 'g'                ? SetLegato(value)
        : what == 'n'                ? SetNotePriority(value)
        : what == 'l'                ? SetSameNoteLimit(number > 0, number)
        : what == 'u'                ? SetUnison(number)
        : what == 'c'                ? SetIgnoreChannel(number > 0)
        : what == 'x'                ? LiftAllKeys()
        : what == 'e'                ? Block(false, number)
        : what == 'p' || what == 'P' ? SetSustain(what == 'p')
                                     : Block(what == '.');
    }

protected:
    void Note(char kind, u32 v) { orders += kind + std::to_string(v) + ' '; }
    void StartVoice(u32 v, const NoteInfo& note, bool stealing) override {
        orders += std::string(1, stealing ? 'T' : 'S') + std::to_string(v) + ':' + std::to_string(note.note) +
                  (IsReturning() ? "< " : " ");
    }
    bool CanKill(u32 v) override { return mayEnd[v] && (Voice(v).released || Voice(v).killed); }
    void ReleaseVoiceHook(u32 v) override { Note('R', v); }
    void OnVoiceKilled(u32 v) override { Note('K', v); }
    void OnVoiceFinished(u32 v) override { Note('F', v); }
};

} // namespace orphia::test
