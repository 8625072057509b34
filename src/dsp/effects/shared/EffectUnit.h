// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/SongPull.h"
#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/math/SyncRates.h"
#include "dsp/modulation/ModulationChannels.h"

#include <array>
#include <cmath>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// The ids of the parameters behind the rate of an oscillator that can follow the tempo.
struct CycleParameters {
    u32 rate;
    u32 tempoSync;
    u32 syncRate;
};

/// The frame of an effect whose controls glide. Once a block it reads its settings if a parameter, a
/// modulation or the tempo moved, and sets the targets of its controls if a setting did; after a reset these
/// are reached at once. What is left to an effect is what it declares, ReadSettings and Process.
///
/// Settings are compared with ==. Controls have SetTargets(settings) and JumpToTargets().
///
/// An effect also tells a slot, as public constants: `inputCount`; `modulationInputs`, the parameters that
/// its inputs from 2 on move; `slotSignals`, those of them that the first and the second signal of a slot
/// move.
template <class Settings, class Controls>
class EffectUnit : public UnitModule {
public:
    bool UpdateParameters(ProcessContext& context) final {
        const bool modulated = modulations.Changes(context, 2, numInputs) != 0;
        // A tempo that is not a number differs from itself, which costs a little time and no more.
        if (needsUpdate || anyParameterChanged || modulated || context.tempo != lastTempo) {
            lastTempo = context.tempo;
            const Settings now = ReadSettings(context);
            if (needsUpdate || now != settings) {
                settings = now;
                controls.SetTargets(settings);
            }
        }
        FollowSong(context);
        if (needsUpdate) {
            controls.JumpToTargets();
            StartMotion();
        }
        return true;
    }

protected:
    template <std::size_t count>
    EffectUnit(std::string moduleName, const std::array<u32, count>& modulationInputs, u32 outputCount,
               std::initializer_list<ParameterDeclaration> declarations)
        : UnitModule(std::move(moduleName), 2 + static_cast<u32>(count), outputCount,
                     RecordsOf(declarations)),
          inputOf(declarations.size(), 0) {
        static_assert(count <= ModulationWatch::mostInputs);
        for (u32 input = 0; input < count; ++input) {
            inputOf[modulationInputs[input]] = 2 + input;
        }
    }

    /// All settings as knobs and modulations stand now.
    virtual Settings ReadSettings(const ProcessContext& context) = 0;
    /// Once a block, when the settings are known.
    virtual void FollowSong(const ProcessContext& /*context*/) {}
    /// After a reset, when the controls have their values.
    virtual void StartMotion() {}

    /// Within the declared range, and moved by the input that modulates it, if one does.
    float HeldValue(u32 id, const ProcessContext& context) {
        const u32 input = inputOf[id];
        return input == 0 ? UnitModule::HeldValue(id) : UnitModule::HeldValue(id, context, input);
    }
    /// Of a parameter of steps that are whole numbers from 0 up.
    u32 HeldStep(u32 id) { return static_cast<u32>(std::lround(UnitModule::HeldValue(id))); }
    bool IsOn(u32 id) { return Value(id) > 0.5F; }
    /// In Hz, 0 to fastestHz: as the tempo has it where there is one to follow, else as the knob has it.
    float CycleHz(const CycleParameters& ids, float fastestHz, const ProcessContext& context) {
        const float free = HeldValue(ids.rate, context);
        const auto step = static_cast<float>(HeldStep(ids.syncRate));
        return Within(IsOn(ids.tempoSync) ? SyncRates::CycleHz(step, context.tempo, free) : free, 0.0F,
                      fastestHz);
    }
    /// Once a block: lets an oscillator that runs at hz fall into step with the song where it is to.
    void FollowCycle(SongPull& song, const CycleParameters& ids, float hz, const ProcessContext& context) {
        const bool isSynced = context.isPlaying != 0 && IsOn(ids.tempoSync);
        song.FollowSong(context, isSynced, isSynced ? static_cast<float>(HeldStep(ids.syncRate)) : 0.0F, hz);
    }

    Settings settings;
    Controls controls;

private:
    ModulationWatch modulations;
    float lastTempo = 0.0F;
    /// By parameter; 0 for none.
    std::vector<u32> inputOf;
};

} // namespace Velmora::dsp
