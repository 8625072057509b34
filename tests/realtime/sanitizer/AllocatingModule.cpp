// SPDX-License-Identifier: GPL-3.0-or-later
// A module that keeps no promise, which the real-time sanitizer must end.
#include "dsp/framework/RunChild.h"
#include "dsp/framework/UnitModule.h"

#include <cstdio>
#include <vector>

namespace {

using Velmora::u32;

/// Nothing here is marked: what it overrides is.
class AllocatingModule final : public Velmora::dsp::UnitModule {
public:
    AllocatingModule() : UnitModule("Allocating", 0, 0, std::vector<Velmora::dsp::ModuleParam>()) {}

    void OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(Velmora::dsp::ProcessContext& /*context*/) override { return true; }
    bool Process(Velmora::dsp::ProcessContext& context) override {
        history.push_back(context.numFrames);
        return true;
    }

    std::vector<u32> history;
};

} // namespace

int main() {
    AllocatingModule module;
    module.Initialize(44100.0F, 44);
    Velmora::dsp::ProcessContext context;
    context.numFrames = 44;
    Velmora::dsp::RunChild(module, context);
    std::printf("nobody saw %zu blocks allocate\n", module.history.size());
    return 0;
}
