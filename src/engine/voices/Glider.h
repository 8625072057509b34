// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherSRL.h"
#include "engine/voices/VoiceInfo.h"

#include <array>
#include <string>

namespace Velmora::engine {

class MtsClient;

/// The note of each played voice, in semitones, moving from where the last note was toward its own target:
/// either every glide takes "Time" seconds ("Speed" other than 1), or 12 semitones do ("Speed" 1). A glide is
/// a straight line in semitones, advanced once per block.
///
/// No outputs; input 0, which may be absent or null, modulates "Time". Voices outside of the table are
/// ignored.
class Glider final : public dsp::UnitModule {
    static_assert(voiceCount <= 32, "the moving voices are bits of a u32");

public:
    enum Parameter : u32 {
        On,
        /// Seconds; raw until the owner redeclares it.
        Time,
        Speed,
        Quantize,
        ContinuousTuning,
        StartFromLastTarget,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    explicit Glider(std::string moduleName = "Glider");

    /// note and channel are data bytes of the event, mts may be null. The first note after a reset jumps.
    void StartNote(u32 voice, u8 note, const MtsClient* mts, u8 channel);
    /// The other voice becomes the one from which the next note glides, when the released voice was it; -1
    /// for none.
    void ReleaseVoice(u32 voice, i32 newestRemaining);
    /// Follows the tuning of a sounding note: the target moves, and the note after it.
    void RetuneVoice(u32 voice, const MtsClient& mts);
    /// The present note as a number, 0 to 127 with fractions; -1 for a voice outside of the table.
    float CurrentNote(u32 voice) const;
    /// Forgets where the last note was.
    void ResetTargets();
    bool IsContinuousTuning() const { return followsTuning; }

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

private:
    struct PlayedNote {
        u8 note = 0;
        u8 channel = 0;
    };

    static float Tuned(PlayedNote played, const MtsClient* mts);
    bool TakesConstantTime() { return Value(Speed) != 1.0F; }
    void JumpToStart(u32 voice);
    void MarkIfMoving(u32 voice);

    std::array<dsp::SmootherSRL, voiceCount> smoothers;
    std::array<PlayedNote, voiceCount> notes{};
    /// Bit n is set while the note of voice n is on its way.
    u32 movingVoices = 0;
    /// Where the next glide starts, -1 when nothing was played. All voices share it: each change of it holds
    /// for the whole table of voices.
    float glideStart = -1.0F;
    /// The voice started last, -1 for none.
    i32 lastVoice = -1;
    bool followsTuning = true;
};

} // namespace Velmora::engine
