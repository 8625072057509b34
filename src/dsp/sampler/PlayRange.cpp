// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/PlayRange.h"

#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

constexpr float minimumSeconds = 0.001F;
constexpr float endFadeSeconds = 0.01F;
/// Keeps positions within 32.32 fixed point.
constexpr u32 mostFrames = 0x7FFFFFF0U;

/// Truncates; what is not a number or below 0 becomes 0, and nothing exceeds the limit.
u32 ToFrames(float position, u32 limit) {
    if (!(position > 0.0F)) {
        return 0;
    }
    return position < static_cast<float>(limit) ? std::min(static_cast<u32>(position), limit) : limit;
}

u32 Share(float control, u32 whole) {
    return ToFrames(static_cast<float>(whole) * ClampToUnit(control), whole);
}

u32 LessOrZero(u32 a, u32 b) { return a > b ? a - b : 0; }

/// The largest float that does not exceed a count.
float FloatNotAbove(u32 count) {
    const float rounded = static_cast<float>(count);
    return static_cast<double>(rounded) > static_cast<double>(count) ? std::nextafter(rounded, 0.0F)
                                                                     : rounded;
}

} // namespace

void PlayRange::SetTrim(const SampleData& sample, const Controls& controls, float hostRate) {
    frames = std::min(sample.Frames(), mostFrames);
    minimumLength = ToFrames(sample.SampleRate() * minimumSeconds, frames);
    const u32 whole = LessOrZero(frames, 2);
    trimStart = Share(controls.trimStart, whole);
    trimStop = Share(controls.trimStop, whole);
    if (trimStop < trimStart + minimumLength) {
        if (trimStart + minimumLength > frames) {
            trimStop = frames;
            trimStart = frames - minimumLength;
        } else {
            trimStop = trimStart + minimumLength;
        }
    }
    const float fade = hostRate * endFadeSeconds;
    endFadeLength = fade > 0.0F ? std::min(fade, static_cast<float>(LessOrZero(frames, 1))) : 0.0F;
}

void PlayRange::SetLoop(const Controls& controls, bool isReversed) {
    const u32 whole = LessOrZero(frames, 1);
    loopStart = std::max(Share(controls.loopStart, whole), trimStart);
    loopStop = std::max(std::min(Share(controls.loopStop, whole), trimStop), minimumLength);
    if (loopStop < loopStart + minimumLength) {
        loopStart = loopStop - minimumLength;
    }
    const float length = FloatNotAbove(loopStop - loopStart);
    const float asked = length * ClampToUnit(controls.crossFade);
    crossFadeLength = std::min({asked, CrossFadeLimit(isReversed), length});
}

/// The crossfade plays what lies before or behind the loop, which must still be within the trim.
float PlayRange::CrossFadeLimit(bool isReversed) const {
    const u32 before = LessOrZero(loopStart, trimStart);
    const u32 behind = LessOrZero(trimStop, loopStop);
    if (turnsRound) {
        return FloatNotAbove(std::min(before, behind));
    }
    return FloatNotAbove(isReversed ? behind : before);
}

double PlayRange::StartPosition(float start, bool isReversed) const {
    const double begin = isReversed ? trimStop : trimStart;
    const double end = isReversed ? trimStart : trimStop;
    return static_cast<double>(ClampToUnit(start)) * (end - begin) + begin;
}

} // namespace Velmora::dsp
