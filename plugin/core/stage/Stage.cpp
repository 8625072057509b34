// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/stage/Stage.h"

#include <algorithm>
#include <cmath>

namespace orphia::plugin {

namespace {

using Scale = host::ParameterSetting::Scale;

constexpr double changeSeconds = 0.02;
constexpr unsigned controllerKind = 0xB0;
constexpr unsigned programKind = 0xC0;
constexpr std::uint8_t bankHigh = 0;
constexpr std::uint8_t bankLow = 32;
/// As long as there is no instrument.
constexpr std::uint32_t anyBlock = 44;
constexpr std::uint32_t readingsPerSecond = 100;

} // namespace

Stage::Stage(ParameterExchange& between)
    : exchange(between), assigned(new Macros), placeInListed(PluginParameters::Get().EngineCount()) {
    for (const PluginParameter& parameter : PluginParameters::Get().All()) {
        if (parameter.id < placeInListed.size()) {
            listed.push_back(parameter.id);
            placeInListed[parameter.id] = static_cast<std::uint32_t>(listed.size());
        }
    }
    seen.resize(listed.size());
    wishedIn.resize(placeInListed.size());
    for (const host::ParameterInfo& info : host::ParameterCatalog::OfInstrument().Parameters()) {
        const bool isRead = info.role == host::ParameterRole::Output ||
                            info.role == host::ParameterRole::Controller ||
                            info.name == "Modulator_CurrentSlot";
        if (isRead) {
            readable.push_back(info.id);
        }
    }
}

Stage::~Stage() {
    delete current;
    delete leaving;
    delete assigned;
}

void Stage::Place(std::unique_ptr<Seat> seat) {
    // An older one that no block has taken must not come behind this one.
    seats.Withdraw();
    delete current;
    delete leaving;
    leaving = nullptr;
    current = seat.release();
    snapshot = current->instrument.TakeSnapshot();
    hasSounded = false;
    for (std::uint32_t place = 0; place < listed.size(); ++place) {
        See(place);
    }
}

void Stage::Restart() {
    EndFade();
    if (current != nullptr) {
        current->instrument.Reset();
    }
    LookAtListed();
    hasSounded = holdsBack = false;
    callStart = blockStart = 0;
    callFrames = 0;
}

void Stage::Begin(const host::Transport* transport, std::uint32_t frames) {
    callStart += callFrames;
    callFrames = frames;
    hasTransport = transport != nullptr;
    given = hasTransport ? *transport : given;
    if (callStart == blockStart) {
        latched = given;
    }
    current->instrument.SetOffline(isOffline.load(std::memory_order_relaxed));
    Adopt();
    TakeWishes();
}

host::Transport Stage::TransportAt(std::int64_t frames) const {
    host::Transport then = given;
    if (then.isPlaying) {
        then.beat += static_cast<double>(frames) / current->instrument.SampleRate() * then.tempo / 60.0;
    }
    return then;
}

void Stage::Adopt() {
    if (leaving != nullptr) {
        return;
    }
    Seat* const next = seats.Take();
    if (next == nullptr) {
        return;
    }
    next->instrument.SetTransport(current->instrument.CurrentTransport());
    next->instrument.SetOffline(isOffline.load(std::memory_order_relaxed));
    host::MidiControls& controls = next->instrument.Controls();
    controls.Follow(current->instrument.Controls(), next->goesOn);
    sinceOrder.Take(next->generation, [&controls](const host::MidiMessage& each) { controls.Handle(each); });
    leaving = std::exchange(current, next);
    watch.ForgetKeys();
    fadeFrames = std::max(1U, static_cast<std::uint32_t>(changeSeconds * current->instrument.SampleRate()));
    fadeDone = 0;
    LookAtListed();
    for (std::uint32_t place = 0; place < listed.size(); ++place) {
        See(place);
    }
    if (!hasSounded) {
        EndFade();
    }
    // What was wished for it is older than what comes now.
    TakeWishes();
}

void Stage::Settle() {
    if (seats.IsOffered()) {
        EndFade();
        Adopt();
    }
    TakeWishes();
}

void Stage::EndFade() {
    if (leaving != nullptr) {
        seats.Retire(std::exchange(leaving, nullptr));
    }
}

void Stage::TakeWishes() {
    if (macros.IsOffered()) {
        if (Macros* const next = macros.Take()) {
            macros.Retire(std::exchange(assigned, next));
        }
    }
    if (current == nullptr) {
        return;
    }
    ++moment;
    exchange.TakeWishes(current->generation, [this](std::uint32_t index, float position) {
        // Who built the instrument may have shown what it was built with.
        exchange.Show(index, position);
        if (index < placeInListed.size()) {
            wishedIn[index] = moment;
            SetEngine(index, position);
        } else if (index < exchange.Count() - 1) {
            MoveMacro(index - static_cast<std::uint32_t>(placeInListed.size()), position, moment);
        }
    });
    if (!holdsBack && endsNotes.load(std::memory_order_relaxed) && endsNotes.exchange(false)) {
        current->instrument.AllNotesOff();
        watch.ForgetKeys();
    }
}

void Stage::ServeSnapshot() {
    if (snapshotState.load(std::memory_order_acquire) == Asked && !seats.IsOffered()) {
        TakeWishes();
        current->instrument.TakeSnapshot(snapshot);
        snapshotState.store(Served, std::memory_order_release);
    }
}

std::uint32_t Stage::FramesPerBlock() const {
    return current != nullptr ? current->instrument.FramesPerBlock() : anyBlock;
}

std::uint32_t Stage::LatencyFrames() const {
    return current != nullptr ? current->instrument.LatencyFrames() : 0;
}

bool Stage::SelectBank(const host::MidiMessage& message) {
    if (message.Kind() == programKind) {
        wantedProgram.store((bank[0] << 7U | bank[1]) << 7U | (message.data1 & 0x7F),
                            std::memory_order_release);
        return true;
    }
    if (message.Kind() == controllerKind && (message.data1 == bankHigh || message.data1 == bankLow)) {
        bank[message.data1 == bankHigh ? 0 : 1] = message.data2 & 0x7FU;
        return true;
    }
    return false;
}

bool Stage::Send(const host::MidiMessage& message) {
    Adopt();
    holdsBack = seats.IsOffered() || LoadsNow();
    if (holdsBack) {
        return false;
    }
    if (SelectBank(message)) {
        return true;
    }
    if (const auto setting = learn.Hear(message)) {
        Set(*setting);
        exchange.Tell(exchange.IndexOf(setting->id));
        return true;
    }
    if (message.Kind() == controllerKind) {
        LookAtListed();
    }
    const bool isTaken = current->instrument.Send(message);
    if (isTaken) {
        if (IsNextOrdered()) {
            sinceOrder.Note(message, exchange.Newest());
        }
        host::MidiControls::EndsNotes(message) ? watch.ForgetKeys() : watch.See(message);
    }
    return isTaken;
}

void Stage::Set(const host::ParameterSetting& setting) {
    const std::uint32_t index = exchange.IndexOf(setting.id);
    if (!std::isfinite(setting.number) || index == exchange.Count()) {
        return;
    }
    const float position = PluginParameters::Get().PositionOf(setting);
    exchange.Show(index, position);
    if (IsNextOrdered()) {
        exchange.Want(index, position);
    }
    if (setting.id < placeInListed.size()) {
        SetEngine(setting.id, position);
    } else if (setting.id != PluginParameters::bypass) {
        MoveMacro(setting.id - PluginParameters::firstMacro, position, ++moment);
    }
}

void Stage::SetEngine(std::uint32_t id, float position) {
    LookAtListed();
    current->instrument.Set({id, Scale::Position, position});
    if (const std::uint32_t place = placeInListed[id]; place > 0) {
        See(place - 1);
    }
}

void Stage::MoveMacro(std::uint32_t macro, float position, std::uint32_t now) {
    for (const MacroTarget& target : (*assigned)[macro].targets) {
        if (wishedIn[target.id] == now) {
            continue;
        }
        const float there = target.At(position);
        SetEngine(target.id, there);
        exchange.Show(target.id, there);
        exchange.Tell(target.id);
    }
}

void Stage::ProcessBlock(const float* const* voice, std::uint32_t channels, float* const* output) {
    if (LoadsNow()) {
        loadProgramNow();
    }
    Adopt();
    TakeWishes();
    host::Instrument& instrument = current->instrument;
    if (hasTransport) {
        instrument.SetTransport(latched);
    }
    instrument.ProcessBlock(voice, channels, output);
    if (leaving != nullptr) {
        FadeOver(voice, channels, output);
    }
    hasSounded = true;
    blockStart += instrument.FramesPerBlock();
    if (blockStart < callStart + callFrames) {
        latched = TransportAt(static_cast<std::int64_t>(blockStart - callStart));
    }
    WatchListed();
    ServeSnapshot();
    framesUnread += instrument.FramesPerBlock();
    if (framesUnread >= instrument.SampleRate() / readingsPerSecond) {
        framesUnread = 0;
        PublishMeters();
        PublishReadings();
    }
}

void Stage::FadeOver(const float* const* voice, std::uint32_t channels, float* const* output) {
    const std::array<float*, 2> old{rest[0].data(), rest[1].data()};
    leaving->instrument.ProcessBlock(voice, channels, old.data());
    const std::uint32_t frames = current->instrument.FramesPerBlock();
    for (std::uint32_t n = 0; n < frames; ++n) {
        fadeDone = std::min(fadeDone + 1, fadeFrames);
        const float share = static_cast<float>(fadeFrames - fadeDone) / static_cast<float>(fadeFrames);
        for (std::size_t side = 0; side < rest.size(); ++side) {
            output[side][n] += share * (rest[side][n] - output[side][n]);
        }
    }
    if (fadeDone == fadeFrames) {
        EndFade();
    }
}

} // namespace orphia::plugin
