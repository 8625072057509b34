// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/reverb/ReverbTank.h"

#include "dsp/math/QuarterTurnSine.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Float4;
namespace Plate = ReverbPlate;

constexpr float tapGain = 0.6F;

/// An all-pass of Schroeder about a line; delayed is what comes out of that.
Float4 AllPass(QuadDelayLine& line, Float4 x, Float4 delayed, Float4 diffusion) {
    const Float4 inner = x - diffusion * delayed;
    line.Write(inner);
    return delayed + diffusion * inner;
}

} // namespace

void ReverbTank::Allocate(float sampleRate) {
    for (u32 line = 0; line < Plate::LineCount; ++line) {
        const u32 longest =
            ReverbControls::Scaled(Plate::lengths[line], ReverbSettings::largestSize, sampleRate);
        const bool isSwung = line == Plate::LeftSwung || line == Plate::RightSwung;
        const float swing = isSwung ? std::ceil(ReverbControls::DeepestSwing(sampleRate)) : 0.0F;
        lines[line].Allocate(longest + static_cast<u32>(swing));
    }
    for (u32 n = 0; n < diffusers.size(); ++n) {
        diffuserDelays[n] = ReverbControls::Scaled(Plate::inputDiffusers[n], 1.0F, sampleRate);
        diffusers[n].Allocate(diffuserDelays[n]);
    }
    preDelay.Allocate(ReverbControls::LongestPreDelay(sampleRate));
    longestLine = 0;
    VisitLines([this](const QuadDelayLine& line) { longestLine = std::max(longestLine, line.Size()); });
    silentFrames = longestLine;
}

template <class Visit>
void ReverbTank::VisitLines(Visit visit) {
    visit(preDelay);
    std::for_each(diffusers.begin(), diffusers.end(), visit);
    std::for_each(lines.begin(), lines.end(), visit);
}

void ReverbTank::Clear() {
    VisitLines([](QuadDelayLine& line) { line.Clear(); });
    silentFrames = longestLine;
    for (QuadOnePole* filter : {&lowCut, &highCut, &damping[0], &damping[1]}) {
        filter->Reset();
    }
}

void ReverbTank::RestartSwing(const Controls& controls) {
    phase = 0.0;
    Swing(controls, 2);
}

template <ReverbTank::Pace pace>
StereoQuad ReverbTank::Render(Float4 input, const Controls& controls) {
    const StereoQuad wet{SumTaps<pace>(Plate::leftTaps, Controls::LeftTaps, controls),
                         SumTaps<pace>(Plate::rightTaps, Controls::RightTaps, controls)};

    const Float4 entry =
        Diffuse<pace>(input, controls) * controls[Controls::Mix].Over<pace != Settled>(Controls::Entry);
    const Float4 fromLeft = ReadLine<pace>(Plate::LeftSecond, controls);
    const Float4 fromRight = ReadLine<pace>(Plate::RightSecond, controls);
    lines[Plate::LeftSecond].Write(RunHalf<pace>(0, entry + fromRight, controls));
    lines[Plate::RightSecond].Write(RunHalf<pace>(1, entry + fromLeft, controls));
    StepSwing(controls);
    return wet;
}

/// The pre-delay is read behind the write, one sample late: at 0, the cubic needs the sample that comes next.
template <ReverbTank::Pace pace>
Float4 ReverbTank::Diffuse(Float4 input, const Controls& controls) {
    constexpr bool moving = pace != Settled;
    const Float4 low = lowCut.Tick(input, controls.Filter(Controls::LowCut));
    preDelay.Write((input - low) * controls.LowCutGain());
    const Float4 delayed = pace == Gliding ? preDelay.ReadBetween(controls.Delay().Over(Controls::PreDelay))
                                           : preDelay.Read(controls.Delay().Goal(Controls::PreDelay));
    Float4 sound = highCut.Tick(delayed, controls.Filter(Controls::HighCut));
    for (u32 n = 0; n < diffusers.size(); ++n) {
        const u32 lane = n < 2 ? Controls::Input1 : Controls::Input2;
        sound = AllPass(diffusers[n], sound, diffusers[n].Read(diffuserDelays[n]),
                        controls[Controls::Diffusion].Over<moving>(lane));
    }
    return sound;
}

/// From the entry of a half to what goes into its last line.
template <ReverbTank::Pace pace>
Float4 ReverbTank::RunHalf(u32 side, Float4 entry, const Controls& controls) {
    constexpr bool moving = pace != Settled;
    const u32 first = side == 0 ? Plate::LeftSwung : Plate::RightSwung;
    const SmoothedLanes& diffusion = controls[Controls::Diffusion];

    // This one has the other sign in the paper.
    const Float4 swung = controls.Gain<moving>(first) * ReadSwung<pace>(side, controls);
    const Float4 spread = AllPass(lines[first], entry, swung, -diffusion.Over<moving>(Controls::Decay1));
    const Float4 delayed = ReadLine<pace>(first + 1, controls);
    lines[first + 1].Write(spread);
    const Float4 damped = damping[side].Tick(delayed, controls.Filter(Controls::Damping));
    return AllPass(lines[first + 2], damped, ReadLine<pace>(first + 2, controls),
                   diffusion.Over<moving>(Controls::Decay2));
}

/// With what its delay costs in level.
template <ReverbTank::Pace pace>
Float4 ReverbTank::ReadLine(u32 line, const Controls& controls) const {
    const Float4 sound = pace == Gliding ? lines[line].ReadBetween(controls.Delay().Over(line))
                                         : lines[line].Read(controls.Delay().Goal(line));
    return controls.Gain<pace != Settled>(line) * sound;
}

template <ReverbTank::Pace pace>
Float4 ReverbTank::ReadSwung(u32 side, const Controls& controls) const {
    const u32 line = side == 0 ? Plate::LeftSwung : Plate::RightSwung;
    const Float4 quarters{0.25F, 0.5F, 0.75F, 1.0F};
    const Float4 centre = pace == Gliding ? controls.Delay().Over(line)
                                          : Float4(static_cast<float>(controls.Delay().Goal(line)));
    return lines[line].ReadBetween(centre + (swings[side] + (endSwings[side] - swings[side]) * quarters));
}

template <ReverbTank::Pace pace>
Float4 ReverbTank::SumTaps(const Plate::Taps& taps, u32 first, const Controls& controls) const {
    Float4 sum(0.0F);
    for (u32 n = 0; n < Plate::tapsPerSide; ++n) {
        const QuadDelayLine& line = lines[taps[n].line];
        const Float4 sound = pace == Gliding ? line.ReadBetween(controls.Delay().Over(first + n))
                                             : line.Read(controls.Delay().Goal(first + n));
        sum += controls.Gain<pace != Settled>(first + n) * sound;
    }
    return sum * tapGain;
}

void ReverbTank::StepSwing(const Controls& controls) {
    const auto turns = static_cast<float>(phase) * 4.0F;
    const float depth = controls[Controls::Filters].value[Controls::SwingSamples];
    const Float4 sines = QuarterTurnSine(Float4{turns, turns + 1.0F, turns, turns});
    swings = endSwings;
    endSwings = {depth * sines.get(0), depth * sines.get(1)};
    StepPhase(controls);
}

void ReverbTank::StepPhase(const Controls& controls) {
    phase += controls.SwingPerQuad();
    phase -= phase >= 1.0 ? 1.0 : 0.0;
}

/// The last two quads set what is read.
void ReverbTank::Swing(const Controls& controls, u32 quads) {
    for (; quads > 2; --quads) {
        StepPhase(controls);
    }
    for (; quads != 0; --quads) {
        StepSwing(controls);
    }
}

bool ReverbTank::IsBroken() const {
    return !std::all_of(damping.begin(), damping.end(), [](const QuadOnePole& filter) {
        return IsIntact(static_cast<double>(filter.Last()));
    });
}

/// A tail ends the look at its first line; only what has died down is looked at as a whole.
void ReverbTank::CountSilence(u32 frames) {
    bool silent = frames != 0;
    VisitLines([&](const QuadDelayLine& line) { silent = silent && line.IsSilent(frames); });
    silentFrames = silent ? std::min(silentFrames + frames, longestLine) : 0;
}

bool ReverbTank::IsAtRest() const {
    return silentFrames == longestLine && lowCut.Last() == 0.0F && highCut.Last() == 0.0F &&
           damping[0].Last() == 0.0F && damping[1].Last() == 0.0F;
}

template StereoQuad ReverbTank::Render<ReverbTank::Settled>(Float4, const ReverbControls&);
template StereoQuad ReverbTank::Render<ReverbTank::Moving>(Float4, const ReverbControls&);
template StereoQuad ReverbTank::Render<ReverbTank::Gliding>(Float4, const ReverbControls&);

} // namespace Velmora::dsp
