// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's library, whose processors take everything and render silence at once.
#include "processor/adapter/DsplibProcessor-Impl.h"
#include "processor/boundary/IProcessorFactory.h"
#include "processor/instrument/VocoderProcessor.h"

#include <algorithm>
#include <atomic>

namespace {

using namespace Velmora::Processor;

class SilentProcessor final : public DsplibProcessor<VocoderProcessor, 2> {
public:
    bool Process(HostProcessData* data) override {
        for (Velmora::u32 channel = 0; channel < data->numOutputs; ++channel) {
            std::fill_n(data->outputs[channel], data->numFrames, 0.0F);
        }
        return true;
    }
};

std::atomic<bool> isShortOfMemory{false};

class SilentFactory final : public IProcessorFactory {
public:
    SilentFactory() : IProcessorFactory("0", "Velmora", "Silent engine") {}
    IProcessor* CreateProcessor() override { return isShortOfMemory ? nullptr : new SilentProcessor(); }
};

} // namespace

extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory() { return new SilentFactory(); }

/// For tests: while memory is short no processor is made.
extern "C" void SetShortOfMemory(bool isShort) { isShortOfMemory = isShort; }
