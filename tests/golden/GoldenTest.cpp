// SPDX-License-Identifier: GPL-3.0-or-later
// Short scenes against what was measured of them when somebody last listened; see README.md.
#include "dsp/pitch/RealFft.h"
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"
#include "rigs/MeasurePitch.h"
#include "watched/VoiceWatch.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <functional>
#include <numbers>

namespace orphia::test {

namespace {

using Json = nlohmann::ordered_json;
using Velmora::u32;

const std::filesystem::path folder = ORPHIA_GOLDEN;
const std::filesystem::path examples = ORPHIA_EXAMPLES;

/// The centres of the octave bands, in Hz.
constexpr double bandCentres[] = {63, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};
/// What is not above it counts as silence, in dBFS.
constexpr double silenceLevel = -70.0;

struct Recording {
    double rate = 0.0;
    std::vector<float> sides[2];
    /// Of the carrier's voices, followed from block to block.
    std::size_t startedVoices = 0;
    std::size_t endedVoices = 0;
    std::size_t mostVoices = 0;
};

std::unique_ptr<host::Instrument> Prepare(const Json& scene) {
    auto instrument = Ready();
    if (scene.contains("preset")) {
        const host::PresetLibrary library{{}};
        std::vector<std::string> warnings;
        const auto problems = instrument->LoadPreset(host::PresetLibrary::Load(
            library.Find(scene["preset"].get<std::string>()), instrument->Catalog(), warnings));
        EXPECT_TRUE(warnings.empty() && problems.empty()) << scene["preset"];
    }
    for (const std::string setting : scene.value("settings", Json::array())) {
        Apply(*instrument, {setting.c_str()});
    }
    std::uint32_t place = 0;
    for (const std::string sample : scene.value("samples", Json::array())) {
        instrument->LoadSample(place++, examples / sample);
    }
    instrument->SetTransport({scene["tempo"], 0.0, true});
    return instrument;
}

/// What falls into the block that begins at `now`.
void Act(const Json& scene, host::Instrument& instrument, double now, double length) {
    const auto forDue = [&](const char* kind, std::size_t place, auto act) {
        for (const Json& each : scene.value(kind, Json::array())) {
            if (const double time = each[place]; time >= now && time < now + length) {
                act(each);
            }
        }
    };
    forDue("turns", 0, [&](const Json& turn) { Apply(instrument, {turn[1].get<std::string>().c_str()}); });
    forDue("messages", 0, [&](const Json& message) {
        instrument.Send({message[1], message[2], message[3]});
    });
    forDue("keys", 1, [&](const Json& key) { instrument.NoteOff(key[2]); });
    forDue("keys", 0, [&](const Json& key) { instrument.NoteOn(key[2], key[3]); });
}

/// By an instrument of its own, with fixed seeds.
Recording Play(const Json& scene) {
    static const VoiceWatch watch;
    const auto instrument = Prepare(scene);
    const std::vector<float> speech = ReadSound(examples / "voice.flac").samples;
    const std::size_t frames = instrument->FramesPerBlock();
    const double length = static_cast<double>(frames) / instrument->SampleRate();
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    std::bitset<64> voicesBefore;
    Recording recording;
    recording.rate = instrument->SampleRate();
    for (std::size_t block = 0; static_cast<double>(block) * length < scene["seconds"]; ++block) {
        Act(scene, *instrument, static_cast<double>(block) * length, length);
        const float* voice[] = {speech.data() + block * frames};
        float* output[] = {left.data(), right.data()};
        instrument->ProcessBlock(voice, scene["speaks"] ? 1 : 0, output);
        recording.sides[0].insert(recording.sides[0].end(), left.begin(), left.end());
        recording.sides[1].insert(recording.sides[1].end(), right.begin(), right.end());
        const std::vector<u32> running = watch.Voices();
        std::bitset<64> voices;
        std::for_each(running.begin(), running.end(), [&voices](u32 slot) { voices.set(slot); });
        recording.startedVoices += (voices & ~voicesBefore).count();
        recording.endedVoices += (voicesBefore & ~voices).count();
        recording.mostVoices = std::max(recording.mostVoices, voices.count());
        voicesBefore = voices;
    }
    return recording;
}

constexpr u32 levelWindow = 4096;
constexpr std::size_t hop = 1024;
constexpr double levelSeconds = 0.5;
constexpr double pitchSeconds = 0.25;

double Decibel(double power) { return std::max(10.0 * std::log10(power), silenceLevel); }
double Rounded(double x) { return std::round(x * 100.0) / 100.0; }

/// Powers of short stretches, each for its frequencies.
class Spectrum {
public:
    explicit Spectrum(u32 length) : fft(length), data(Velmora::dsp::RealFft::BufferSize(length)) {}

    /// Around `centre`, silent beyond the ends; all powers together are the mean square.
    std::vector<double> Powers(const std::vector<float>& samples, std::size_t centre) {
        const u32 size = fft.Size();
        double sum = 0.0;
        for (u32 n = 0; n < size; ++n) {
            const double window = std::pow(std::sin(std::numbers::pi * (n + 0.5) / size), 2.0);
            const std::size_t at = centre + n - size / 2; // wraps before the start
            data[n] = at < samples.size() ? samples[at] * static_cast<float>(window) : 0.0F;
            sum += window * window;
        }
        fft.Forward(data.data());
        std::vector<double> powers;
        for (u32 bin = 0; bin <= size / 2; ++bin) {
            powers.push_back(2.0 * std::norm(std::complex<double>(data[2 * bin], data[2 * bin + 1])) /
                             (sum * size));
        }
        return powers;
    }

private:
    Velmora::dsp::RealFft fft;
    Velmora::dsp::AlignedBuffer data;
};

/// Of the octave around a centre.
double InBand(const std::vector<double>& powers, double centre, double rate) {
    double sum = 0.0;
    for (std::size_t bin = 1; bin < powers.size(); ++bin) {
        const double hz = static_cast<double>(bin) * rate / levelWindow;
        const bool isIn = hz >= centre * std::numbers::sqrt2 * 0.5 && hz < centre * std::numbers::sqrt2;
        sum += isIn ? powers[bin] : 0.0;
    }
    return sum;
}

void AddLevels(Json& features, const char* name, const std::vector<float>& samples, double rate) {
    Spectrum spectrum(levelWindow);
    const auto length = static_cast<std::size_t>(levelSeconds * rate);
    for (std::size_t start = 0; start + length <= samples.size(); start += length) {
        std::vector<double> sums(levelWindow / 2 + 1);
        double count = 0.0;
        for (std::size_t centre = start + hop / 2; centre < start + length; centre += hop) {
            const std::vector<double> powers = spectrum.Powers(samples, centre);
            std::transform(sums.begin(), sums.end(), powers.begin(), sums.begin(), std::plus<>());
            count += 1.0;
        }
        Json& feature = features[fmt::format("{} {:.2f}", name, static_cast<double>(start) / rate)];
        for (const double centre : bandCentres) {
            feature.push_back(Rounded(Decibel(InBand(sums, centre, rate) / count)));
        }
    }
}

/// Of the strongest partial between the scene's limits, or 0 in silence.
void AddPitch(Json& features, const Json& limits, const std::vector<float>& samples, double rate) {
    const auto length = static_cast<u32>(pitchSeconds * rate) & ~1U;
    Spectrum spectrum(length);
    for (std::size_t start = 0; start + length <= samples.size(); start += length) {
        const std::vector<double> powers = spectrum.Powers(samples, start + length / 2);
        const auto bin = [&](double hz) {
            return powers.begin() + static_cast<std::ptrdiff_t>(hz * length / rate);
        };
        const auto best = std::max_element(bin(limits[0]), bin(limits[1]));
        const double near = static_cast<double>(best - powers.begin()) * rate / length;
        const auto from = samples.begin() + static_cast<std::ptrdiff_t>(start);
        const bool isSilent = Decibel(*best) <= silenceLevel;
        features["pitch"].push_back(isSilent ? 0.0
                                             : Rounded(MeasurePitch({from, from + length}, near, rate)));
    }
}

/// Voices, the strongest partial where the scene has one, and the level of each band in each half second, per
/// channel: 0 dBFS is a square at full scale.
Json Measure(const Json& scene, const Recording& recording) {
    Json features;
    features["voices"] = {recording.startedVoices, recording.endedVoices, recording.mostVoices};
    if (scene.contains("pitch")) {
        AddPitch(features, scene["pitch"], recording.sides[0], recording.rate);
    }
    AddLevels(features, "level left", recording.sides[0], recording.rate);
    AddLevels(features, "level right", recording.sides[1], recording.rate);
    return features;
}

/// A line for each value that is too far off.
std::vector<std::string> Differences(const Json& golden, const Json& got) {
    std::vector<std::string> differences;
    Json all = golden["features"];
    all.update(got);
    for (const auto& [name, unused] : all.items()) {
        const Json expected = golden["features"].value(name, Json::array());
        const Json values = got.value(name, Json::array());
        const double tolerance = golden["tolerances"].value(name.substr(0, 5), 0.0);
        bool isNear = values.size() == expected.size();
        for (std::size_t i = 0; i < values.size() && isNear; ++i) {
            const double from = expected[i];
            const double to = values[i];
            const double distance = name == "pitch" && to != from ? Cents(to, from) : to - from;
            isNear = std::abs(distance) <= tolerance;
        }
        if (!isNear) {
            differences.push_back(
                fmt::format("{}: expected {}, got {}", name, expected.dump(), values.dump()));
        }
    }
    return differences;
}

/// A line for each entry of a section.
std::string Format(const Json& golden) {
    std::string text;
    for (const auto& [title, section] : golden.items()) {
        text += fmt::format("{}  \"{}\": {{\n", text.empty() ? "{\n" : ",\n", title);
        std::string lines;
        for (const auto& [name, entry] : section.items()) {
            lines += fmt::format("{}    {}: {}", lines.empty() ? "" : ",\n", Json(name).dump(), entry.dump());
        }
        text += lines + "\n  }";
    }
    return text + "\n}\n";
}

std::vector<std::string> SceneNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".json") {
            names.push_back(entry.path().lexically_relative(folder).replace_extension());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class GoldenRender : public testing::TestWithParam<std::string> {};

TEST_P(GoldenRender, SoundsAsItDid) {
    const auto file = folder / (GetParam() + ".json");
    Json golden = Json::parse(ReadText(file));
    const Json got = Measure(golden["scene"], Play(golden["scene"]));
    // Scenes are only written, as scripts/accept-golden wants it.
    if (std::getenv("ORPHIA_ACCEPT_GOLDEN") != nullptr) {
        golden["features"] = got;
        WriteText(file, Format(golden));
        GTEST_SKIP() << "written";
    }
    const std::vector<std::string> differences = Differences(golden, got);
    EXPECT_TRUE(differences.empty()) << golden["scene"]["what"] << "\n"
                                     << fmt::format("{}", fmt::join(differences, "\n"))
                                     << "\nIf it is meant: scripts/accept-golden " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(All, GoldenRender, testing::ValuesIn(SceneNames()), [](const auto& each) {
    std::string name = each.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '/'; }, '_');
    return name;
});

} // namespace

} // namespace orphia::test
