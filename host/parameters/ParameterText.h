// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterInfo.h"

#include <string>
#include <string_view>

namespace orphia::host {

/// How values are written and read, in presets and on the command line alike:
///
///   "-10 dB" "5 ms" "0.005 s" "1.2 kHz" "40 Hz"   a value with its unit, in any case
///   "-10" "0.005"                                 the same without: dB, s, Hz; a factor; a step
///   "12 st" "10 ct" "90 deg" "2 beats"            pitches, angles, lengths to the beat
///   "on" "off"                                    the two ends of a switch
///   "saw" "1/8"                                   a step that has a name, in any case
///   "@0.5" "50 %" "0.5 knob"                      the position of the knob, whatever the unit; of what is
///                                                 itself in percent, "50 %" is the value
///
/// Numbers have a decimal point, in every locale. What parameters hold is single precision: a text made
/// here reads back as exactly the same number.

/// Throws UsageError for what cannot be read, for another parameter's unit and outside the range.
ORPHIA_PUBLIC ParameterSetting ParseSetting(const ParameterInfo& info, std::string_view text);

/// Throws UsageError for what only the engine or the host sets.
ORPHIA_PUBLIC void CheckIsSettable(const ParameterInfo& info);

/// Where the knob is with a setting, 0 to 1: what is out of range is its end, what is no number its start.
ORPHIA_PUBLIC float PositionOf(const ParameterCatalog& catalog, const ParameterSetting& setting);

/// The setting that has the knob at exactly that position: the real value in as few digits as will do, or
/// the position itself.
ORPHIA_PUBLIC ParameterSetting SettingAt(const ParameterCatalog& catalog, std::uint32_t id, float position);

/// "NAME=VALUE", with a name as for ParameterCatalog::Find. Throws UsageError; an output is refused.
ORPHIA_PUBLIC ParameterSetting ParseAssignment(const ParameterCatalog& catalog, std::string_view text);

/// A text that ParseSetting turns into the same setting.
ORPHIA_PUBLIC std::string FormatSetting(const ParameterInfo& info, const ParameterSetting& setting);

/// "dB", "Hz", ...; empty for none.
ORPHIA_PUBLIC std::string_view UnitText(ParameterUnit unit);

/// "control", "route", ...
ORPHIA_PUBLIC std::string_view RoleText(ParameterRole role);

/// A real value with its unit.
ORPHIA_PUBLIC std::string FormatValue(const ParameterInfo& info, float value);

/// The name of a step, from 0; empty when it has none.
ORPHIA_PUBLIC std::string_view ChoiceOf(const ParameterInfo& info, unsigned step);

/// What may be given, for instance "-75 dB .. 0 dB".
ORPHIA_PUBLIC std::string FormatRange(const ParameterInfo& info);

} // namespace orphia::host
