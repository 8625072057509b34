// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parts/SampleReport.h"

#include "dsp/framework/RunChild.h"
#include "dsp/pitch/PitchTracker.h"
#include "dsp/sampler/files/SampleReader.h"
#include "engine/samples/SampleManager.h"
#include "host/audio/AudioFileSource.h"
#include "host/common/Errors.h"
#include "host/common/Paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace orphia::host {

namespace {

using Velmora::u32;
using Velmora::dsp::PitchTracker;
using Velmora::dsp::SampleData;
using Velmora::dsp::SampleReader;

constexpr std::uint64_t mostFramesOfAHeader = std::uint64_t{1} << 48U;
constexpr std::size_t framesAtOnce = 16384;

double PeakOf(const SampleData& sample) {
    float peak = 0.0F;
    for (u32 channel = 0; channel < static_cast<u32>(sample.ChannelCount()); ++channel) {
        const float* const samples = sample.Channel(channel);
        for (u32 n = 0; n < sample.Frames(); ++n) {
            peak = std::max(peak, std::abs(samples[n]));
        }
    }
    return static_cast<double>(peak);
}

/// What players refuse in a voice the sampler would take; and it makes silence of what is no number.
void CheckNumbers(const std::filesystem::path& path, SampleReport& report) {
    try {
        AudioFileSource source(path);
        std::vector<float> samples(framesAtOnce * AudioSource::channelCount);
        std::uint64_t count = 0;
        while (const std::size_t frames = source.Read(samples)) {
            count += frames * AudioSource::channelCount;
        }
        const auto sides = static_cast<std::uint64_t>(report.channelCount);
        report.replacedSamples = source.ReplacedSamples() * sides / AudioSource::channelCount;
        if (count > 0 && source.ReplacedSamples() == count) {
            throw FileError("holds nothing but what is no number");
        }
    } catch (const FileError& error) {
        report.isAccepted = false;
        const std::string reason = error.what();
        const std::string prefix = TextOf(path) + ": ";
        report.reason = reason.starts_with(prefix) ? reason.substr(prefix.size()) : reason;
    }
}

/// Gathers the tracker's readings all along a sound.
class PitchSearch {
public:
    /// Shorter than a window at every usual rate, so that no reading is missed.
    static constexpr u32 blockSize = 64;

    explicit PitchSearch(float sampleRate) {
        constexpr float instrumentThreshold = 0.75F;
        tracker.SetParameterValue(PitchTracker::ConfidenceThreshold, instrumentThreshold);
        tracker.Initialize(sampleRate, blockSize);
    }

    /// A block, the last one perhaps a shorter one; null for the right side of mono.
    void Add(const float* left, const float* right, u32 frames) {
        alignas(16) std::array<float, blockSize> signal{};
        float* const output = signal.data();
        std::array<const float*, 2> inputs{left, right};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = inputs.size();
        context.outputs = &output;
        context.numOutputs = 1;
        context.numFrames = frames / 4 * 4;
        Velmora::dsp::RunChild(tracker, context);
        readings.push_back(tracker.FindParameter(PitchTracker::DetectedPitch)->PeekValue());
    }

    /// Once.
    std::optional<double> Result() {
        // A breath or a rumble within noise is no pitch of the sample.
        constexpr std::size_t leastShare = 20;
        const std::size_t all = readings.size();
        std::erase_if(readings, [](float hertz) { return !(hertz > 0.0F); });
        if (readings.empty() || readings.size() * leastShare < all) {
            return std::nullopt;
        }
        const auto middle = readings.begin() + static_cast<std::ptrdiff_t>(readings.size() / 2);
        std::nth_element(readings.begin(), middle, readings.end());
        return static_cast<double>(*middle);
    }

private:
    PitchTracker tracker;
    std::vector<float> readings;
};

std::optional<double> PitchOf(const SampleData& sample) {
    PitchSearch search(sample.SampleRate());
    const float* const right = sample.Channel(1);
    for (u32 at = 0; at < sample.Frames(); at += PitchSearch::blockSize) {
        search.Add(sample.Channel(0) + at, right != nullptr ? right + at : nullptr,
                   std::min(PitchSearch::blockSize, sample.Frames() - at));
    }
    return search.Result();
}

} // namespace

SampleReport InspectSample(const std::filesystem::path& path) {
    using Manager = Velmora::engine::SampleManager;
    SampleReport report;
    if (TextOf(path).size() > Manager::maximumPathLength) {
        report.reason = fmt::format("its path is longer than {} bytes", Manager::maximumPathLength);
        return report;
    }
    const SampleReader::Result result = SampleReader().Read(TextOf(path));
    report.channelCount = std::max(result.channelCount, 0);
    report.sampleRate = std::max(result.sampleRate, 0);
    const auto frames = static_cast<std::uint64_t>(std::max<std::int64_t>(result.frames, 0));
    report.frames = frames < mostFramesOfAHeader ? frames : 0;
    report.isAccepted = result.data != nullptr;
    if (report.isAccepted) {
        CheckNumbers(path, report);
    } else {
        report.reason = Describe(result.refusal);
        report.reason += result.reason.empty() ? "" : ": " + result.reason;
    }
    if (!report.isAccepted) {
        return report;
    }
    report.frames = result.data->Frames();
    report.peak = PeakOf(*result.data);
    report.pitch = PitchOf(*result.data);
    return report;
}

std::optional<double> FindPitch(AudioSource& source, const std::function<bool()>& goesOn) {
    PitchSearch search(static_cast<float>(source.SampleRate()));
    std::vector<float> samples(framesAtOnce * AudioSource::channelCount);
    alignas(16) std::array<std::array<float, PitchSearch::blockSize>, AudioSource::channelCount> sides{};
    std::size_t count = framesAtOnce;
    while (count == framesAtOnce) {
        if (!goesOn()) {
            return std::nullopt;
        }
        count = source.Read(samples);
        for (std::size_t at = 0; at < count; at += PitchSearch::blockSize) {
            const std::size_t frames = std::min<std::size_t>(PitchSearch::blockSize, count - at);
            for (std::size_t n = 0; n < frames; ++n) {
                sides[0][n] = samples[2 * (at + n)];
                sides[1][n] = samples[2 * (at + n) + 1];
            }
            search.Add(sides[0].data(), sides[1].data(), static_cast<u32>(frames));
        }
    }
    return search.Result();
}

} // namespace orphia::host
