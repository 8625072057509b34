// SPDX-License-Identifier: GPL-3.0-or-later
// What the stereo core costs per frame, and what its bare arithmetic would.
#include "bench/BenchSignals.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "vocoder/core/BodeVocoder.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using namespace orphia::bench;
using Velmora::Processor::BodeVocoder;
using Velmora::Processor::VocoderKernels;

/// A core with every band open, driven as the player would: speech in, chord in.
class CoreRig {
public:
    explicit CoreRig(const VocoderKernels& kernels) : core(std::make_unique<BodeVocoder>()) {
        core->UseKernels(kernels);
        core->SeedNoise(1);
        SetPlayingParameters(*core);
        core->Initialize(sampleRate, blockSize);
        for (auto& buffer : outputs) {
            buffer.assign(blockSize, 0.0F);
        }
    }

    /// Offsets the position of a knob from the next block on.
    void Modulate(BodeVocoder::Input input, float offset) {
        modulations.at(input) = {1.0F, offset};
        inputs.at(input) = &modulations.at(input)[1];
    }

    /// Sets the amount of a route of both channels; bands are counted from 1.
    void Patch(unsigned analysis, unsigned synthesis, float amount) {
        core->SetParameterValue(firstPanelId + PatchBay::RouteId(analysis, synthesis), amount);
    }
    void SwitchPanelOn() { core->SetParameterValue(firstPanelId + PatchBay::Activated, 1.0F); }

    void RunBlock(const StereoSignal& carrier, const StereoSignal& modulator, std::size_t block) {
        const std::size_t at = block * blockSize;
        inputs[BodeVocoder::CarrierLeft] = carrier.left.data() + at;
        inputs[BodeVocoder::CarrierRight] = carrier.right.data() + at;
        const float* aux[2] = {modulator.left.data() + at, modulator.right.data() + at};
        float* outs[BodeVocoder::OutputCount];
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            outs[i] = outputs[i].data();
        }
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = BodeVocoder::InputCount;
        context.auxInputs = aux;
        context.numAuxInputs = 2;
        context.outputs = outs;
        context.numOutputs = BodeVocoder::OutputCount;
        context.numFrames = blockSize;
        Velmora::dsp::RunChild(*core, context);
        benchmark::DoNotOptimize(outputs[0][0]);
    }

private:
    using PatchBay = Velmora::Processor::PatchBay;
    using Mono = Velmora::Processor::BodeVocoderMono;
    static constexpr unsigned firstPanelId = Mono::FirstParameter<Mono::childCount - 1>();

    std::unique_ptr<BodeVocoder> core;
    std::array<const float*, BodeVocoder::InputCount> inputs{};
    /// Behind the mark that tells that it is in use.
    std::array<std::array<float, 2>, BodeVocoder::InputCount> modulations{};
    std::array<std::vector<float>, BodeVocoder::OutputCount> outputs;
};

/// move(rig, block) comes before each block.
template <class Move>
void RunCore(benchmark::State& state, const VocoderKernels& kernels, const StereoSignal& modulator,
             Move move) {
    const Velmora::dsp::DenormalGuard guard;
    const StereoSignal carrier = Chord();
    CoreRig rig(kernels);
    std::size_t block = 0;
    for (auto _ : state) {
        move(rig, block);
        rig.RunBlock(carrier, modulator, block);
        block = (block + 1) % blocksPerSignal;
    }
    ReportPerFrame(state, blockSize);
    state.SetLabel(kernels.name);
}

void StereoCore(benchmark::State& state, bool voiced) {
    const auto sets = Velmora::Processor::AvailableVocoderKernels();
    const auto index = static_cast<std::size_t>(state.range(0));
    if (index >= sets.size()) {
        state.SkipWithError("this processor has no such instruction set");
        return;
    }
    RunCore(state, *sets[index], voiced ? Vowels() : Fricatives(), [](CoreRig&, std::size_t) {});
}

/// One modulation that gives another value in every block.
template <BodeVocoder::Input input>
void CoreModulated(benchmark::State& state) {
    RunCore(state, Velmora::Processor::SelectVocoderKernels(), Vowels(),
            [](CoreRig& rig, std::size_t block) { rig.Modulate(input, block % 2 == 0 ? 0.1F : -0.1F); });
}

/// Every band leads to its mirror image; in motion the amounts of one band's route change with every block.
void CorePatched(benchmark::State& state, bool inMotion) {
    RunCore(state, Velmora::Processor::SelectVocoderKernels(), Vowels(),
            [inMotion, isPatched = false](CoreRig& rig, std::size_t block) mutable {
                if (!isPatched) {
                    rig.SwitchPanelOn();
                    for (unsigned band = 1; band <= 16; ++band) {
                        rig.Patch(band, 17 - band, 1.0F);
                    }
                    isPatched = true;
                }
                if (inMotion) {
                    rig.Patch(3, 14, block % 2 == 0 ? 0.9F : 0.8F);
                }
            });
}

void CoreOnVoicedSpeech(benchmark::State& state) { StereoCore(state, true); }
void CoreOnUnvoicedSpeech(benchmark::State& state) { StereoCore(state, false); }

BENCHMARK(CoreOnVoicedSpeech)->DenseRange(0, 2);
BENCHMARK(CoreOnUnvoicedSpeech)->DenseRange(0, 2);
BENCHMARK(CoreModulated<BodeVocoder::ShiftModulation>)->Name("CoreModulated/Shift");
BENCHMARK(CoreModulated<BodeVocoder::WidthModulation>)->Name("CoreModulated/Width");
BENCHMARK(CoreModulated<BodeVocoder::AttackModulation>)->Name("CoreModulated/Attack");
BENCHMARK(CoreModulated<BodeVocoder::ReleaseModulation>)->Name("CoreModulated/Release");
BENCHMARK_CAPTURE(CorePatched, Still, false);
BENCHMARK_CAPTURE(CorePatched, InMotion, true);

} // namespace
