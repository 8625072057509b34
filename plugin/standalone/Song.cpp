// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Song.h"

#include "host/audio/AudioFileSource.h"
#include "host/audio/ResampledSource.h"
#include "host/common/Errors.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace orphia::standalone {

namespace {

constexpr std::uint32_t longestPiece = 8192;
/// Far beyond what devices have.
constexpr std::uint32_t longestBlock = 65536;
constexpr std::uint32_t ringSeconds = 20;
constexpr double longestTail = 30.0;
constexpr double silence = 1.0;
constexpr float silentPeak = 1e-5F;
constexpr std::uint64_t longestVoice = std::uint64_t{1} << 29U;

std::vector<float> ReadVoiceFile(const std::filesystem::path& path, std::uint32_t rate) {
    const auto source = host::AtRate(std::make_unique<host::AudioFileSource>(path), rate);
    std::vector<float> samples;
    std::vector<float> piece(std::size_t{2} * longestPiece);
    for (std::size_t frames = longestPiece; frames == longestPiece;) {
        frames = source->Read(piece);
        samples.insert(samples.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(2 * frames));
        if (samples.size() > longestVoice) {
            throw host::FileError(path.string() + ": it is too long to be played live");
        }
    }
    return samples;
}

} // namespace

void Insert(std::vector<host::TimedEvent>& events, const host::TimedEvent& event) {
    if (events.size() < events.capacity()) {
        const auto place = std::upper_bound(
            events.begin(), events.end(), event.frame,
            [](std::uint32_t frame, const host::TimedEvent& other) { return frame < other.frame; });
        events.insert(place, event);
    }
}

Song::Song(const std::filesystem::path& voiceFile, const std::filesystem::path& midiFile,
           std::uint32_t sampleRate)
    : rate(sampleRate) {
    if (!midiFile.empty()) {
        midi = host::MidiFile::Read(midiFile);
        end = static_cast<std::uint64_t>(std::ceil(midi->Seconds() * rate));
    }
    if (!voiceFile.empty()) {
        voice = ReadVoiceFile(voiceFile, rate);
        end = std::max<std::uint64_t>(end, voice.size() / 2);
        for (auto& side : heard) {
            side.resize(longestBlock);
        }
    }
}

void Song::Record() { kept.assign(std::size_t{2} * ringSeconds * rate, 0.0F); }

void Song::Play(plugin::PluginInstrument& instrument, plugin::PluginBlock block,
                std::vector<host::TimedEvent>& events) {
    if (block.frames > longestBlock) {
        std::fill_n(block.output[0], block.frames, 0.0F);
        std::fill_n(block.output[1], block.frames, 0.0F);
        lost += block.frames;
        return;
    }
    AddEvents(block.frames, events);
    block.events = events;
    const std::array<const float*, 2> sides{heard[0].data(), heard[1].data()};
    if (!voice.empty()) {
        ReadVoice(block.frames);
        block.voice = sides.data();
        block.voiceChannels = 2;
    }
    host::Transport transport;
    if (midi) {
        const double seconds = static_cast<double>(done) / rate;
        transport = {midi->Tempo().TempoAt(seconds), midi->Tempo().BeatAt(seconds), true};
        block.transport = &transport;
    }
    instrument.Process(block);
    done += block.frames;
    Keep(block.output, block.frames);
    if (midi) {
        Watch(block.output, block.frames);
    }
}

/// At its end all notes that are down, and pedals, go up.
void Song::AddEvents(std::uint32_t frames, std::vector<host::TimedEvent>& events) {
    const auto frameOf = [this](double seconds) {
        const double frame = seconds * rate - static_cast<double>(done);
        return static_cast<std::uint64_t>(std::max(std::floor(frame), 0.0));
    };
    while (midi && nextEvent < midi->Events().size() && frameOf(midi->Events()[nextEvent].seconds) < frames) {
        const host::MidiEvent& event = midi->Events()[nextEvent++];
        Insert(events, {static_cast<std::uint32_t>(frameOf(event.seconds)), event.message});
    }
    if (midi && !hasEnded && frameOf(midi->Seconds()) < frames) {
        constexpr std::uint8_t allNotesOff = 123;
        constexpr std::uint8_t pedal = 64;
        const auto frame = static_cast<std::uint32_t>(frameOf(midi->Seconds()));
        for (unsigned channel = 0; channel < 16; ++channel) {
            const auto status = static_cast<std::uint8_t>(0xB0U | channel);
            Insert(events, {frame, host::MidiMessage{status, allNotesOff, 0}});
            Insert(events, {frame, host::MidiMessage{status, pedal, 0}});
        }
        hasEnded = true;
    }
}

void Song::ReadVoice(std::uint32_t frames) {
    const std::uint64_t length = voice.size() / 2;
    for (std::uint32_t n = 0; n < frames; ++n) {
        const std::uint64_t at = midi ? done + n : (done + n) % length;
        for (std::size_t side = 0; side < 2; ++side) {
            heard[side][n] = at < length ? voice[2 * at + side] : 0.0F;
        }
    }
}

void Song::Keep(const float* const* sound, std::uint32_t frames) {
    if (kept.empty()) {
        return;
    }
    const std::uint64_t start = written.load(std::memory_order_relaxed);
    if (start + std::uint64_t{2} * frames - taken.load(std::memory_order_acquire) > kept.size()) {
        lost += frames;
        return;
    }
    for (std::uint64_t n = 0; n < std::uint64_t{2} * frames; ++n) {
        kept[(start + n) % kept.size()] = sound[n % 2][n / 2];
    }
    written.store(start + std::uint64_t{2} * frames, std::memory_order_release);
}

void Song::Take(std::vector<float>& samples) {
    samples.clear();
    const std::uint64_t last = written.load(std::memory_order_acquire);
    for (std::uint64_t at = taken.load(std::memory_order_relaxed); at < last; ++at) {
        samples.push_back(kept[at % kept.size()]);
    }
    taken.store(last, std::memory_order_release);
}

void Song::Watch(const float* const* sound, std::uint32_t frames) {
    float peak = 0.0F;
    for (std::uint32_t n = 0; n < frames; ++n) {
        peak = std::max({peak, std::abs(sound[0][n]), std::abs(sound[1][n])});
    }
    silent = peak < silentPeak ? silent + frames : 0;
    const double beyond = (static_cast<double>(done) - static_cast<double>(end)) / rate;
    if (beyond > longestTail || (beyond > 0.0 && static_cast<double>(silent) > silence * rate)) {
        isDone = true;
    }
}

} // namespace orphia::standalone
