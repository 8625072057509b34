// SPDX-License-Identifier: GPL-3.0-or-later
// Which controls of the sources stand beside the matrix of modulation.
#include "plugin/panel/model/layout/Layout.h"

#include <array>

namespace orphia::panel::ModulationLayout {

namespace {

using Height = Row::Height;
using enum ControlKind;

constexpr auto lfoShape = std::to_array<Cell>({
    {"LFO_Waveform", "Wave", Choice},
    {"LFO_InternalRateSyncedType", "Rate as", Choice},
    {"LFO_RateUnSynced", "Rate"},
    {"LFO_RateSynced", "Length", Choice},
    {"LFO_Amp", "Height"},
});
constexpr auto lfoForm = std::to_array<Cell>({
    {"LFO_PhaseInit", "Phase"},
    {"LFO_Swing", "Swing"},
    {"LFO_Smooth", "Smooth"},
    {"LFO_Fade", "Fade in"},
    {"LFO_Unipolar", "Unipolar", Switch},
});
constexpr auto lfoSwitches = std::to_array<Cell>({
    {"LFO_Retrig", "Restart by notes", Switch},
    {"LFO_InternalCycleMode", "Runs on", Switch},
});
constexpr auto lfoRows = std::to_array<Row>({
    {Height::Knobs, lfoShape},
    {Height::Knobs, lfoForm},
    {Height::Line, lfoSwitches},
});
constexpr Section lfo{"LFO", {824, 0, 332, 208}, lfoRows, "LFO_Enable"};

constexpr auto followed = std::to_array<Cell>({
    {"EnvFollower_Input Gain", "Gain"},
    {"EnvFollower_Attack", "Attack"},
    {"EnvFollower_Release", "Release"},
    {"EnvFollower_RMSWindowDurationMs", "Window"},
    {"EnvFollower_Threshold", "Threshold"},
});
constexpr auto followerSwitches = std::to_array<Cell>({
    {"EnvFollower_ThresholdActive", "Threshold in force", Switch},
});
constexpr auto followerRows =
    std::to_array<Row>({{Height::Knobs, followed}, {Height::Line, followerSwitches}});
constexpr Section follower{"Voice level", {824, 216, 332, 138}, followerRows, "EnvFollower_Enable"};

constexpr auto played = std::to_array<Cell>({
    {"PitchBendRange", "Bend range", Knob},
    {"MPE_PitchRange", "MPE bend"},
    {"Modulator_PitchTracker_ConfidenceThreshold", "Sureness"},
    {"Carrier_PitchTrackHoldNoteDuration", "Track hold"},
    {"MTS_Retuning_Mode", "Retune", Switch},
});
constexpr auto playedSwitches = std::to_array<Cell>({
    {"Controls_Enable", "Keys and wheels modulate", Switch},
});
constexpr auto playedRows = std::to_array<Row>({{Height::Knobs, played}, {Height::Line, playedSwitches}});
constexpr Section controllers{"Playing", {824, 362, 332, 158}, playedRows};

} // namespace

const Section& Lfo() { return lfo; }
const Section& Follower() { return follower; }
const Section& Controllers() { return controllers; }

} // namespace orphia::panel::ModulationLayout
