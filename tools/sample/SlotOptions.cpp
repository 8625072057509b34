// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/sample/SlotOptions.h"

#include "host/common/Errors.h"
#include "host/instrument/Instrument.h"
#include "host/parameters/ParameterText.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace orphia::tools {

namespace {

using host::Instrument;
using host::ParameterInfo;
using host::ParameterKind;
using host::ParameterSetting;
using host::ParameterUnit;
using host::UsageError;

constexpr std::string_view loopOn = "Modulator_Sample1_LoopOn";
constexpr std::string_view loopStart = "Modulator_Sampler_Sample1_LoopStart";
constexpr std::string_view loopStop = "Modulator_Sampler_Sample1_LoopStop";
constexpr std::string_view trimStart = "Modulator_Sampler_Sample1_TrimStart";
constexpr std::string_view trimStop = "Modulator_Sampler_Sample1_TrimStop";
constexpr std::string_view stretchOn = "Modulator_Sampler_Sample1_TimeStretchOn";
constexpr std::string_view stretchFactor = "Modulator_Sampler_Sample1_TimeStretchFactor";
constexpr std::string_view transposition = "Modulator_Sampler_Slot1_Transpose";
constexpr std::string_view repeatOnce = "Modulator_Sampler_Slot1_RepeatOnce";

/// Reads an option as if it were a parameter of that range.
ParameterSetting Parse(std::string_view option, std::string_view text, ParameterUnit unit, double minimum,
                       double maximum) {
    ParameterInfo info;
    info.name = option;
    info.kind = ParameterKind::Mapped;
    info.unit = unit;
    info.minimum = static_cast<float>(minimum);
    info.maximum = static_cast<float>(maximum);
    return host::ParseSetting(info, text);
}

/// A time, or a part such as "40 %", as a share of the whole.
float ParseShare(std::string_view option, std::string_view text, double wholeSeconds) {
    const ParameterSetting place = Parse(option, text, ParameterUnit::Second, 0.0, wholeSeconds);
    if (!(wholeSeconds > 0.0)) {
        return 0.0F;
    }
    return place.scale == ParameterSetting::Scale::Position
               ? place.number
               : std::min(place.number / static_cast<float>(wholeSeconds), 1.0F);
}

/// "START:STOP", of which either may be missing.
std::array<float, 2> ParseRange(std::string_view option, std::string_view text, double wholeSeconds) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos) {
        throw UsageError(fmt::format("{}: '{}' is not of the form START:STOP", option, host::Excerpt(text)));
    }
    std::array<float, 2> range{0.0F, 1.0F};
    const std::array parts{text.substr(0, colon), text.substr(colon + 1)};
    for (std::size_t end = 0; end < range.size(); ++end) {
        if (!parts[end].empty()) {
            range[end] = ParseShare(option, parts[end], wholeSeconds);
        }
    }
    if (!(range[0] < range[1])) {
        throw UsageError(
            fmt::format("{}: '{}' is empty; START lies before STOP", option, host::Excerpt(text)));
    }
    return range;
}

double ValueOf(const Instrument& instrument, std::string_view name) {
    return static_cast<double>(instrument.Value(name));
}

} // namespace

/// The parameters of sample 1 of an instrument.
class SlotOptions::Slot {
public:
    explicit Slot(Instrument& target) : instrument(target) {}

    double Get(std::string_view name) const { return ValueOf(instrument, name); }
    void Set(std::string_view name, float value) {
        instrument.Set({instrument.Catalog().Find(name).id, ParameterSetting::Scale::Value, value});
    }
    void SetRange(std::string_view start, std::string_view stop, const std::array<float, 2>& range) {
        Set(start, range[0]);
        Set(stop, range[1]);
    }
    /// Reads an option as the parameter itself is read.
    void SetParsed(std::string_view name, std::string_view option, std::string_view text) {
        ParameterInfo info = instrument.Catalog().Find(name);
        info.name = option;
        instrument.Set(host::ParseSetting(info, text));
    }

private:
    Instrument& instrument;
};

SlotOptions::SlotOptions(CLI::App& command) {
    command.add_flag("--loop{forward}", loop, "repeat while the key is down; --loop=back: back and forth");
    command.add_option("--loop-range", loopRange, "the loop; in seconds, ms or %, of the file; also \"1:\"")
        ->type_name("START:STOP");
    command
        .add_option(
            "--crossfade", crossfade,
            "at the loop's ends, as long as the sound before the loop (behind it when played backwards) "
            "at most; in seconds, ms or % of the loop")
        ->type_name("LENGTH");
    command.add_option("--trim", trim, "play only this; as --loop-range")->type_name("START:STOP");
    command.add_option("--stretch", stretch, "times as long at the same pitch, 0.25 to 8")
        ->type_name("FACTOR");
    command.add_option("--transpose", transpose, "-36 to 36; higher is also shorter")->type_name("SEMITONES");
    command.add_option("--gain", gain, "-36 to 24")->type_name("DB");
    command.add_option("--pan", pan, "from -1, left, to 1, right")->type_name("PLACE");
    command.add_flag("--reverse", reverses, "play from the end");
    command.add_flag("--repeat", repeats, "play twice");
}

void SlotOptions::Apply(Instrument& instrument, double fileSeconds) const {
    Slot slot(instrument);
    ApplyRanges(slot, fileSeconds);
    ApplyLoop(slot, fileSeconds);
    ApplyPitch(slot);
    ApplyLevel(slot);
}

void SlotOptions::ApplyRanges(Slot& slot, double fileSeconds) const {
    if (!trim.empty()) {
        slot.SetRange(trimStart, trimStop, ParseRange("--trim", trim, fileSeconds));
    }
    if (reverses) {
        slot.Set("Modulator_Sampler_Slot1_Reverse", 1.0F);
    }
    if (repeats) {
        slot.Set(repeatOnce, 1.0F);
    }
}

void SlotOptions::ApplyLoop(Slot& slot, double fileSeconds) const {
    if (!loop.empty()) {
        if (loop != "forward" && loop != "back") {
            throw UsageError(fmt::format("--loop: '{}' is neither forward nor back", host::Excerpt(loop)));
        }
        slot.Set(loopOn, 1.0F);
        slot.Set("Modulator_Sampler_Slot1_LoopType", loop == "back" ? 1.0F : 0.0F);
    }
    if (!loopRange.empty()) {
        slot.SetRange(loopStart, loopStop, ParseRange("--loop-range", loopRange, fileSeconds));
    }
    if (!crossfade.empty()) {
        const double loopSeconds = std::max(slot.Get(loopStop) - slot.Get(loopStart), 0.0) * fileSeconds;
        slot.Set("Modulator_Sampler_Sample1_CrossFade", ParseShare("--crossfade", crossfade, loopSeconds));
    }
}

void SlotOptions::ApplyPitch(Slot& slot) const {
    if (!stretch.empty()) {
        const ParameterSetting factor = Parse("--stretch", stretch, ParameterUnit::None, 0.25, 8.0);
        if (factor.scale == ParameterSetting::Scale::Position) {
            throw UsageError(
                fmt::format("--stretch: '{}' is not a factor from 0.25 to 8", host::Excerpt(stretch)));
        }
        slot.Set(stretchOn, 1.0F);
        slot.Set(stretchFactor, 1.0F / factor.number);
    }
    if (!transpose.empty()) {
        slot.SetParsed(transposition, "--transpose", transpose);
    }
}

void SlotOptions::ApplyLevel(Slot& slot) const {
    if (!gain.empty()) {
        slot.SetParsed("Modulator_Sampler_Sample1_Gain", "--gain", gain);
    }
    if (!pan.empty()) {
        const ParameterSetting place = Parse("--pan", pan, ParameterUnit::None, -1.0, 1.0);
        const bool isPosition = place.scale == ParameterSetting::Scale::Position;
        slot.Set("Modulator_Sampler_Slot1_Pan", isPosition ? place.number : (place.number + 1.0F) * 0.5F);
    }
}

double SlotOptions::PlayedSeconds(const Instrument& instrument, double fileSeconds) {
    const auto value = [&](std::string_view name) { return ValueOf(instrument, name); };
    const double speed =
        std::exp2(value(transposition) / 12.0) * (value(stretchOn) > 0.5 ? value(stretchFactor) : 1.0);
    const double times = value(repeatOnce) > 0.5 ? 2.0 : 1.0;
    return fileSeconds * std::max(value(trimStop) - value(trimStart), 0.0) / speed * times;
}

bool SlotOptions::IsLooped(const Instrument& instrument) { return ValueOf(instrument, loopOn) > 0.5; }

} // namespace orphia::tools
