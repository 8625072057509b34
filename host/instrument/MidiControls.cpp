// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/instrument/MidiControls.h"

#include "host/instrument/Instrument.h"
#include "host/midi/HeldNotes.h"

#include <fmt/format.h>

#include <algorithm>

namespace orphia::host {

namespace {

constexpr unsigned controllerKind = 0xB0;
constexpr unsigned pressureKind = 0xD0;
constexpr unsigned bendKind = 0xE0;

enum Controller : std::uint8_t {
    Wheel = 1,
    DataEntry = 6,
    Volume = 7,
    Expression = 11,
    Pedal = 64,
    Brightness = 74,
    OtherNumberLow = 98,
    OtherNumberHigh = 99,
    NumberLow = 100,
    NumberHigh = 101,
    AllSoundOff = 120,
    ResetAll = 121,
    /// 123 to 127: all notes off, and the choices of mode that mean it too.
    AllNotesOff = 123
};

constexpr std::uint8_t bendRangeNumber = 0;
constexpr std::uint8_t mpeNumber = 6;
constexpr unsigned lowerMaster = 0;
constexpr unsigned upperMaster = 15;
constexpr unsigned mostMembers = 15;

float Position(std::uint8_t value) { return static_cast<float>(value) / 127.0F; }

/// The middle is 8192, so one side has a step less.
float BendPosition(const MidiMessage& message) {
    const int steps = (message.data2 << 7 | message.data1) - 8192;
    return static_cast<float>(steps) / (steps > 0 ? 8191.0F : 8192.0F);
}

} // namespace

MidiControls::Ids::Ids(const ParameterCatalog& catalog)
    : bend(catalog.Find("VST3_PitchBend").id), wheel(catalog.Find("VST3_CtrlModWheel").id),
      pressure(catalog.Find("VST3_AfterTouch").id), pedal(catalog.Find("VST3_CtrlSustainOnOff").id),
      brightness(catalog.Find("MPE_GlobalBrightness").id), bendRange(catalog.Find("PitchBendRange").id),
      mpeEnabled(catalog.Find("MPE_Enabled").id), mpeRange(catalog.Find("MPE_PitchRange").id) {
    for (unsigned channel = 0; channel < channelCount; ++channel) {
        memberBend[channel] = catalog.Find(fmt::format("MPE_PitchBend_{}", channel)).id;
        memberPressure[channel] = catalog.Find(fmt::format("MPE_Aftertouch_{}", channel)).id;
        memberBrightness[channel] = catalog.Find(fmt::format("MPE_Brightness_{}", channel)).id;
    }
}

MidiControls::MidiControls(Instrument& target) : instrument(target), ids(target.Catalog()) { Restart(); }

void MidiControls::Restart() {
    played = 0;
    SetZones(instrument.Value(ids.mpeEnabled) > 0.5F ? mostMembers : 0U, 0U);
    pedals = instrument.Value(ids.pedal) > 0.5F ? 1U << lowerMaster : 0U;
    channels = {};
}

void MidiControls::SetZones(unsigned lowerMembers, unsigned upperMembers) {
    lowerCount = lowerMembers;
    upperCount = upperMembers;
    masters = (lowerCount > 0 ? 1U << lowerMaster : 0U) | (upperCount > 0 ? 1U << upperMaster : 0U);
    members = ((1U << lowerCount) - 1U) << 1U;
    members |= ((1U << upperCount) - 1U) << (upperMaster - upperCount);
}

void MidiControls::LiftPedals() {
    pedals = 0;
    instrument.Control(ids.pedal, 0.0F);
}

void MidiControls::Follow(const MidiControls& other, bool withPedals) {
    channels = other.channels;
    played = other.played;
    if (masters != 0 && other.masters != 0) {
        SetZones(other.lowerCount, other.upperCount);
    }
    if (withPedals) {
        pedals = other.pedals;
        instrument.Control(ids.pedal, pedals != 0 ? 1.0F : 0.0F);
    }
}

bool MidiControls::EndsNotes(const MidiMessage& message) {
    return message.Kind() == controllerKind && (message.data1 == AllSoundOff || message.data1 >= AllNotesOff);
}

bool MidiControls::CountNote(const MidiMessage& message) {
    const bool isFirst = played == 0 && HeldNotes::IsNoteOn(message);
    played |= HeldNotes::IsNoteOn(message) ? 1U << message.Channel() : 0U;
    return isFirst;
}

void MidiControls::Handle(const MidiMessage& message) {
    const unsigned channel = message.Channel();
    switch (message.Kind()) {
    case bendKind:
        Bend(channel, BendPosition(message));
        break;
    case pressureKind:
        Press(channel, Position(message.data1));
        break;
    case controllerKind:
        HandleController(channel, message.data1, message.data2);
        break;
    default:
        break;
    }
}

void MidiControls::Bend(unsigned channel, float position) {
    if (masters == 0 || IsMaster(channel)) {
        instrument.Control(ids.bend, position);
        return;
    }
    const float share =
        IsMember(channel) ? 1.0F : instrument.Value(ids.bendRange) / instrument.Value(ids.mpeRange);
    instrument.Control(ids.memberBend[channel], position * share);
}

void MidiControls::Press(unsigned channel, float position) {
    const bool isOfAll = masters == 0 || IsMaster(channel);
    instrument.Control(isOfAll ? ids.pressure : ids.memberPressure[channel], position);
}

void MidiControls::Brighten(unsigned channel, float position) {
    const bool isOfAll = masters == 0 || IsMaster(channel);
    instrument.Control(isOfAll ? ids.brightness : ids.memberBrightness[channel], position);
}

void MidiControls::HandleController(unsigned channel, std::uint8_t number, std::uint8_t value) {
    Channel& state = channels[channel];
    const std::uint32_t before = pedals;
    pedals = PedalsAfter({static_cast<std::uint8_t>(controllerKind | channel), number, value});
    if ((before != 0) != (pedals != 0)) {
        instrument.Control(ids.pedal, pedals != 0 ? 1.0F : 0.0F);
    }
    switch (number) {
    case Wheel:
        if (!IsMember(channel)) {
            instrument.Control(ids.wheel, Position(value));
        }
        break;
    case DataEntry:
        HandleDataEntry(channel, value);
        break;
    case Volume:
        state.volume = value;
        break;
    case Expression:
        state.expression = value;
        break;
    case Brightness:
        Brighten(channel, Position(value));
        break;
    case OtherNumberLow:
    case OtherNumberHigh:
        state.numberLow = state.numberHigh = noNumber;
        break;
    case NumberLow:
        state.numberLow = value;
        break;
    case NumberHigh:
        state.numberHigh = value;
        break;
    case ResetAll:
        ResetControllers(channel);
        break;
    default:
        break;
    }
}

/// The channels whose pedal is down behind a message.
std::uint32_t MidiControls::PedalsAfter(const MidiMessage& message) const {
    const std::uint32_t bit = 1U << message.Channel();
    if (message.Kind() != controllerKind) {
        return pedals;
    }
    if (message.data1 == Pedal && message.data2 >= 64) {
        return IsMember(message.Channel()) ? pedals : pedals | bit;
    }
    const bool lifts = message.data1 == Pedal || message.data1 == AllSoundOff || message.data1 == ResetAll;
    return lifts ? pedals & ~bit : pedals;
}

bool MidiControls::MovesPedal(const MidiMessage& message) const {
    return (PedalsAfter(message) != 0) != (pedals != 0);
}

void MidiControls::HandleDataEntry(unsigned channel, std::uint8_t value) {
    const Channel& state = channels[channel];
    if (state.numberHigh != 0) {
        return;
    }
    if (state.numberLow == bendRangeNumber) {
        SetBendRange(channel, value);
    } else if (state.numberLow == mpeNumber) {
        ConfigureMpe(channel, value);
    }
}

void MidiControls::SetBendRange(unsigned channel, std::uint8_t semitones) {
    if (IsMember(channel)) {
        instrument.Control(ids.mpeRange, std::clamp(static_cast<float>(semitones), 2.0F, 96.0F));
    } else {
        instrument.Control(ids.bendRange, std::clamp(static_cast<float>(semitones), 1.0F, 24.0F));
    }
}

void MidiControls::ConfigureMpe(unsigned channel, std::uint8_t memberCount) {
    constexpr float usualRange = 48.0F;
    if (channel != lowerMaster && channel != upperMaster) {
        return;
    }
    // The zone that is told last takes from the other one what both would have.
    const unsigned count = std::min<unsigned>(memberCount, mostMembers);
    const unsigned room = count >= mostMembers ? 0 : mostMembers - 1 - count;
    if (channel == lowerMaster) {
        SetZones(count, count > 0 ? std::min(upperCount, room) : upperCount);
    } else {
        SetZones(count > 0 ? std::min(lowerCount, room) : lowerCount, count);
    }
    instrument.Control(ids.mpeEnabled, masters != 0 ? 1.0F : 0.0F);
    if (memberCount > 0) {
        instrument.Control(ids.mpeRange, usualRange);
    }
}

void MidiControls::ResetControllers(unsigned channel) {
    channels[channel].expression = 127;
    channels[channel].numberLow = channels[channel].numberHigh = noNumber;
    Bend(channel, 0.0F);
    Press(channel, 0.0F);
    if (!IsMember(channel)) {
        instrument.Control(ids.wheel, 0.0F);
    }
}

float MidiControls::Gain() const {
    const std::uint32_t counting = masters != 0 ? masters | (played & ~members) : played;
    float loudest = counting == 0 ? 1.0F : 0.0F;
    for (unsigned channel = 0; channel < channelCount; ++channel) {
        if ((counting >> channel & 1U) != 0) {
            const float level = Position(channels[channel].volume) * Position(channels[channel].expression);
            loudest = std::max(loudest, level * level);
        }
    }
    return loudest;
}

} // namespace orphia::host
