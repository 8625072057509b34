// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherSRL.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <string>

namespace Velmora::engine {

/// Fades a voice out within 6 ms and then mutes it, so that a stolen voice leaves without a click.
///
/// Two inputs and two outputs, in place or not; both outputs may be one buffer, which is the first one then.
/// While it passes, the outputs are left alone: a parent that works out of place then has its sound in the
/// inputs. "State" goes from Fade to Mute by itself, and back to Pass by the parent or a reset. Without
/// "Stereo" only channel 0 is touched.
class VoiceKiller final : public dsp::UnitModule {
public:
    enum Parameter : u32 {
        /// A StateValue.
        State,
        Stereo,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    enum StateValue : u32 { Pass, Fade, Mute, StateCount };

    explicit VoiceKiller(std::string moduleName = "VoiceKiller");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Lets the voice through, from the next block on.
    void LetPass() { SetState(Pass); }
    void StartFade() { SetState(Fade); }
    bool IsFading() const { return IsIn(Fade); }
    bool IsMuted() const { return IsIn(Mute); }

private:
    void SetState(StateValue state) { SetParameterValue(State, static_cast<float>(state)); }
    bool IsIn(StateValue state) const { return parameters[State].PeekValue() == static_cast<float>(state); }
    void RestartFade();
    void RenderFade(const dsp::ProcessContext& context, u32 channels);

    dsp::SmootherSRL gain;
    dsp::AlignedBuffer ramp;
    bool isStereo = true;
    /// Of the state, as of the last tick: what passes is not asked again.
    bool isPassing = true;
};

} // namespace Velmora::engine
