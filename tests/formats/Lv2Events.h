// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FormatRig.h"

#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/midi/midi.h>
#include <lv2/options/options.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// What hosts of LV2 have in common: words, features, and what they write into the ports of events.
namespace orphia::test {

/// Words for numbers, the same for all plug-ins.
struct Words {
    std::map<std::string, LV2_URID> numbers;
    std::map<LV2_URID, std::string> words;
    LV2_URID_Map map{this,
                     [](void* self, const char* uri) { return static_cast<Words*>(self)->Number(uri); }};
    LV2_URID_Unmap unmap{
        this, [](void* self, LV2_URID number) { return static_cast<Words*>(self)->words[number].c_str(); }};

    LV2_URID Number(const std::string& word) {
        const auto [found, isNew] = numbers.try_emplace(word, static_cast<LV2_URID>(numbers.size() + 1));
        words[found->second] = word;
        return found->second;
    }
};

/// What a host tells a plug-in that it can do, while it makes one: blocks of a longest length, and a worker
/// that does nothing.
class Lv2Features {
public:
    Lv2Features(Words& words, const std::int32_t& longestBlock)
        : options{{LV2_OPTIONS_INSTANCE, 0, words.Number(LV2_BUF_SIZE__maxBlockLength), sizeof(std::int32_t),
                   words.Number(LV2_ATOM__Int), &longestBlock},
                  {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}},
          features{{LV2_URID__map, &words.map},
                   {LV2_OPTIONS__options, options},
                   {LV2_WORKER__schedule, &schedule},
                   {LV2_BUF_SIZE__boundedBlockLength, nullptr}} {}
    Lv2Features(const Lv2Features&) = delete;
    Lv2Features& operator=(const Lv2Features&) = delete;

    const LV2_Feature* const* List() const { return list; }

private:
    LV2_Options_Option options[2];
    LV2_Worker_Schedule schedule{
        nullptr, [](LV2_Worker_Schedule_Handle, std::uint32_t, const void*) { return LV2_WORKER_SUCCESS; }};
    LV2_Feature features[4];
    const LV2_Feature* list[5] = {&features[0], &features[1], &features[2], &features[3], nullptr};
};

class Lv2Events {
public:
    explicit Lv2Events(Words& numbers) : words(numbers) { lv2_atom_forge_init(&forge, &words.map); }

    void* In() { return &in; }
    void* Out() { return &out; }

    /// Of a block. What writeMore(forge) adds is at its start.
    template <class F>
    void Write(std::uint32_t frames, const std::vector<host::TimedEvent>& messages,
               const host::Transport* transport, F&& writeMore) {
        out.sequence.atom = {sizeof(out) - sizeof(LV2_Atom), words.Number(LV2_ATOM__Chunk)};
        lv2_atom_forge_set_buffer(&forge, in.bytes.data(), in.bytes.size());
        LV2_Atom_Forge_Frame sequence;
        lv2_atom_forge_sequence_head(&forge, &sequence, 0);
        if (transport != nullptr && transport->beat != nextBeat) {
            WritePosition(*transport);
        }
        writeMore(forge);
        for (const host::TimedEvent& event : messages) {
            const auto& message = std::get<host::MidiMessage>(event.what);
            lv2_atom_forge_frame_time(&forge, event.frame);
            lv2_atom_forge_atom(&forge, 3, words.Number(LV2_MIDI__MidiEvent));
            const std::array<std::uint8_t, 3> bytes{message.status, message.data1, message.data2};
            lv2_atom_forge_write(&forge, bytes.data(), bytes.size());
        }
        lv2_atom_forge_pop(&forge, &sequence);
        if (transport != nullptr) {
            nextBeat = transport->beat + frames / framesPerExactBeat;
        }
    }

private:
    /// Hosts tell it when it is not where it would be by itself.
    void WritePosition(const host::Transport& transport) {
        constexpr double beatsPerBar = 4.0;
        const double bar = std::floor(transport.beat / beatsPerBar);
        LV2_Atom_Forge_Frame object;
        lv2_atom_forge_frame_time(&forge, 0);
        lv2_atom_forge_object(&forge, &object, 0, words.Number(LV2_TIME__Position));
        const auto write = [&](const char* key, double value) {
            lv2_atom_forge_key(&forge, words.Number(key));
            lv2_atom_forge_float(&forge, static_cast<float>(value));
        };
        lv2_atom_forge_key(&forge, words.Number(LV2_TIME__bar));
        lv2_atom_forge_long(&forge, static_cast<std::int64_t>(bar));
        lv2_atom_forge_key(&forge, words.Number(LV2_TIME__beatUnit));
        lv2_atom_forge_int(&forge, 4);
        lv2_atom_forge_key(&forge, words.Number(LV2_TIME__beat));
        lv2_atom_forge_double(&forge, transport.beat);
        write(LV2_TIME__barBeat, transport.beat - bar * beatsPerBar);
        write(LV2_TIME__beatsPerBar, beatsPerBar);
        write(LV2_TIME__beatsPerMinute, transport.tempo);
        write(LV2_TIME__speed, transport.isPlaying ? 1.0 : 0.0);
        lv2_atom_forge_pop(&forge, &object);
    }

    union Sequence {
        LV2_Atom_Sequence sequence;
        std::array<std::uint8_t, 65536> bytes;
    };

    Words& words;
    LV2_Atom_Forge forge{};
    double nextBeat = -1.0;
    Sequence in{};
    Sequence out{};
};

} // namespace orphia::test
