// SPDX-License-Identifier: GPL-3.0-or-later
#include "python/native/RenderPass.h"

#include "host/player/MidiPlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orphia::python {

namespace {

/// What is rendered between two looks at whether it is silent.
constexpr double chunkSeconds = 0.1;
constexpr double meterSeconds = 0.01;
/// As long as that nothing is heard before a sound is over: echoes lie up to 2 s apart.
constexpr double silenceAtEnd = 2.1;
/// -90 dBFS.
constexpr float leastSound = 3.1622776e-5F;

class Pass {
public:
    Pass(host::Instrument& target, RenderJob&& whatToDo)
        : instrument(target), job(std::move(whatToDo)), player(*job.song, target),
          block(target.FramesPerBlock()), rate(target.SampleRate()), latency(target.LatencyFrames()),
          chunk(block * std::max<std::size_t>(Rounded(chunkSeconds / static_cast<double>(block)), 1)),
          passage(std::max<std::size_t>(static_cast<std::size_t>(player.SongFrames()), job.voice.frames)) {
        sound.meterFrames = static_cast<std::uint32_t>(
            block * std::max<std::size_t>(Rounded(meterSeconds / static_cast<double>(block)), 1));
    }

    RenderedSound Run() {
        if (job.tail) {
            const std::size_t length = passage + Rounded(*job.tail);
            Reserve(length);
            while (done < length + latency && !HasToStop()) {
                RenderChunk();
            }
            Cut(length);
        } else {
            Reserve(passage + Rounded(silenceAtEnd + 1.0));
            Cut(RenderUntilSilent());
        }
        return std::move(sound);
    }

private:
    std::size_t Rounded(double seconds) const {
        return static_cast<std::size_t>(std::llround(seconds * rate));
    }

    void Reserve(std::size_t frames) {
        sound.left.reserve(frames + latency + chunk);
        sound.right.reserve(frames + latency + chunk);
        voice.resize(sound.meterFrames * 2);
        output.resize(sound.meterFrames * 2);
    }

    bool HasToStop() {
        sound.isStopped = sound.isStopped || (job.shouldStop && job.shouldStop());
        return sound.isStopped;
    }

    /// Where the sound ends.
    std::size_t RenderUntilSilent() {
        const std::size_t longest = passage + Rounded(longestFade);
        const std::size_t silence = Rounded(silenceAtEnd);
        std::size_t end = passage;
        for (std::size_t seen = 0; !HasToStop();) {
            while (done < seen + chunk + latency) {
                RenderChunk();
            }
            const std::size_t last = std::min(seen + chunk, longest);
            end = std::max(end, EndOfSound(std::max(seen, std::min(passage, last)), last));
            seen += chunk;
            if (end >= longest) {
                sound.isCut = true;
                break;
            }
            if (seen >= passage && seen - end >= silence && player.IsDone()) {
                break;
            }
        }
        return end;
    }

    /// Behind the last frame of a stretch that sounds; 0 when none does.
    std::size_t EndOfSound(std::size_t from, std::size_t to) const {
        for (std::size_t n = to; n > from; --n) {
            if (std::abs(sound.left[n - 1 + latency]) > leastSound ||
                std::abs(sound.right[n - 1 + latency]) > leastSound) {
                return n;
            }
        }
        return 0;
    }

    void RenderChunk() {
        for (std::size_t left = chunk; left > 0;) {
            const std::size_t untilMeter = sound.meterFrames - done % sound.meterFrames;
            const std::size_t frames = std::min(left, untilMeter);
            RenderPiece(frames);
            left -= frames;
            if (done % sound.meterFrames == 0) {
                sound.meters.push_back(instrument.TakeMeters());
            }
        }
        // Effects tell how late they are when they have started.
        if (done == chunk) {
            latency = instrument.LatencyFrames();
        }
    }

    /// Whole blocks, at most up to the next look at the meters.
    void RenderPiece(std::size_t frames) {
        const std::span<float> result = std::span(output).first(frames * 2);
        const std::span<const float> heard =
            job.voice.left != nullptr ? Voice(frames) : std::span<const float>();
        if (job.moves.IsEmpty()) {
            player.Process(heard, result);
        } else {
            for (std::size_t start = 0; start < frames; start += block) {
                // To the end of the block, so that a point acts from the start of the block in which it lies.
                job.moves.MoveTo(static_cast<double>(done + start + block) / rate, instrument);
                player.Process(heard.empty() ? heard : heard.subspan(start * 2, block * 2),
                               result.subspan(start * 2, block * 2));
            }
        }
        for (std::size_t n = 0; n < frames; ++n) {
            sound.left.push_back(result[2 * n]);
            sound.right.push_back(result[2 * n + 1]);
        }
        done += frames;
    }

    std::span<const float> Voice(std::size_t frames) {
        const std::span<float> heard = std::span(voice).first(frames * 2);
        Interleave(job.voice, done, heard);
        return heard;
    }

    void Cut(std::size_t length) {
        for (std::vector<float>* side : {&sound.left, &sound.right}) {
            const std::size_t first = std::min<std::size_t>(latency, side->size());
            side->erase(side->begin(), side->begin() + static_cast<std::ptrdiff_t>(first));
            side->resize(length);
        }
        sound.meters.resize(std::min(sound.meters.size(), length / sound.meterFrames + 1));
    }

    host::Instrument& instrument;
    RenderJob job;
    host::MidiPlayer player;
    std::size_t block;
    std::uint32_t rate;
    std::size_t latency;
    std::size_t chunk;
    /// Of song and voice, in frames.
    std::size_t passage;
    std::size_t done = 0;
    std::vector<float> voice;
    std::vector<float> output;
    RenderedSound sound;
};

} // namespace

void Interleave(const Planes& sound, std::size_t start, std::span<float> target) {
    const std::size_t first = std::min(start, sound.frames);
    const std::size_t count = std::min(target.size() / 2, sound.frames - first);
    for (std::size_t n = 0; n < count; ++n) {
        target[2 * n] = sound.left[first + n];
        target[2 * n + 1] = sound.right[first + n];
    }
    std::fill(target.begin() + static_cast<std::ptrdiff_t>(2 * count), target.end(), 0.0F);
}

RenderedSound RenderAll(host::Instrument& instrument, RenderJob job) {
    return Pass(instrument, std::move(job)).Run();
}

} // namespace orphia::python
