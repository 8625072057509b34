// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/midi/MidiMessage.h"
#include "host/parameters/ParameterCatalog.h"

#include <array>
#include <cstdint>

namespace orphia::host {

class Instrument;

/// What wheels, pedals and pressure do to an instrument. Messages come from sixteen channels, and the
/// instrument has one bend, one wheel, one pressure and one pedal: the last message counts, and the pedal is
/// down while it is down on any channel.
///
/// With MPE on the member channels have a bend, a pressure and a brightness (controller 74) each, and the
/// rest comes from their master, channel 1 or 16. The MPE configuration message turns it on and off and says
/// how many members a zone has; a channel of no zone bends its own notes by the range of the instrument. When
/// the settings have MPE on at the start, channel 1 is the master of all others. A pedal in the settings is
/// channel 1's. The registered parameter 0 sets the range of the bend, on a member channel that of all
/// members.
///
/// Volume and expression (controllers 7 and 11) make a gain, each with the square of its value; that of the
/// loudest channel counts.
class ORPHIA_PUBLIC MidiControls {
public:
    static constexpr unsigned channelCount = 16;

    /// The instrument must outlive this.
    explicit MidiControls(Instrument& instrument);

    /// Messages that end all notes of a channel; releasing these is the instrument's own work.
    static bool EndsNotes(const MidiMessage& message);

    /// Begins anew with the instrument's own settings, volume in full.
    void Restart();
    void LiftPedals();
    /// What no preset knows goes on as in another one: volume and expression, registered numbers, zones when
    /// both have MPE; when asked for, pedals too.
    void Follow(const MidiControls& other, bool withPedals);
    /// The channels whose volume counts, bit n for channel n. Others come to them with their first note.
    void SetPlayedChannels(std::uint32_t channelBits) { played = channelBits; }
    /// True for the first note-on of all.
    bool CountNote(const MidiMessage& message);

    /// Acts on bends, controllers and channel pressure; ignores everything else.
    void Handle(const MidiMessage& message);

    /// Whether the message would move the pedal.
    bool MovesPedal(const MidiMessage& message) const;

    /// 0 to 1.
    float Gain() const;

private:
    static constexpr std::uint8_t noNumber = 127;

    struct Channel {
        std::uint8_t volume = 127;
        std::uint8_t expression = 127;
        /// The registered parameter that data entry means; both 127 for none.
        std::uint8_t numberHigh = noNumber;
        std::uint8_t numberLow = noNumber;
    };

    struct Ids {
        explicit Ids(const ParameterCatalog& catalog);

        std::uint32_t bend, wheel, pressure, pedal, brightness, bendRange;
        std::uint32_t mpeEnabled, mpeRange;
        std::array<std::uint32_t, channelCount> memberBend{}, memberPressure{}, memberBrightness{};
    };

    bool IsMaster(unsigned channel) const { return (masters >> channel & 1U) != 0; }
    bool IsMember(unsigned channel) const { return (members >> channel & 1U) != 0; }
    void SetZones(unsigned lowerMembers, unsigned upperMembers);
    std::uint32_t PedalsAfter(const MidiMessage& message) const;
    void Bend(unsigned channel, float position);
    void Press(unsigned channel, float position);
    void Brighten(unsigned channel, float position);
    void HandleController(unsigned channel, std::uint8_t number, std::uint8_t value);
    void HandleDataEntry(unsigned channel, std::uint8_t value);
    void SetBendRange(unsigned channel, std::uint8_t semitones);
    void ConfigureMpe(unsigned channel, std::uint8_t memberCount);
    void ResetControllers(unsigned channel);

    Instrument& instrument;
    Ids ids;
    std::uint32_t played = 0;
    /// Bit n: channel n leads a zone of MPE; 0 with MPE off.
    std::uint32_t masters = 0;
    /// Bit n: channel n belongs to a zone without leading it.
    std::uint32_t members = 0;
    unsigned lowerCount = 0;
    unsigned upperCount = 0;
    /// Bit n: the pedal of channel n is down.
    std::uint32_t pedals = 0;
    std::array<Channel, channelCount> channels{};
};

} // namespace orphia::host
