// SPDX-License-Identifier: GPL-3.0-or-later
// Short scenes against what was measured of them when somebody last listened; see README.md.
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"
#include "rigs/MeasurePitch.h"
#include "watched/VoiceWatch.h"

#include <fftw3.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <numbers>
#include <set>

namespace orphia::test {

namespace {

using Json = nlohmann::ordered_json;

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

using Voices = std::set<std::uint32_t>;

/// How many of `some` are not in `others`.
std::size_t CountNew(const Voices& some, const Voices& others) {
    return static_cast<std::size_t>(
        std::count_if(some.begin(), some.end(), [&](auto voice) { return !others.contains(voice); }));
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
    Voices voicesBefore;
    Recording recording;
    recording.rate = instrument->SampleRate();
    for (std::size_t block = 0; static_cast<double>(block) * length < scene["seconds"]; ++block) {
        Act(scene, *instrument, static_cast<double>(block) * length, length);
        const float* voice[] = {speech.data() + block * frames};
        float* output[] = {left.data(), right.data()};
        instrument->ProcessBlock(voice, scene["speaks"] ? 1 : 0, output);
        recording.sides[0].insert(recording.sides[0].end(), left.begin(), left.end());
        recording.sides[1].insert(recording.sides[1].end(), right.begin(), right.end());
        const auto running = watch.Voices();
        const Voices voices(running.begin(), running.end());
        recording.startedVoices += CountNew(voices, voicesBefore);
        recording.endedVoices += CountNew(voicesBefore, voices);
        recording.mostVoices = std::max(recording.mostVoices, voices.size());
        voicesBefore = voices;
    }
    return recording;
}

constexpr std::size_t windowSize = 4096;
constexpr std::size_t hop = 1024;
constexpr double levelSeconds = 0.5;
constexpr double pitchSeconds = 0.25;
/// Of the frames in which a sound begins.
constexpr double frameSeconds = 0.01;
constexpr double onsetLevel = -50.0;
constexpr double onsetRise = 9.0;
constexpr std::size_t framesBefore = 5;
constexpr std::size_t framesBetween = 8;

double Decibel(double power) { return 10.0 * std::log10(std::max(power, 1e-12)); }

/// Powers of short stretches, each for its frequencies.
class Spectrum {
public:
    Spectrum() : plan(fftwf_plan_dft_r2c_1d(windowSize, in, out, FFTW_ESTIMATE)) {
        for (std::size_t n = 0; n < windowSize; ++n) {
            const double x =
                std::sin(std::numbers::pi * (static_cast<double>(n) + 0.5) / static_cast<double>(windowSize));
            window[n] = static_cast<float>(x * x);
            sum += x * x * x * x;
        }
    }
    ~Spectrum() { fftwf_destroy_plan(plan); }
    Spectrum(const Spectrum&) = delete;
    Spectrum& operator=(const Spectrum&) = delete;

    /// Around `centre`, silent beyond the ends; all powers together are the mean square.
    std::vector<double> Powers(const std::vector<float>& samples, std::size_t centre) {
        for (std::size_t n = 0; n < windowSize; ++n) {
            const std::size_t at = centre + n - windowSize / 2; // wraps before the start
            in[n] = at < samples.size() ? samples[at] * window[n] : 0.0F;
        }
        fftwf_execute(plan);
        std::vector<double> powers;
        for (const auto& bin : out) {
            const double square = static_cast<double>(bin[0]) * bin[0] + static_cast<double>(bin[1]) * bin[1];
            powers.push_back(2.0 * square / (sum * windowSize));
        }
        return powers;
    }

private:
    float in[windowSize]{};
    float window[windowSize]{};
    fftwf_complex out[windowSize / 2 + 1]{};
    fftwf_plan plan;
    double sum = 0.0;
};

/// Of the octave around a centre.
double InBand(const std::vector<double>& powers, double centre, double rate) {
    double sum = 0.0;
    for (std::size_t bin = 1; bin < powers.size(); ++bin) {
        const double hz = static_cast<double>(bin) * rate / windowSize;
        const bool isIn = hz >= centre * std::numbers::sqrt2 * 0.5 && hz < centre * std::numbers::sqrt2;
        sum += isIn ? powers[bin] : 0.0;
    }
    return sum;
}

void AddLevels(Json& features, const char* name, const std::vector<float>& samples, double rate) {
    Spectrum spectrum;
    const auto length = static_cast<std::size_t>(levelSeconds * rate);
    for (std::size_t start = 0; start + length <= samples.size(); start += length) {
        std::vector<double> sums(windowSize / 2 + 1);
        double count = 0.0;
        for (std::size_t centre = start + hop / 2; centre < start + length; centre += hop) {
            const std::vector<double> powers = spectrum.Powers(samples, centre);
            std::transform(sums.begin(), sums.end(), powers.begin(), sums.begin(), std::plus<>());
            count += 1.0;
        }
        Json& feature = features[fmt::format("{} {:.2f}", name, static_cast<double>(start) / rate)];
        for (const double centre : bandCentres) {
            feature.push_back(std::max(Decibel(InBand(sums, centre, rate) / count), silenceLevel));
        }
    }
}

/// Of both sides together, in short frames.
std::vector<double> FrameLevels(const std::vector<float>& left, const std::vector<float>& right,
                                double rate) {
    const auto length = static_cast<std::size_t>(frameSeconds * rate);
    std::vector<double> levels;
    for (std::size_t start = 0; start + length <= left.size(); start += length) {
        double sum = 0.0;
        for (std::size_t n = start; n < start + length; ++n) {
            sum += static_cast<double>(left[n]) * left[n] + static_cast<double>(right[n]) * right[n];
        }
        levels.push_back(Decibel(0.5 * sum / static_cast<double>(length)));
    }
    return levels;
}

Json Onsets(const std::vector<double>& levels) {
    Json onsets = Json::array();
    std::size_t next = framesBefore;
    for (std::size_t i = framesBefore; i < levels.size(); ++i) {
        const double before =
            *std::min_element(levels.begin() + static_cast<std::ptrdiff_t>(i - framesBefore),
                              levels.begin() + static_cast<std::ptrdiff_t>(i));
        if (i >= next && levels[i] > onsetLevel && levels[i] - before >= onsetRise) {
            onsets.push_back(static_cast<double>(i) * frameSeconds);
            next = i + framesBetween;
        }
    }
    return onsets;
}

/// About where the strongest partial between the scene's limits is: the peak of the parabola through the
/// levels of three bins, near enough for MeasurePitch. 0 in silence.
double Strongest(const std::vector<double>& powers, const Json& scene, double rate) {
    const auto first = static_cast<std::size_t>(scene["pitch"][0].get<double>() * windowSize / rate);
    const auto last = static_cast<std::size_t>(scene["pitch"][1].get<double>() * windowSize / rate);
    std::size_t best = first;
    for (std::size_t bin = first; bin <= last; ++bin) {
        best = powers[bin] > powers[best] ? bin : best;
    }
    const double level = Decibel(powers[best]);
    if (level <= silenceLevel) {
        return 0.0;
    }
    const double below = Decibel(powers[best - 1]) - level;
    const double above = Decibel(powers[best + 1]) - level;
    const double aside = below + above < 0.0 ? 0.5 * (below - above) / (below + above) : 0.0;
    return (static_cast<double>(best) + std::clamp(aside, -0.5, 0.5)) * rate / windowSize;
}

void AddPitch(Json& features, const Json& scene, const std::vector<float>& samples, double rate) {
    Spectrum spectrum;
    const auto length = static_cast<std::size_t>(pitchSeconds * rate);
    for (std::size_t start = 0; start + length <= samples.size(); start += length) {
        const double near = Strongest(spectrum.Powers(samples, start + length / 2), scene, rate);
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(start);
        const std::vector<float> part(begin, begin + static_cast<std::ptrdiff_t>(length));
        features[fmt::format("pitch {:.2f}", static_cast<double>(start) / rate)] =
            Json::array({near > 0.0 ? MeasurePitch(part, near, rate) : 0.0});
    }
}

/// Voices, onsets, silence, the strongest partial where the scene has one, and the level of each band in each
/// half second, per channel: 0 dBFS is a square at full scale.
Json Measure(const Json& scene, const Recording& recording) {
    const auto& [left, right] = recording.sides;
    const double rate = recording.rate;
    const std::vector<double> levels = FrameLevels(left, right, rate);
    const auto silent =
        std::count_if(levels.begin(), levels.end(), [](double x) { return x <= silenceLevel; });
    Json features = {{"voices started", Json::array({recording.startedVoices})},
                     {"voices ended", Json::array({recording.endedVoices})},
                     {"voices at once", Json::array({recording.mostVoices})},
                     {"onsets", Onsets(levels)},
                     {"silence", Json::array({static_cast<double>(silent) * frameSeconds})}};
    if (scene.contains("pitch")) {
        AddPitch(features, scene, left, rate);
    }
    AddLevels(features, "level left", left, rate);
    AddLevels(features, "level right", right, rate);
    return features;
}

double Tolerance(const Json& golden, const std::string& feature) {
    const bool isTime = feature == "onsets" || feature == "silence";
    return golden["tolerances"].value(isTime ? "time" : feature.substr(0, 5), 0.0);
}

double Distance(const std::string& feature, double expected, double got) {
    if (feature.starts_with("level")) {
        return std::max(got, silenceLevel) - std::max(expected, silenceLevel);
    }
    const bool isPitch = feature.starts_with("pitch");
    if (isPitch && expected > 0.0 && got > 0.0) {
        return Cents(got, expected);
    }
    return isPitch && got != expected ? HUGE_VAL : got - expected;
}

/// A line for each value that is too far off: feature, band, expected and got.
std::vector<std::string> Differences(const Json& golden, const Json& got) {
    std::vector<std::string> differences;
    const auto add = [&](const std::string& name, const Json& expected, const Json& values) {
        differences.push_back(fmt::format("{}: expected {}, got {}", name, expected.dump(), values.dump()));
    };
    Json all = golden["features"];
    all.update(got);
    for (const auto& [name, unused] : all.items()) {
        const Json expected = golden["features"].value(name, Json::array());
        const Json values = got.value(name, Json::array());
        if (values.size() != expected.size()) {
            add(name, expected, values);
            continue;
        }
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!(std::abs(Distance(name, expected[i], values[i])) <= Tolerance(golden, name))) {
                add(name.starts_with("level") ? fmt::format("{} s, {} Hz", name, bandCentres[i]) : name,
                    expected[i], values[i]);
            }
        }
    }
    return differences;
}

/// A line for each entry of a section, with two decimals.
std::string Format(const Json& golden) {
    std::string text;
    for (const auto& [title, section] : golden.items()) {
        text += fmt::format("{}  \"{}\": {{\n", text.empty() ? "{\n" : ",\n", title);
        std::string lines;
        for (const auto& [name, entry] : section.items()) {
            Json rounded = entry;
            for (Json& value : rounded) {
                if (title == "features" && value.is_number_float()) {
                    value = std::round(value.get<double>() * 100.0) / 100.0;
                }
            }
            lines +=
                fmt::format("{}    {}: {}", lines.empty() ? "" : ",\n", Json(name).dump(), rounded.dump());
        }
        text += lines + "\n  }";
    }
    return text + "\n}\n";
}

std::vector<std::string> SceneNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".json") {
            names.push_back(entry.path().stem());
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
    std::string told;
    for (std::size_t i = 0; i < std::min<std::size_t>(differences.size(), 12); ++i) {
        told += "  " + GetParam() + ": " + differences[i] + "\n";
    }
    EXPECT_TRUE(differences.empty()) << golden["scene"]["what"] << "; " << differences.size()
                                     << " differences:\n"
                                     << told << "If it is meant: scripts/accept-golden " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(All, GoldenRender, testing::ValuesIn(SceneNames()), [](const auto& each) {
    std::string name = each.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace

} // namespace orphia::test
