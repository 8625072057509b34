// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/ChannelReader.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

constexpr float quarterTurn = 1.5707964F;

/// A sine between 0 and a quarter turn, of which two that add up to a quarter turn keep the power.
float CrossFadeGain(float angle) { return (0.95492965F - 0.12900613F * angle * angle) * angle; }

std::int64_t ToFixed(double frames) { return static_cast<std::int64_t>(frames * 4294967296.0); }

} // namespace

/// Equidistant positions in 32.32 fixed point, which hold those of a playhead exactly.
class ChannelReader::Line {
public:
    Line(const float* channelData, double start, double step)
        : data(channelData), at(ToFixed(start)), stride(ToFixed(step)) {}

    float Next() {
        const float* frame = data + (at >> 32);
        const float fraction = static_cast<float>(at & 0xFFFFFFFF) * 0x1p-32F;
        at += stride;
        return frame[0] + fraction * (frame[1] - frame[0]);
    }

private:
    const float* data;
    std::int64_t at;
    std::int64_t stride;
};

ChannelReader::Line ChannelReader::LineFrom(double position, bool rises) const {
    return {data, position, rises ? stride : -stride};
}

/// The smallest number of steps that cover a distance, at most limit.
u32 ChannelReader::FramesToPass(double distance, u32 limit) const {
    if (distance <= 0.0) {
        return 0;
    }
    if (stride * limit < distance) {
        return limit;
    }
    auto count = static_cast<u32>(std::ceil(distance / stride));
    // The quotient is rounded.
    if (stride * (count - 1.0) >= distance) {
        --count;
    } else if (stride * count < distance) {
        ++count;
    }
    return std::min(count, limit);
}

void ChannelReader::ReadOnce(Playhead& head, bool repeatsOnce, float* out, u32 frames) const {
    if (data == nullptr) {
        std::fill_n(out, frames, 0.0F);
        return;
    }
    if (head.HasEnded()) {
        // The repetition may have been asked for since.
        head.MoveOnce(0.0, range, repeatsOnce);
    }
    while (frames > 0 && !head.HasEnded()) {
        head.KeepWithin(range.frames);
        const bool rises = !head.IsReversed();
        const double distance = rises ? range.trimStop - head.Position() : head.Position() - range.trimStart;
        const u32 pass = std::max(1U, FramesToPass(distance, frames));
        // Behind the end there is no fade.
        const double unfaded = distance - static_cast<double>(range.endFadeLength);
        const u32 plain = range.endFadeLength > 0.0F && distance >= 0.0 ? FramesToPass(unfaded, pass) : pass;
        ReadPlain(LineFrom(head.Position(), rises), out, plain);
        const double covered = stride * plain;
        const double fadeStart = head.Position() + (rises ? covered : -covered);
        ReadFade(LineFrom(fadeStart, rises), distance - covered, out + plain, pass - plain);
        head.MoveOnce(stride * pass, range, repeatsOnce);
        out += pass;
        frames -= pass;
    }
    std::fill_n(out, frames, 0.0F);
}

void ChannelReader::ReadLoop(Playhead& head, float* out, u32 frames) const {
    if (data == nullptr) {
        std::fill_n(out, frames, 0.0F);
        return;
    }
    const double length = static_cast<double>(range.crossFadeLength);
    while (frames > 0) {
        head.KeepWithin(range.frames);
        const bool rises = head.RisesInLoop();
        const double distance = rises ? range.loopStop - head.Position() : head.Position() - range.loopStart;
        const u32 pass = std::max(1U, FramesToPass(distance, frames));
        const u32 plain = length > 0.0 && distance > 0.0 ? FramesToPass(distance - length, pass) : pass;
        ReadPlain(LineFrom(head.Position(), rises), out, plain);
        if (plain < pass) {
            const double covered = stride * plain;
            const double left = distance - covered;
            const double firstStart = head.Position() + (rises ? covered : -covered);
            const bool secondRises = range.turnsRound ? !rises : rises;
            ReadCrossFade(LineFrom(firstStart, rises), LineFrom(SecondPosition(head, left), secondRises),
                          left, out + plain, pass - plain);
        }
        head.MoveInLoop(stride * pass, range);
        out += pass;
        frames -= pass;
    }
}

/// Where the crossfade fades in: what leads to the point that the head jumps to, or comes back from where it
/// turns round.
double ChannelReader::SecondPosition(const Playhead& head, double distance) const {
    if (!range.turnsRound) {
        return head.IsReversed() ? range.loopStop + distance : range.loopStart - distance;
    }
    if (!head.RisesInLoop()) {
        return range.loopStart - distance;
    }
    return range.loopStop + distance + (head.IsReversed() ? 1.0 : 0.0);
}

void ChannelReader::ReadPlain(Line line, float* out, u32 frames) const {
    for (u32 n = 0; n < frames; ++n) {
        out[n] = line.Next();
    }
}

void ChannelReader::ReadFade(Line line, double distance, float* out, u32 frames) const {
    const float perFrame = 1.0F / range.endFadeLength;
    for (u32 n = 0; n < frames; ++n) {
        out[n] = static_cast<float>(distance - stride * n) * perFrame * line.Next();
    }
}

void ChannelReader::ReadCrossFade(Line first, Line second, double distance, float* out, u32 frames) const {
    const float length = range.crossFadeLength;
    const float perFrame = quarterTurn / length;
    for (u32 n = 0; n < frames; ++n) {
        const float left = static_cast<float>(distance - stride * n);
        out[n] = CrossFadeGain((length - left) * perFrame) * second.Next() +
                 CrossFadeGain(left * perFrame) * first.Next();
    }
}

} // namespace Velmora::dsp
