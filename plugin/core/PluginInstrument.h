// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/MeterReading.h"
#include "host/instrument/Instrument.h"
#include "host/parameters/ParameterInfo.h"
#include "host/player/BlockAdapter.h"
#include "plugin/core/parameters/MidiLearn.h"
#include "plugin/core/parameters/PluginParameters.h"
#include "plugin/core/state/PluginState.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orphia::plugin {

/// What a host gives and takes at once.
struct PluginBlock {
    /// Those beyond are left out.
    static constexpr std::size_t mostEvents = 8192;

    /// The voice: voiceChannels buffers, 0 to 2, which may be those of the output.
    const float* const* voice = nullptr;
    std::uint32_t voiceChannels = 0;
    /// Left and right.
    float* const* output = nullptr;
    std::uint32_t frames = 0;
    /// In order of frame. A setting may be of a macro or the bypass.
    std::span<const host::TimedEvent> events;
    /// At the first frame; null when the host tells none: then it plays on by itself.
    const host::Transport* transport = nullptr;
};

/// The instrument as hosts play it, whatever their format. All is decided here; a wrapper hands over.
///
/// Two threads may use it at the same time: the audio thread with Process and Reset, which neither allocate
/// nor lock nor wait (when offline, a program change does), and message threads with all the rest. While it
/// is not active there is no audio thread. Nothing here throws but the constructor for want of memory: what
/// goes wrong is told by TakeMessages.
class PluginInstrument {
public:
    enum class Kind {
        /// Bypassed, it is silent.
        Instrument,
        /// Bypassed, it passes the voice on.
        Effect
    };

    struct Options {
        Kind kind = Kind::Instrument;
        /// The engine; else the one in the folder of this code.
        std::filesystem::path library;
        /// Where the user's presets are; without one where they are for all of this user's programs.
        std::optional<std::filesystem::path> presetFolder;
        /// All instances have the same noise, so that a song sounds the same each time.
        std::uint32_t seed = 1;
    };

    explicit PluginInstrument(const Options& options);
    /// With those of its kind.
    explicit PluginInstrument(Kind kind = Kind::Instrument);
    ~PluginInstrument();
    PluginInstrument(const PluginInstrument&) = delete;
    PluginInstrument& operator=(const PluginInstrument&) = delete;

    /// False when there is no engine: then it is silent, and all else goes on.
    bool IsUsable() const;

    // ---- Life: message threads, while the audio thread rests

    /// From now on Process may be called. The first time it builds the instrument, which takes some 50 ms. It
    /// may be called again at any time, with another rate; the sound, and its noise, begins anew. Rates are
    /// taken as the nearest one from 8 to 384 kHz.
    void Activate(double sampleRate);
    void Deactivate();
    /// Rendering need not be in time.
    void SetOffline(bool isOffline);

    // ---- Sound: the audio thread

    /// Any number of frames. Does not depend on how the sound is cut into blocks; events act at the start of
    /// the engine's block of about a millisecond that they fall into.
    void Process(const PluginBlock& block);
    /// Silence at once; what was on its way is forgotten, and nothing that is set changes. Nothing while it
    /// is not active.
    void Reset();

    // ---- Any thread, at any time; these do not wait

    /// How late the sound is, bypassed or not; 0 before the first Activate.
    std::uint32_t LatencyFrames() const;
    /// How long it goes on behind the last note; a host that stops sooner cuts an echo.
    static constexpr double tailSeconds = 30.0;

    /// Of a parameter that hosts list, or any of the engine: its position, as it is set or will be at once.
    float Position(std::uint32_t id) const;
    /// Acts with the next block. As a player turns it: a macro moves what it is assigned to.
    void Set(const host::ParameterSetting& setting);
    void SetPosition(std::uint32_t id, float position) {
        Set({id, host::ParameterSetting::Scale::Position, position});
    }
    /// Releases all notes with the next block.
    void AllNotesOff();
    /// One of TakeChangedParameters, TakeLatencyChange and TakeProgramChange has something to tell.
    bool HasNews() const;

    // ---- Message threads, at any time

    /// Those of the listed parameters that moved by macros, messages, states and programs since the last
    /// call; a host wants to be told. What it moved itself is not among them.
    std::vector<std::uint32_t> TakeChangedParameters();
    /// LatencyFrames() has another result since the last call.
    bool TakeLatencyChange();

    /// What macro 0 to 15 moves.
    Macro MacroOf(unsigned macro) const;
    void AssignMacro(unsigned macro, const Macro& assignment);

    /// Which controllers the player has taught what to move; any thread.
    MidiLearn& Controllers();

    /// All that LoadState needs to bring this sound back exactly, as a text: a preset file with the macros
    /// and the controllers beside it. At any time, also while a state loads: then it is that state.
    std::string SaveState(const PathMapping& mapping = PathMapping::OfThread());
    /// Replaces all of it, and comes back when samples are there; the sound goes over to it in 20 ms, and
    /// notes end. What is set, and controllers that move, while it loads are for it, too. False, and nothing
    /// has changed, for a text that is no state.
    bool LoadState(std::string_view text, const PathMapping& mapping = PathMapping::OfThread());

    /// A sample from 0: the file that it plays or, when it is missing, should play; empty for none.
    std::filesystem::path SamplePath(std::uint32_t sample);

    /// Samples that are to be read without anybody waiting for them.
    struct SampleOrder {
        /// By the sample, from 0; an empty path clears it.
        std::map<std::uint32_t, std::filesystem::path> paths;
        /// Positions of the engine's parameters that are set along with a sample.
        std::map<std::uint32_t, std::vector<std::pair<std::uint32_t, float>>> positions = {};
        /// Not of interest here: what who follows the order wants to know of it.
        std::string name = {};
        std::string remark = {};
    };
    /// What became of one.
    struct SamplesDone {
        /// Without those that are no sound.
        SampleOrder order;
        /// Why something of it was not taken; empty when all was.
        std::string problem;
        /// The states before and after; the same when nothing was taken.
        std::string before;
        std::string after;
    };
    /// A thread of the instrument's own reads them, while all else goes on; then they are there with one
    /// change of the sound. One that is no sound leaves what was there. Orders are done one after the other,
    /// whoever looks. A state that is loaded meanwhile, and a program with samples of its own, make void what
    /// was ordered before.
    void OrderSamples(SampleOrder order);
    /// The newest order that is not done is not done at all. False when all are done.
    bool CancelSamples();
    /// What is ordered and not there yet.
    std::map<std::uint32_t, std::filesystem::path> OrderedSamples() const;
    /// Each once, in order. Those that nobody takes are kept up to a handful.
    std::optional<SamplesDone> TakeSamplesDone();
    /// As LoadState and LoadProgram, but they come back at once: positions are those of the new sound, and
    /// what is set is for it, while the old one sounds until a thread has built the other.
    bool BeginState(std::string_view text);
    bool BeginProgram(std::uint32_t index);
    /// Something of OrderSamples, BeginState or BeginProgram is on its way. Any thread.
    bool IsLoading() const;

    struct Program {
        std::string id;
        std::string name;
        std::string description;
        bool isFactory = true;
        std::vector<std::string> tags = {};
    };
    /// The built-in ones, then the user's. A program change chooses one of 128 of the bank that was selected
    /// by controllers 0 and 32: bank 0 is that of the factory, 1 and on are the user's.
    std::vector<Program> Programs() const;
    /// The same list, not copied: another one where anything has changed, so a look at the pointer tells.
    using SharedProgramList = std::shared_ptr<const std::vector<Program>>;
    SharedProgramList SharedPrograms() const;
    /// Reads the user's folder anew.
    void RefreshPrograms();
    /// The one that was loaded last, also by a message or with a state; nothing for a state of its own.
    std::optional<std::uint32_t> CurrentProgram();
    /// As LoadState; macros and bypass stay. False when there is no such program.
    bool LoadProgram(std::uint32_t index);
    /// Writes a preset of the user's, and lists it. The id is its file's name. False when that is not
    /// possible.
    bool SaveProgram(const std::string& id, const std::string& name);
    /// As CurrentProgram, when it was changed by a message since the last call.
    bool TakeProgramChange();

    // ---- For an editor: one message thread

    /// While somebody watches, Position tells of lights, meters, wheels and pedals where the engine has them,
    /// a hundred times a second, and the levels and keys below move. Once on for each off.
    void SetWatched(bool isWatched);
    /// A key of the editor, a wheel or a pedal; acts with the next block. False when too many wait.
    bool Play(const host::MidiMessage& message);

    struct Keys {
        std::bitset<128> held;
        /// The key that was pressed last, and how hard, 0 to 1.
        unsigned newest = 60;
        float velocity = 0.8F;
    };
    Keys HeldKeys() const;

    struct Levels {
        /// Peaks since the last call, 1 is full scale; behind the limiter.
        float voice = 0.0F;
        std::array<float, 2> output{};
        /// Of the time that the sound lasts, the share that it took to compute.
        float processor = 0.0F;
        /// 0 before the first Activate.
        double sampleRate = 0.0;
    };
    Levels TakeLevels();

    /// The largest readings since the last call.
    host::MeterReading TakeMeters();
    /// A line each: what a user may want to know.
    std::vector<std::string> TakeMessages();

private:
    struct Inside;

    std::unique_ptr<Inside> inside;
};

/// The message of some bytes, when it is one of a channel.
std::optional<host::MidiMessage> ChannelMessage(const std::uint8_t* bytes, std::size_t count);

} // namespace orphia::plugin
