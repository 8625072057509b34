// SPDX-License-Identifier: GPL-3.0-or-later
// The functions of the WebAssembly module, all that the page's worklet calls. Texts go in by orphia_input and
// come out by orphia_result; a function that may fail returns 0 then, and the result is the reason.
#include "web/native/Player.h"

#include <exception>
#include <memory>
#include <optional>
#include <string>

#define ORPHIA_EXPORT(name) extern "C" __attribute__((export_name(#name), used))

namespace {

using orphia::web::Player;

std::unique_ptr<Player> player;
std::string input;
std::string result;

template <class Work>
int Guarded(Work&& work) {
    try {
        result = work();
        return 1;
    } catch (const std::exception& error) {
        result = error.what();
    } catch (...) {
        result = "something went wrong";
    }
    return 0;
}

/// Of what gives no text.
template <class Work>
int Done(Work&& work) {
    return Guarded([&] {
        work();
        return std::string();
    });
}

} // namespace

ORPHIA_EXPORT(orphia_input) char* orphia_input(std::uint32_t bytes) {
    input.resize(bytes);
    return input.data();
}
ORPHIA_EXPORT(orphia_result) const char* orphia_result() { return result.data(); }
ORPHIA_EXPORT(orphia_result_size) std::uint32_t orphia_result_size() {
    return static_cast<std::uint32_t>(result.size());
}

/// A negative seed is none.
ORPHIA_EXPORT(orphia_start) int orphia_start(std::uint32_t rate, std::int32_t seed) {
    return Done([&] {
        player = std::make_unique<Player>(rate, seed < 0 ? std::nullopt
                                                         : std::optional(static_cast<std::uint32_t>(seed)));
    });
}
ORPHIA_EXPORT(orphia_voice) float* orphia_voice(std::uint32_t channel) { return player->Voice(channel); }
ORPHIA_EXPORT(orphia_sound) float* orphia_sound(std::uint32_t channel) { return player->Sound(channel); }
ORPHIA_EXPORT(orphia_process) void orphia_process(std::uint32_t frames, std::uint32_t channels) {
    player->Process(frames, channels);
}
ORPHIA_EXPORT(orphia_latency) std::uint32_t orphia_latency() { return player->Latency(); }
ORPHIA_EXPORT(orphia_meters) const float* orphia_meters() { return player->TakeMeters(); }

ORPHIA_EXPORT(orphia_send) void orphia_send(std::uint32_t status, std::uint32_t data1, std::uint32_t data2) {
    player->Send({static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(data1),
                  static_cast<std::uint8_t>(data2)});
}
ORPHIA_EXPORT(orphia_panic) void orphia_panic() { player->Panic(); }

ORPHIA_EXPORT(orphia_move) void orphia_move(std::uint32_t id, float position) { player->Move(id, position); }
ORPHIA_EXPORT(orphia_position) float orphia_position(std::uint32_t id) { return player->Position(id); }
ORPHIA_EXPORT(orphia_set) int orphia_set() {
    return Done([] { player->Set(input); });
}
ORPHIA_EXPORT(orphia_describe) int orphia_describe() {
    return Guarded([] { return player->Describe(input); });
}
ORPHIA_EXPORT(orphia_value_text) int orphia_value_text(std::uint32_t id) {
    return Guarded([&] { return player->ValueText(id); });
}

ORPHIA_EXPORT(orphia_presets) int orphia_presets() {
    return Guarded([] { return Player::Presets(); });
}
ORPHIA_EXPORT(orphia_load_named) int orphia_load_named() {
    return Guarded([] { return player->LoadNamed(input); });
}
ORPHIA_EXPORT(orphia_load_text) int orphia_load_text() {
    return Guarded([] { return player->LoadText(input); });
}
ORPHIA_EXPORT(orphia_capture) int orphia_capture() {
    return Guarded([] { return player->Capture(input); });
}

ORPHIA_EXPORT(orphia_insert_song) int orphia_insert_song() {
    return Guarded([] { return player->InsertSong(input); });
}
ORPHIA_EXPORT(orphia_play) void orphia_play() { player->Song().Play(); }
ORPHIA_EXPORT(orphia_stop) void orphia_stop() { player->Song().Stop(); }
/// Negative while it does not play.
ORPHIA_EXPORT(orphia_song_second) double orphia_song_second() {
    return player->Song().IsPlaying() ? player->Song().Seconds() : -1.0;
}

ORPHIA_EXPORT(orphia_channel) float* orphia_channel(std::uint32_t channel, std::uint32_t frames) {
    return player->Channel(channel, frames);
}
ORPHIA_EXPORT(orphia_put_sound) int orphia_put_sound(std::uint32_t channels, std::uint32_t rate) {
    return Done([&] { player->PutSound(input, channels, rate); });
}
ORPHIA_EXPORT(orphia_load_sample)
int orphia_load_sample(std::uint32_t slot, std::uint32_t channels, std::uint32_t rate) {
    return Done([&] { player->LoadSample(slot, input, channels, rate); });
}
ORPHIA_EXPORT(orphia_clear_sample) int orphia_clear_sample(std::uint32_t slot) {
    return Done([&] { player->ClearSample(slot); });
}
ORPHIA_EXPORT(orphia_slots) int orphia_slots() {
    return Guarded([] { return player->Slots(); });
}
ORPHIA_EXPORT(orphia_messages) int orphia_messages() {
    return Guarded([] { return player->Messages(); });
}
