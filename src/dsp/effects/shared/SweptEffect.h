// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/CornerSweep.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/effects/shared/SoftDrive.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/smoothing/GlidingControls.h"
#include "dsp/vectors/FrameLanes.h"

#include <cmath>
#include <utility>

namespace Velmora::dsp {

/// Settings that all effects with swept corners have, in their own units.
struct SweptSettings {
    float mix = 0.0F;
    float hz = 1000.0F;
    /// Octaves: between the corners of the channels, that the oscillator moves them either way, and that full
    /// scale moves them.
    float stereoOffset = 0.0F;
    float swing = 0.0F;
    float envelopeSwing = 0.0F;
    float driveDb = 0.0F;
    float wetGainDb = 0.0F;
    CornerSweepSettings sweep;

    bool operator==(const SweptSettings&) const = default;
};

/// The ids of the parameters behind SweptSettings.
struct SweptParameters {
    u32 mix;
    u32 hz;
    u32 stereoOffset;
    u32 swing;
    u32 envelopeSwing;
    u32 drive;
    u32 wetGain;
    u32 rate;
    u32 shape;
    u32 tempoSync;
    u32 syncRate;
    u32 attack;
    u32 release;
};

/// Numbers of a signal path with swept corners that glide, and the sweep. A derived class has SetTargets and
/// numbers its groups, of which `Mix` has the gains of dry and wet sound in lanes 0 and 1, `Drive` a
/// SoftDriveAmount, and `Corners` the lanes of a CornerSweep.
template <u32 groupCount, u32 firstSlow>
class SweptControls {
public:
    void JumpToTargets() { groups.Arrive(); }
    /// Advances by a quad of frames.
    void Step() { groups.Step(); }
    bool IsMoving() const { return groups.IsMoving(); }
    const SmoothedLanes& operator[](u32 group) const { return groups[group]; }

    CornerSweep sweep;

protected:
    void Prepare(float rate, double fastSeconds, double slowSeconds) {
        groups.Prepare(rate, fastSeconds, slowSeconds);
        sweep.Prepare(rate);
    }
    /// All but the mix.
    void SetSweptTargets(const SweptSettings& settings, u32 drive, u32 corners) {
        const float centre = std::log2(settings.hz);
        groups[drive].GlideTo(SoftDriveAmount::Of(settings.driveDb).Lanes());
        groups[corners].GlideTo({centre - 0.5F * settings.stereoOffset, centre + 0.5F * settings.stereoOffset,
                                 settings.swing, settings.envelopeSwing});
        sweep.Set(settings.sweep);
    }

    GlidingControls<groupCount, firstSlow> groups;
};

/// The frame of a stereo effect behind a saturation whose corners are swept. Settings derive from
/// SweptSettings, Controls from SweptControls.
template <class Settings, class Controls>
class SweptEffect : public EffectUnit<Settings, Controls> {
public:
    void OnInitialize(float rate, u32 /*maxBlockSize*/) final {
        sampleRate = rate;
        controls.Prepare(rate);
    }
    /// Silences the stages; the cycle starts anew.
    void OnReset(bool /*hard*/) final {
        ClearStages();
        drive.Reset();
        controls.sweep.Reset();
    }

protected:
    using EffectUnit<Settings, Controls>::EffectUnit;
    using EffectUnit<Settings, Controls>::controls;

    virtual void ClearStages() = 0;

    void ReadSwept(SweptSettings& into, const SweptParameters& ids, const ProcessContext& context) {
        into.mix = this->HeldValue(ids.mix, context);
        into.hz = this->HeldValue(ids.hz, context);
        into.stereoOffset = this->HeldValue(ids.stereoOffset, context);
        into.swing = this->HeldValue(ids.swing, context);
        into.envelopeSwing = this->HeldValue(ids.envelopeSwing, context);
        into.driveDb = this->HeldValue(ids.drive, context);
        into.wetGainDb = this->HeldValue(ids.wetGain, context);
        CornerSweepSettings& sweep = into.sweep;
        sweep.isInTime = this->IsOn(ids.tempoSync);
        sweep.syncStep = this->HeldStep(ids.syncRate);
        sweep.attackMs = this->HeldValue(ids.attack, context);
        sweep.releaseMs = this->HeldValue(ids.release, context);
        sweep.oscillator.shape = this->HeldStep(ids.shape);
        sweep.oscillator.rateHz =
            this->CycleHz({ids.rate, ids.tempoSync, ids.syncRate}, SweepLfoSettings::fastestHz, context);
    }

    void FollowSong(const ProcessContext& context) final { controls.sweep.FollowSong(context); }
    void StartMotion() final { jumps = true; }
    /// True once after a reset: corners are taken at once.
    bool TakesJump() { return std::exchange(jumps, false); }
    bool IsAboutToJump() const { return jumps; }

    /// Runs the block in quads. `stages` turns what has passed the saturation into the wet sound, in place.
    template <class Stages>
    void RenderQuads(const ProcessContext& context, Stages stages) {
        const bool isMoving = controls.IsMoving();
        for (u32 n = 0; n < context.numFrames; n += simd::Float4::size) {
            const StereoQuad dry = StereoQuad::Read(context, n);
            controls.sweep.Advance(dry.left, dry.right);
            if (isMoving) {
                controls.Step();
            }
            FrameQuad<Double2> wet = dry.Frames();
            drive.Run(wet, controls[Controls::Drive]);
            stages(wet);
            dry.MixedWith(StereoQuad::Of(wet), controls[Controls::Mix]).Write(context, n);
        }
    }

    /// True when the block was silent, for `stages` at rest, and is done with: no more than the sweep has
    /// moved on.
    bool PassesSilence(const ProcessContext& context, bool stagesRest) {
        if (!stagesRest || jumps || controls.IsMoving() || !drive.IsAtRest() || !controls.sweep.IsQuiet() ||
            !IsSilent(context)) {
            return false;
        }
        RenderSilence(context, [this](u32 quads) { controls.sweep.PassSilence(quads); });
        return true;
    }

    float sampleRate = 44100.0F;

private:
    SoftDrive drive;
    bool jumps = true;
};

} // namespace Velmora::dsp
