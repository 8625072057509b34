// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/VocoderProcessor.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "processor/synth/SynthProcessor-Impl.h"
#include "support/platform/Platform.h"

#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

namespace Velmora::Processor {

template class SynthProcessor<64, 10, 1, VocoderModulator, ModulationsManager,
                              dsp::Observable<engine::ChordGenerator>, Carrier, BodeVocoder, FXContainer>;

namespace {

constexpr u32 continuousTuningOfGlider =
    VocoderProcessor::FirstParameter<3>() + Carrier::FirstParameter<2>() + engine::Glider::ContinuousTuning;
constexpr u32 firstPath = VocoderModulator::ParameterId(VocoderModulator::SamplePath);

// Hosts keep these numbers in their sessions.
static_assert(VocoderProcessor::FirstParameter<1>() == 372 && VocoderProcessor::FirstParameter<2>() == 891 &&
              VocoderProcessor::FirstParameter<3>() == 918 && VocoderProcessor::FirstParameter<4>() == 975 &&
              VocoderProcessor::FirstParameter<5>() == 1589 && VocoderProcessor::firstAdditional == 2287);
static_assert(VocoderProcessor::parameterCount == 2357 && firstPath == 303 &&
              continuousTuningOfGlider == 951);

std::vector<dsp::ModuleParam> InstrumentParameters() {
    using namespace dsp::Declare;
    return dsp::RecordsOf({Choice("OutputSelection", 3), Exponential("MasterVolume", -60.0F, 0.0F, -3.0F),
                           Exponential("Attack", 0.002F, 20.0F, 5.0F),
                           Exponential("Release", 0.002F, 20.0F, 4.0F), Choice("PolyphonyMode", 13),
                           Steps("PitchBendRange", 24, 1.0F, 1.0F, 1.0F), Raw("LFO Feedback")});
}

} // namespace

VocoderProcessor::VocoderProcessor() : VocoderProcessor(static_cast<const std::string*>(nullptr)) {}

VocoderProcessor::VocoderProcessor(const std::string& tuningLibrary) : VocoderProcessor(&tuningLibrary) {}

VocoderProcessor::VocoderProcessor(const std::string* tuningLibrary)
    : SynthProcessor(InstrumentParameters(), tuningLibrary, std::make_tuple(), std::make_tuple(),
                     std::make_tuple(), std::make_tuple(), std::make_tuple(), std::make_tuple()) {
    Connect();
    for (std::vector<u8>& path : sampleData) {
        path.reserve(longestPath);
    }
    // Crushed, and at the level of the dry sound, as soon as it is chosen.
    for (u32 slot = 0; slot < FXContainer::slotCount; ++slot) {
        const auto set = [this, slot](FXVariant::Type type, u32 id, float value) {
            Effects().SetParameterValue(FXContainer::SlotId(slot, FXVariant::IdOf(type, id)), value);
        };
        set(FXVariant::BitCrusherType, 15, 17.0F);
        set(FXVariant::TubeScreamerType, 5, -22.0F);
    }
    if (const std::optional<std::string> seed = Platform::Environment("ORPHIA_SEED")) {
        SeedNoise(static_cast<u32>(std::strtoul(seed->c_str(), nullptr, 10)));
    }
}

void VocoderProcessor::Connect() {
    Modulator().SetHeldNotes(PressTable());
    CarrierSynth().Connect(Modulations(), *this, *this);
    Chords().Attach(CarrierSynth());
    linkedIds[MtsRetuningMode].push_back(continuousTuningOfGlider);
    CarrierSynth().SetTuningClient(mtsClient.get());
}

void VocoderProcessor::OnSynthInitialize(float sampleRate, u32 maxBlockSize) {
    volume.Initialize(sampleRate, maxBlockSize);
    buffers.Allocate(BufferCount, maxBlockSize);
    PrepareExpression(sampleRate, maxBlockSize);
}

void VocoderProcessor::OnSynthReset(bool /*hard*/) {
    ResetAll();
    shortNotes.Clear();
    ResetExpression();
}

void VocoderProcessor::OnPanic() {
    ForEachChild([](auto& child) { child.Reset(true); });
}

bool VocoderProcessor::SetParameterData(u32 id, const void* data, u32* size) {
    const u32 sample = id - firstPath;
    if (id < firstPath || sample >= VocoderModulator::sampleCount || size == nullptr) {
        return false;
    }
    if (*size > longestPath) {
        *size = longestPath;
        return true;
    }
    const std::string_view bytes =
        data != nullptr ? std::string_view(static_cast<const char*>(data), *size) : std::string_view();
    sampleData[sample].assign(bytes.begin(), bytes.end());
    // Some hosts count the terminator.
    Modulator().SetPath(sample, bytes.substr(0, bytes.find('\0')));
    return true;
}

ParameterData VocoderProcessor::GetParameterData(u32 id) {
    const u32 sample = id - firstPath;
    if (id < firstPath || sample >= VocoderModulator::sampleCount) {
        return {};
    }
    const std::vector<u8>& path = sampleData[sample];
    return {static_cast<u32>(path.size()), path.empty() ? nullptr : path.data()};
}

void VocoderProcessor::SeedNoise(u32 seed) {
    Modulator().SeedRandom(seed);
    Modulations().SeedRandom(seed);
    CarrierSynth().SeedNoise(seed);
    Vocoder().SeedNoise(seed);
}

} // namespace Velmora::Processor
