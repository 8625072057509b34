// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's library as hosts load it, of which a test can ask one thing more: which voices sound.
#include "processor/adapter/DsplibProcessor-Impl.h"
#include "processor/boundary/IProcessorFactory.h"
#include "processor/instrument/VocoderProcessor.h"

#include <algorithm>
#include <vector>

using Velmora::u32;

namespace {

class Watched;

/// In order of their making; for one thread.
std::vector<Watched*> living;

class Watched final : public Velmora::Processor::DsplibProcessor<Velmora::Processor::VocoderProcessor, 1> {
public:
    Watched() { living.push_back(this); }
    ~Watched() override { std::erase(living, this); }

    u32 ListVoices(u32* voices, u32 capacity) {
        const auto active = engine.CarrierSynth().ActiveVoices();
        const auto count = std::min(capacity, static_cast<u32>(active.size()));
        std::copy_n(active.begin(), count, voices);
        return count;
    }
};

class WatchedFactory final : public Velmora::Processor::IProcessorFactory {
public:
    WatchedFactory() : IProcessorFactory("0", "Velmora", "Watched engine") {}
    Velmora::Processor::IProcessor* CreateProcessor() override { return new Watched(); }
};

} // namespace

extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory() { return new WatchedFactory(); }

/// The slots of the carrier's voices that ran in the last block of a processor, counted from 0 in the order
/// in which those that live were made. Returns how many there are, at most `capacity`.
extern "C" u32 ListVoices(u32 processor, u32* voices, u32 capacity) {
    return processor < living.size() ? living[processor]->ListVoices(voices, capacity) : 0;
}
