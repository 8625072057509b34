// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/equaliser/ParamEqBand.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// An equaliser of bandCount state-variable filters in series, band 0 first. Whatever changes runs in
/// straight lines through the block, so that no setting clicks; a change of a band's mode or switch clears
/// that band and takes effect at once.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent, which counts as
/// silence or no modulation. Outputs: 0 left, 1 right, in place or not. Without "Stereo" only channel 0 is
/// equalised, and channel 1 passes. A band that receives what is not a number starts again from silence with
/// the next block. Instantiated for 5 bands.
template <u32 bandCount>
class ParamEq final : public UnitModule {
public:
    /// "Stereo" 0 or 1. "Scale" multiplies the dB of every band's gain, 0 to 1. "SmoothOn" above 0.5 glides
    /// gain, cutoff and Q to what is set.
    enum Parameter : u32 { Stereo, Scale, SmoothOn, FirstBandParameter };
    static constexpr u32 parameterCount = FirstBandParameter + 5 * bandCount;

    /// Bands count from 0 here and from 1 in the names.
    static constexpr u32 OnId(u32 band) { return FirstBandParameter + band; }
    /// 0 lowpass, 1 bandpass, 2 highpass, 3 low shelf, 4 bell, 5 high shelf.
    static constexpr u32 ModeId(u32 band) { return OnId(band) + bandCount; }
    /// dB, -20 to 20.
    static constexpr u32 GainId(u32 band) { return OnId(band) + 2 * bandCount; }
    /// Hz, 20 to 20000.
    static constexpr u32 CutoffId(u32 band) { return OnId(band) + 3 * bandCount; }
    /// 0.1 to 20.
    static constexpr u32 QId(u32 band) { return OnId(band) + 4 * bandCount; }

    static constexpr u32 scaleInput = 2;
    static constexpr u32 CutoffInput(u32 band) { return scaleInput + 1 + band; }
    static constexpr std::array<u32, 1 + bandCount> modulationInputs = [] {
        std::array<u32, 1 + bandCount> ids{Scale};
        for (u32 band = 0; band < bandCount; ++band) {
            ids[CutoffInput(band) - 2] = CutoffId(band);
        }
        return ids;
    }();
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({Scale});

    explicit ParamEq(std::string moduleName = "ParamEq");

    void OnInitialize(float rateHz, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    /// One band as its parameters have it, and the way there.
    struct Setting {
        bool isOn = false;
        ParamEqShape shape;
        SmootherLPF gain;
        SmootherLPF frequency;
        SmootherLPF inverseQ;
    };

    bool UpdateScale(const ProcessContext& context);
    void UpdateBand(u32 band, const ProcessContext& context, bool scaleChanged);
    ParamEqShape Smoothed(Setting& setting);
    void PrepareSmoothers(u32 samplesPerTick);
    void JumpAll();
    template <class Input, class Output>
    void Render(Input input, Output output, u32 numFrames, bool isSilent);

    std::array<ParamEqBand, bandCount> bands;
    std::array<Setting, bandCount> settings;
    AlignedBuffer silence;
    float sampleRate = 44100.0F;
    float inverseSampleRate = 1.0F / 44100.0F;
    float scale = 1.0F;
    u32 smootherTick = 0;
    bool isStereo = true;
    bool isSmoothing = false;
    /// The smoothers have nothing to glide from.
    bool smoothersJump = true;
};

extern template class ParamEq<5>;

} // namespace Velmora::dsp
