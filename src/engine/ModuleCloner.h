// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/Module.h"
#include "dsp/framework/ParameterSet.h"
#include "dsp/framework/RunChild.h"

#include <boost/container/static_vector.hpp>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::engine {

/// N copies of module M behind one module. Parameters are M's own, set on every clone alike and mirrored in
/// records of the cloner, then OwnParameters of its own. The channels of clone i follow those of clone
/// i - 1. With Grouped 1 there is one channel group more: while `runsAllClones` is false only clone 0 runs,
/// on the group of index N, and while it is true the N clones run and group N stays unused.
template <class M, u32 N, u32 Grouped, u32 OwnParameters>
class ModuleCloner : public dsp::Module {
public:
    static constexpr u32 parameterCount = M::parameterCount + OwnParameters;
    static constexpr u32 channelGroups = Grouped != 0 ? N + 1 : N;

    explicit ModuleCloner(std::string moduleName = {}, std::vector<dsp::ModuleParam>&& ownRecords = {})
        : Module(std::move(moduleName), 0, 0), records(CopiedRecords(clones[0], std::move(ownRecords))) {
        numInputs = channelGroups * clones[0].numInputs;
        numOutputs = channelGroups * clones[0].numOutputs;
    }

    M& Clone(u32 index) { return clones[index]; }

    void Initialize(float sampleRate, u32 maxBlockSize) override {
        for (M& clone : clones) {
            clone.Initialize(sampleRate, maxBlockSize);
        }
        Module::Initialize(sampleRate, maxBlockSize);
    }

    void Terminate() override {
        for (M& clone : clones) {
            clone.Terminate();
        }
    }

    void Reset(bool hard) override {
        for (M& clone : clones) {
            clone.Reset(hard);
        }
        Module::Reset(hard);
    }

    bool SetParameterNormalized(u32 id, float value) override {
        if (id >= records.parameters.size()) {
            return false;
        }
        ForwardToClones(id, [id, value](M& clone) { clone.SetParameterNormalized(id, value); });
        UpdateRecord([this, id, value] { records.SetNormalized(id, value); });
        return true;
    }

    bool SetParameterValue(u32 id, float value) {
        if (id >= records.parameters.size()) {
            return false;
        }
        ForwardToClones(id, [id, value](M& clone) { clone.SetParameterValue(id, value); });
        UpdateRecord([this, id, value] { records.SetValue(id, value); });
        return true;
    }

    float GetParameterNormalized(u32 id) override {
        return id < records.parameters.size() ? records.parameters[id].GetNormalized() : 0.0F;
    }

    void GetParameterName(u32 id, dsp::ParameterNameWriter& writer) override {
        if (id >= records.parameters.size()) {
            return;
        }
        WritePrefix(writer);
        if (id < M::parameterCount) {
            clones[0].GetParameterName(id, writer);
        } else {
            writer.Append(records.parameters[id].name);
        }
    }

    dsp::ModuleParam* FindParameter(u32 id) {
        return id < records.parameters.size() ? &records.parameters[id] : nullptr;
    }

    void OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(dsp::ProcessContext& /*context*/) override { return true; }

    bool Process(dsp::ProcessContext& context) override {
        if constexpr (Grouped != 0) {
            if (!runsAllClones) {
                return context.numOutputs == numOutputs && RunClone(context, 0, N);
            }
        }
        if (context.numInputs != numInputs || context.numOutputs != numOutputs) {
            return false;
        }
        bool result = true;
        for (u32 i = 0; i < N; ++i) {
            result = RunClone(context, i, i) && result;
        }
        return result;
    }

    /// Runs some of the clones, each on its own channel group; one that is not listed costs nothing, and
    /// its parameter changes wait. False when the channels do not fit; no inputs at all always do, and then
    /// no clone has any. List numbers are below N and differ. Clones with a groupSize run that many at a time
    /// through their ProcessGroup.
    bool ProcessListed(dsp::ProcessContext& context, std::span<const u32> list) {
        const bool inputsFit = context.numInputs == numInputs || context.numInputs == 0;
        if (!UpdateParameters(context) || !inputsFit || context.numOutputs != numOutputs) {
            return false;
        }
        if constexpr (requires { M::groupSize; }) {
            while (!list.empty()) {
                const auto group = list.first(std::min<std::size_t>(list.size(), M::groupSize));
                RunTogether(context, group);
                list = list.subspan(group.size());
            }
        } else {
            for (const u32 i : list) {
                RunClone(context, i, i);
            }
        }
        return true;
    }

    /// Declares a parameter anew in the record and in every clone. Set-up only.
    void Redeclare(u32 id, dsp::Curve curve, float minimum, float maximum, float shape) {
        records.parameters[id].Redeclare(curve, minimum, maximum, shape);
        ForwardToClones(
            id, [&](M& clone) { clone.FindParameter(id)->Redeclare(curve, minimum, maximum, shape); });
    }

    /// Read only with Grouped 1.
    bool runsAllClones = false;

private:
    static std::vector<dsp::ModuleParam> CopiedRecords(M& clone, std::vector<dsp::ModuleParam>&& own) {
        std::vector<dsp::ModuleParam> all;
        all.reserve(parameterCount);
        for (u32 id = 0; id < M::parameterCount; ++id) {
            all.push_back(*clone.FindParameter(id));
        }
        for (dsp::ModuleParam& record : own) {
            all.push_back(std::move(record));
        }
        return all;
    }

    template <class F>
    void ForwardToClones(u32 id, F&& set) {
        if (id < M::parameterCount) {
            for (M& clone : clones) {
                set(clone);
            }
        }
    }

    /// The mirror follows the usual change rule, but raises no flag for the module as a whole: the clones
    /// are the readers.
    template <class F>
    void UpdateRecord(F&& update) {
        const bool pending = records.anyParameterChanged;
        update();
        records.anyParameterChanged = pending;
    }

    bool RunClone(const dsp::ProcessContext& context, u32 cloneIndex, u32 group) {
        M& clone = clones[cloneIndex];
        dsp::ProcessContext child = ContextOfGroup(context, clone, group);
        return dsp::RunChild(clone, child);
    }

    static dsp::ProcessContext ContextOfGroup(const dsp::ProcessContext& context, const M& clone, u32 group) {
        const u32 inputCount = context.numInputs == 0 ? 0 : clone.numInputs;
        return context.ForChild(context.inputs + group * inputCount, inputCount,
                                context.outputs + group * clone.numOutputs, clone.numOutputs);
    }

    /// RunClone of each, side by side.
    void RunTogether(const dsp::ProcessContext& context, std::span<const u32> group) {
        boost::container::static_vector<dsp::ModuleRun<M>, M::groupSize> runs;
        for (const u32 i : group) {
            runs.push_back({&clones[i], ContextOfGroup(context, clones[i], i)});
            if (!dsp::ChildRuns(clones[i], runs.back().context)) {
                runs.pop_back();
            }
        }
        M::ProcessGroup({runs.data(), runs.size()});
        for (const dsp::ModuleRun<M>& run : runs) {
            dsp::FinishChild(*run.module);
        }
    }

    std::array<M, N> clones;
    dsp::ParameterSet records;
};

} // namespace Velmora::engine
