// SPDX-License-Identifier: GPL-3.0-or-later
#include "golden/ScenePlayer.h"

#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"
#include "watched/VoiceWatch.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace orphia::test {

namespace {

const std::filesystem::path examples = ORPHIA_EXAMPLES;

const VoiceWatch& Watch() {
    static const VoiceWatch watch;
    return watch;
}

std::unique_ptr<host::Instrument> Prepare(const Scene& scene) {
    auto instrument = Ready();
    if (scene.preset != nullptr) {
        const host::PresetLibrary library{{}};
        std::vector<std::string> warnings;
        const auto problems = instrument->LoadPreset(
            host::PresetLibrary::Load(library.Find(scene.preset), instrument->Catalog(), warnings));
        if (!warnings.empty() || !problems.empty()) {
            throw std::runtime_error(warnings.empty() ? problems.front() : warnings.front());
        }
    }
    Apply(*instrument, scene.settings);
    for (std::uint32_t i = 0; i < scene.samples.size(); ++i) {
        instrument->LoadSample(i, examples / scene.samples[i]);
    }
    instrument->SetTransport({scene.tempo, 0.0, true});
    return instrument;
}

/// Whether a time falls into the block that begins at `now`.
struct Moment {
    double now;
    double length;
    bool Holds(double time) const { return time >= now && time < now + length; }
};

void Act(const Scene& scene, host::Instrument& instrument, const Moment& moment) {
    for (const Turn& turn : scene.turns) {
        if (moment.Holds(turn.time)) {
            Apply(instrument, {turn.setting});
        }
    }
    for (const Message& each : scene.messages) {
        if (moment.Holds(each.time)) {
            instrument.Send(each.message);
        }
    }
    for (const Key& key : scene.keys) {
        if (moment.Holds(key.to)) {
            instrument.NoteOff(key.note);
        }
    }
    for (const Key& key : scene.keys) {
        if (moment.Holds(key.from)) {
            instrument.NoteOn(key.note, key.velocity);
        }
    }
}

/// How many of `some` are not in `others`; both are in order.
std::size_t CountNew(const std::vector<std::uint32_t>& some, const std::vector<std::uint32_t>& others) {
    std::vector<std::uint32_t> left;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::back_inserter(left));
    return left.size();
}

} // namespace

Recording Play(const Scene& scene) {
    const auto instrument = Prepare(scene);
    const std::vector<float> speech = ReadSound(examples / "voice.flac").samples;
    const std::size_t frames = instrument->FramesPerBlock();
    const double length = static_cast<double>(frames) / instrument->SampleRate();
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    std::vector<std::uint32_t> voicesBefore;
    Recording recording;
    for (std::size_t block = 0; static_cast<double>(block) * length < scene.seconds; ++block) {
        Act(scene, *instrument, {static_cast<double>(block) * length, length});
        const float* voice[] = {speech.data() + block * frames};
        float* output[] = {left.data(), right.data()};
        instrument->ProcessBlock(voice, scene.speaks ? 1 : 0, output);
        for (std::size_t n = 0; n < frames; ++n) {
            recording.sound.samples.insert(recording.sound.samples.end(), {left[n], right[n]});
        }
        std::vector<std::uint32_t> voices = Watch().Voices();
        std::sort(voices.begin(), voices.end());
        recording.startedVoices += CountNew(voices, voicesBefore);
        recording.endedVoices += CountNew(voicesBefore, voices);
        recording.mostVoices = std::max(recording.mostVoices, voices.size());
        voicesBefore = std::move(voices);
    }
    return recording;
}

} // namespace orphia::test
