// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/UnitModule.h"
#include "rigs/ModuleRig.h"
#include "support/NonBlocking.h"

#include <array>
#include <string_view>
#include <utility>

namespace Velmora::Test {

using orphia::test::NameOf;

/// A leaf that writes down what is done to it, and gives input n plus `offset` as output n. Its parameters
/// are "P0", "P1" and so on, linear from 0 to 10.
template <u32 Count, u32 Channels = 1>
class ProbeModule : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = Count;
    static constexpr u32 inputCount = Channels;
    static constexpr std::array<u32, Channels - (Channels < 2 ? Channels : 2)> modulationInputs = {};
    static constexpr std::array<u32, 1> slotSignals = {0};

    explicit ProbeModule(std::string moduleName = {}, std::vector<std::string>* calls = nullptr)
        : UnitModule(std::move(moduleName), Channels, Channels, std::vector<dsp::ModuleParam>(Count)),
          journal(calls) {
        for (u32 i = 0; i < Count; ++i) {
            parameters[i] =
                dsp::Declare::Linear(std::string("P").append(std::to_string(i)), 0.0F, 10.0F).Record();
        }
    }

    void Terminate() override { Note("Terminate"); }
    void OnInitialize(float /*sampleRate*/, u32 maxBlockSize) override {
        Note("OnInitialize " + std::to_string(maxBlockSize));
    }
    void OnReset(bool hard) override { Note(hard ? "OnReset hard" : "OnReset soft"); }
    bool UpdateParameters(dsp::ProcessContext& /*context*/) override {
        Note("UpdateParameters");
        return agrees;
    }
    bool Process(dsp::ProcessContext& context) override {
        Note("Process");
        for (u32 channel = 0; channel < context.numOutputs; ++channel) {
            for (u32 n = 0; n < context.numFrames; ++n) {
                context.outputs[channel][n] = context.inputs[channel][n] + offset;
            }
        }
        return succeeds;
    }

    using ParameterSet::anyParameterChanged;
    using ParameterSet::parameterChanged;
    using ParameterSet::parameters;
    using UnitModule::Changed;
    using UnitModule::Value;

    std::vector<std::string>* journal;
    float offset = 0.0F;
    bool agrees = true;
    bool succeeds = true;

private:
    void Note(std::string_view call) {
        const MayBlock exception;
        if (journal != nullptr) {
            journal->push_back((name + " ").append(call));
        }
    }
};

} // namespace Velmora::Test
