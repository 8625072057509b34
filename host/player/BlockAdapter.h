// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/engine/BlockEngine.h"
#include "host/midi/MidiMessage.h"
#include "host/parameters/ParameterInfo.h"

#include <array>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

namespace orphia::host {

/// What happens within a stretch of audio.
struct ORPHIA_PUBLIC TimedEvent {
    /// From the start of the stretch.
    std::uint32_t frame = 0;
    std::variant<MidiMessage, ParameterSetting> what;
};

/// Cuts audio of any length into the blocks of an engine. The sound is late by exactly one of these blocks,
/// whatever the lengths it comes in, and does not depend on them. An event acts at the start of the engine's
/// block in which its frame falls, so less than a block early; what a block does not take waits for the next
/// one.
///
/// When the engine has blocks of another length, as it runs at another rate, the sound goes on with these,
/// and what was on its way is forgotten.
///
/// For one thread at a time; Process allocates nothing.
class ORPHIA_PUBLIC BlockAdapter {
public:
    enum class Mode {
        /// Any lengths, one block late.
        AnyLength,
        /// The caller gives whole blocks, which are not late at all. The end may be cut short: what the last
        /// block computes beyond it is lost.
        WholeBlocks
    };

    /// The engine must outlive this.
    explicit BlockAdapter(BlockEngine& engine, Mode mode = Mode::AnyLength);

    /// How late the sound is, in frames: the engine's own latency, and with any lengths one of its blocks.
    std::uint32_t Latency() const {
        return engine.LatencyFrames() + (mode == Mode::AnyLength ? engine.FramesPerBlock() : 0);
    }

    /// Renders `frames` frames. `voice` holds 0 to 2 channels, `output` left and right, which may be the
    /// same buffers. Events are in order of time; those behind the end count as at the last frame.
    void Process(const float* const* voice, std::uint32_t voiceChannels, float* const* output,
                 std::uint32_t frames, std::span<const TimedEvent> events = {});

    /// The same, interleaved stereo of one length; an empty voice is none.
    void Process(std::span<const float> voice, std::span<float> output,
                 std::span<const TimedEvent> events = {});

    /// Forgets what is on its way: the next sound begins with silence of Latency() frames.
    void Reset();

private:
    static constexpr std::size_t maxWaiting = 1024;

    struct Passage;

    void FollowEngine();
    void Run(Passage passage);
    void HandEvents(Passage& passage, std::uint32_t endFrame);
    void Hand(const MidiMessage& message);
    void HandWaiting();
    void Collect(const Passage& passage, std::uint32_t count);
    void GiveOut(const Passage& passage, std::uint32_t count);
    void FillUp(std::uint32_t from);
    void RenderBlock();

    BlockEngine& engine;
    Mode mode;
    std::uint32_t blockFrames;
    /// Left and right of the voice that is being collected and of the sound that is being given out.
    std::array<std::vector<float>, 2> in;
    std::array<std::vector<float>, 2> out;
    std::uint32_t filled = 0;
    bool hasVoice = false;
    /// Messages that the engine did not take any more in their block.
    std::vector<MidiMessage> waiting;
};

} // namespace orphia::host
