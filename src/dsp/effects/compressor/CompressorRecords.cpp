// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/compressor/CompressorRecords.h"

namespace Velmora::dsp {

namespace {

constexpr i32 linear = 1;
constexpr i32 exponential = 4;

} // namespace

std::vector<ModuleParam> CompressorRecords() {
    std::vector<ModuleParam> records;
    const auto add = [&records](const char* parameterName, i32 mapping, float minimum, float maximum,
                                float shape = 0.0F) -> ModuleParam& {
        return records.emplace_back(ModuleParam::Mapped(parameterName, mapping, minimum, maximum, shape));
    };
    const auto addSwitch = [&records](const char* parameterName) {
        records.push_back(ModuleParam::Stepped(parameterName, 2, 0.0F, 1.0F));
    };
    add("Wet", linear, 0.0F, 1.0F);
    add("InGainCompensated", linear, -36.0F, 36.0F).SetValue(0.0F);
    add("InputGain", linear, -18.0F, 18.0F).SetValue(0.0F);
    add("OutputGain", linear, -36.0F, 36.0F);
    add("Attack", exponential, 0.01F, 1000.0F, 10.0F);
    add("Release", exponential, 1.0F, 2000.0F, 3.0F);
    add("Threshold", linear, -80.0F, 0.0F);
    add("Ratio", exponential, 1.0F, 100.0F, 9.0F);
    addSwitch("RatioInfinite");
    add("KneeWidth", linear, 0.0F, 20.0F);
    addSwitch("Makeup");
    addSwitch("StereoMode");
    add("OutGainReduction", linear, 0.0F, 1.0F);
    addSwitch("LevelMeasureSmoothAR");
    add("LevelMeasureAtMs", linear, 0.01F, 1000.0F).SetValue(0.1F);
    add("LevelMeasureReMs", linear, 0.01F, 1000.0F).SetValue(0.1F);
    addSwitch("LookaheadEnable");
    add("LookaheadTimeMs", exponential, 0.01F, 10.0F, 3.0F);
    addSwitch("ConfStereo");
    addSwitch("SideChain");
    addSwitch("GRLimitEnable");
    add("GRLimit", linear, -140.0F, 0.0F);
    return records;
}

} // namespace Velmora::dsp
