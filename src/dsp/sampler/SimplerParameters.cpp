// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/SimplerParameters.h"

#include <string>
#include <utility>

namespace Velmora::dsp {

namespace {

constexpr float middleC = 261.62558F;

ModuleParam Linear(std::string name, float minimum, float maximum, float start) {
    ModuleParam param = ModuleParam::Mapped(std::move(name), 1, minimum, maximum, 0.0F);
    param.SetValue(start);
    return param;
}

ModuleParam Discrete(std::string name, u32 count, float minimum, float start) {
    ModuleParam param = ModuleParam::Stepped(std::move(name), count, minimum, 1.0F);
    param.SetValue(start);
    return param;
}

ModuleParam Plain(std::string name, float start) {
    ModuleParam param(std::move(name));
    param.SetNormalized(start);
    return param;
}

/// The start value of one slot parameter, copied for each slot.
struct SlotRecords {
    std::vector<ModuleParam>& records;
    u32 slotCount;

    void Add(const ModuleParam& prototype) {
        for (u32 slot = 1; slot <= slotCount; ++slot) {
            records.push_back(prototype);
            records.back().name = "Slot" + std::to_string(slot) + "_" + prototype.name;
        }
    }
};

} // namespace

std::vector<ModuleParam> SimplerRecords(u32 slotCount) {
    std::vector<ModuleParam> records;
    records.push_back(Plain("Start", 0.0F));
    records.push_back(Linear("Freq", 0.01F, 20000.0F, middleC));
    records.push_back(Discrete("Coarse", 25, -12.0F, 0.0F));
    records.push_back(Linear("Fine", -1.0F, 1.0F, 0.0F));

    SlotRecords slots{records, slotCount};
    slots.Add(Linear("Transpose", -36.0F, 36.0F, 0.0F));
    slots.Add(Linear("Fine", -1.0F, 1.0F, 0.0F));
    slots.Add(Linear("RootNote", 0.01F, 20000.0F, middleC));
    slots.Add(Plain("TrimStart", 0.0F));
    slots.Add(Plain("TrimStop", 1.0F));
    slots.Add(Plain("LoopStart", 0.0F));
    slots.Add(Plain("LoopStop", 1.0F));
    slots.Add(Plain("LoopOn", 0.0F));
    slots.Add(Discrete("LoopType", 2, 0.0F, 0.0F));
    slots.Add(Plain("Reverse", 0.0F));
    slots.Add(Discrete("RepeatOnce", 2, 0.0F, 0.0F));
    slots.Add(Linear("Gain", -20.0F, 20.0F, 0.0F));
    slots.Add(Plain("Pan", 0.5F));
    slots.Add(Plain("CrossFade", 0.0F));
    slots.Add(Discrete("TimeStretchOn", 2, 0.0F, 0.0F));
    slots.Add(Linear("TimeStretchFactor", 0.125F, 8.0F, 1.0F));
    slots.Add(Discrete("TimeStretchBars", 9, 0.0F, 1.0F));
    slots.Add(Discrete("TimeStretchSync", 2, 0.0F, 0.0F));

    records.push_back(Discrete("SelectedSlot", slotCount, 0.0F, 0.0F));
    records.push_back(Plain("Stereo", 1.0F));
    records.push_back(Plain("IsStereo", 0.0F));
    records.push_back(Linear("MainVolume", -12.0F, 12.0F, 0.0F));
    records.push_back(Plain("KeyTrack", 0.0F));
    records.push_back(Discrete("PhaseRetrigMode", 2, 0.0F, 0.0F));
    // Reset when the sample that plays is replaced: for the engine alone, hence without a name.
    records.push_back(Plain("", 0.0F));
    records.push_back(Linear("Filter", -1.0F, 1.0F, 0.0F));
    return records;
}

} // namespace Velmora::dsp
