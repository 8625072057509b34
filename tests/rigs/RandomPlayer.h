// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "support/platform/Types.h"

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <utility>
#include <vector>

namespace orphia::test {

using Velmora::u32;
using Velmora::u8;

/// A player without plan or rest: whatever is played at random, by tests, soak and fuzzer, is drawn here.
/// Equal draws, equal playing. It plays an instrument, or what takes the same calls.
class RandomPlayer {
public:
    /// Gives a number below a limit.
    using Draw = std::function<u32(u32 limit)>;

    explicit RandomPlayer(Draw drawn) : draw(std::move(drawn)) {}
    explicit RandomPlayer(u32 seed)
        : draw([random = std::mt19937(seed)](u32 limit) mutable {
              return static_cast<u32>(random() % limit);
          }) {}

    u32 Below(u32 limit) { return draw(limit); }
    bool OneIn(u32 count) { return Below(count) == 0; }
    template <class Things>
    const auto& AnyOf(const Things& things) {
        return things[Below(static_cast<u32>(std::size(things)))];
    }
    u8 Byte(u32 limit = 256) { return static_cast<u8>(Below(limit)); }

    /// Of a knob, both ends included.
    float Position() { return static_cast<float>(Below(1025)) / 1024.0F; }
    float AnyNumber() {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr std::array odd = {std::numeric_limits<float>::quiet_NaN(),
                                    infinity,
                                    -infinity,
                                    1e30F,
                                    -1e30F,
                                    1e-40F,
                                    -1.0F,
                                    2.0F,
                                    -0.0F};
        return OneIn(4) ? AnyOf(odd) : Position();
    }

    /// Most keys lie in a small range, so that they meet.
    u8 Key() { return OneIn(4) ? Byte(128) : static_cast<u8>(36 + Below(36)); }
    host::MidiMessage AnyBytes() { return {Byte(), Byte(), Byte()}; }
    /// Any message of any channel. Keys come up that are not down, and go down again that are.
    host::MidiMessage Message() {
        constexpr std::array<u8, 9> statuses = {0x90, 0x90, 0x90, 0x80, 0x80, 0x80, 0xA0, 0xD0, 0xE0};
        constexpr std::array<u8, 5> controllers = {1, 7, 11, 64, 74};
        const auto channel = static_cast<u8>(OneIn(4) ? Below(16) : Below(3));
        if (OneIn(6)) {
            const u8 status = OneIn(4) ? 0xC0 : 0xB0;
            return {static_cast<u8>(status | channel), OneIn(3) ? Byte(128) : AnyOf(controllers), Byte(128)};
        }
        return {static_cast<u8>(AnyOf(statuses) | channel), Key(), Byte(128)};
    }

    /// Some knobs at once, over their whole range and at its ends.
    template <class Target>
    void TurnKnobs(Target& target, std::span<const u32> knobs, u32 most) {
        for (u32 count = Below(most); count > 0; --count) {
            lastKnob = AnyOf(knobs);
            target.Set({lastKnob, host::ParameterSetting::Scale::Position, Position()});
            ++settings;
        }
    }
    template <class Target>
    void SendMessages(Target& target, u32 count) {
        for (messages += count; count > 0; --count) {
            target.Send(Message());
        }
    }
    /// A tempo that songs have, or also another.
    template <class Target>
    void MoveSong(Target& target, bool odd) {
        constexpr std::array oddTempos = {0.0, 1.0, 999.0, 1e9};
        const double tempo = odd && OneIn(8) ? AnyOf(oddTempos) : 20.0 + Below(280);
        target.SetTransport({tempo, static_cast<double>(Below(1000)) / 7.0, !OneIn(5)});
        ++tempos;
    }

    /// Another voice: sound, noise, broken numbers, or none.
    void ChangeVoice() {
        kind = static_cast<Kind>(std::max(0, static_cast<int>(Below(6)) - 2));
        voiceChannels = kind == Kind::None ? 0 : 1 + Below(2);
    }
    /// Goes on with the voice.
    void Sing(std::span<float> samples) {
        for (float& sample : samples) {
            ++time;
            sample = kind == Kind::Sound    ? Speech()
                     : kind == Kind::Noise  ? 2.0F * Position() - 1.0F
                     : kind == Kind::Broken ? AnyNumber()
                                            : 0.0F;
        }
    }
    void BeSilent() { kind = Kind::None; }
    void Speak(std::vector<float> sound = {}) {
        speech = std::move(sound);
        kind = Kind::Sound;
        time = 0;
    }

    u32 voiceChannels = 2;
    /// The last knob that was turned.
    u32 lastKnob = 0;
    /// How much was done.
    std::size_t settings = 0;
    std::size_t messages = 0;
    std::size_t tempos = 0;

private:
    enum class Kind : u8 { Sound, Noise, Broken, None };

    /// Without a recording, two tones.
    float Speech() const {
        const float phase = 0.02F * static_cast<float>(time % 44100);
        return speech.empty() ? 0.3F * (std::sin(phase) + std::sin(7.0F * phase))
                              : speech[time % speech.size()];
    }

    Draw draw;
    Kind kind = Kind::Sound;
    std::vector<float> speech;
    std::size_t time = 0;
};

} // namespace orphia::test
