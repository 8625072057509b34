// SPDX-License-Identifier: GPL-3.0-or-later
// One block of the instrument.
#include "dsp/framework/RunChild.h"
#include "processor/instrument/VocoderProcessor.h"

#include <algorithm>

namespace Velmora::Processor {

namespace {

using dsp::ProcessContext;

constexpr u32 sideCount = 2;
// From the volts of the circuit's preamps back to full scale, step by step as the signal path takes it.
constexpr std::array<float, 3> carrierMonitorGains = {0.1F, 0.35714F, 15.85F};
constexpr std::array<float, 3> modulatorMonitorGains = {0.057048F, 0.35714F, 2.0F};

} // namespace

bool VocoderProcessor::RenderBlock(ProcessContext& context) {
    if (ReservedValue(Panic) > 0.0F) {
        return true;
    }
    RunChordStage(context);
    RunVoiceStage();
    if (!mpeIsOn) {
        RunKeyPressure(context.inputEvents);
    }
    UpdateExpression(VoiceManager::ActiveVoices());
    RunModulator(context);
    RunModulations(context);
    RunCarrier(context);
    RunVocoder(context);
    WriteOutput(context);
    volume.Apply(Modulations().Matrix().RowSum(MasterVolumeDestination), VolumeModulation(),
                 context.outputs[0], context.outputs[1], context.numFrames);
    ReportLfo(context);
    return true;
}

void VocoderProcessor::RunChordStage(const ProcessContext& context) {
    chordEvents.Clear();
    ProcessContext child = context.ForChild(nullptr, 0, nullptr, 0);
    child.inputEvents = context.inputEvents != nullptr ? context.inputEvents : &noEvents;
    child.outputEvents = &chordEvents;
    dsp::RunChild(Chords(), child);
}

void VocoderProcessor::RunVoiceStage() {
    AdvanceAge();
    shortNotes.BeginBlock(*this);
    for (const dsp::Event& event : chordEvents) {
        shortNotes.Send(event, *this);
    }
    ReapVoices();
}

void VocoderProcessor::RunKeyPressure(const dsp::EventQueue* events) {
    constexpr u8 statusMask = 0xF0;
    constexpr u8 channelMask = 0x0F;
    constexpr u8 keyPressure = 0xA0;
    constexpr u8 dataMask = 0x7F;
    if (events == nullptr) {
        return;
    }
    for (const dsp::Event& event : *events) {
        if ((event.midi[0] & statusMask) == keyPressure) {
            SetNotePressure(event.midi[1] & dataMask, event.midi[0] & channelMask,
                            static_cast<float>(event.midi[2] & dataMask) * 0.007874016F);
        }
    }
}

void VocoderProcessor::RunModulator(const ProcessContext& context) {
    const float* inputs[sideCount] = {};
    for (u32 channel = 0; channel < std::min(context.numAuxInputs, sideCount); ++channel) {
        inputs[channel] = context.auxInputs[channel];
    }
    if (context.numAuxInputs == 1 && inputs[0] != nullptr) {
        std::copy_n(inputs[0], context.numFrames, buffers[MonoCopy]);
        inputs[1] = buffers[MonoCopy];
    }
    float* outputs[] = {buffers[ModulatorLeft], buffers[ModulatorRight], buffers[ModulatorSide]};
    ProcessContext child = context.ForChild(inputs, sideCount, outputs, VocoderModulator::outputCount);
    dsp::RunChild(Modulator(), child);
}

void VocoderProcessor::RunModulations(const ProcessContext& context) {
    const float* inputs[] = {buffers[ModulatorLeft], buffers[ModulatorRight]};
    ProcessContext child = context.ForChild(inputs, sideCount, nullptr, 0);
    dsp::RunChild(Modulations(), child);
}

void VocoderProcessor::RunCarrier(const ProcessContext& context) {
    const float* inputs[] = {buffers[ModulatorSide]};
    float* outputs[] = {buffers[CarrierLeft], buffers[CarrierRight]};
    ProcessContext child = context.ForChild(inputs, 1, outputs, Carrier::outputCount);
    dsp::RunChild(CarrierSynth(), child);
}

void VocoderProcessor::RunVocoder(const ProcessContext& context) {
    std::array<const float*, BodeVocoder::InputCount> inputs{};
    inputs[BodeVocoder::CarrierLeft] = buffers[CarrierLeft];
    inputs[BodeVocoder::CarrierRight] = buffers[CarrierRight];
    ConnectWires(WiredModule::Vocoder, inputs, DestinationChannels());
    const float* program[] = {buffers[ModulatorLeft], buffers[ModulatorRight]};
    std::array<float*, BodeVocoder::OutputCount> outputs{};
    for (u32 i = 0; i < outputs.size(); ++i) {
        outputs[i] = VocoderBlock(static_cast<BodeVocoder::Output>(i));
    }
    ProcessContext child = context.ForChild(inputs.data(), inputs.size(), outputs.data(), outputs.size());
    child.auxInputs = program;
    child.numAuxInputs = sideCount;
    dsp::RunChild(Vocoder(), child);
    const float external =
        Modulator().FindParameter(VocoderModulator::ParameterId(VocoderModulator::ExternalInput))->GetValue();
    if (external <= 0.5F && CarrierSynth().ActiveVoices().empty()) {
        std::fill_n(VocoderBlock(BodeVocoder::MixLeft), context.numFrames, 0.0F);
        std::fill_n(VocoderBlock(BodeVocoder::MixRight), context.numFrames, 0.0F);
    }
}

void VocoderProcessor::WriteOutput(const ProcessContext& context) {
    effectsLatency.store(0, std::memory_order_relaxed);
    switch (outputSelection) {
    case VocoderOutput:
        RunEffects(context);
        break;
    case CarrierMonitor:
        WriteMonitor(context, BodeVocoder::CarrierPreampLeft, carrierMonitorGains);
        break;
    default:
        WriteMonitor(context, BodeVocoder::ProgramPreampLeft, modulatorMonitorGains);
        break;
    }
}

void VocoderProcessor::RunEffects(const ProcessContext& context) {
    float* const left = VocoderBlock(BodeVocoder::MixLeft);
    float* const right = VocoderBlock(BodeVocoder::MixRight);
    effectsFloor.AddTo(context.numFrames, left, right);
    std::array<const float*, FXContainer::inputCount> inputs{};
    inputs[Pins::EffectsLeft] = left;
    inputs[Pins::EffectsRight] = right;
    ConnectWires(WiredModule::Effects, inputs, DestinationChannels());
    ProcessContext child =
        context.ForChild(inputs.data(), inputs.size(), context.outputs, context.numOutputs);
    dsp::RunChild(Effects(), child);
    effectsLatency.store(Effects().Latency(), std::memory_order_relaxed);
}

void VocoderProcessor::WriteMonitor(const ProcessContext& context, BodeVocoder::Output left,
                                    const std::array<float, 3>& gains) {
    for (u32 channel = 0; channel < sideCount; ++channel) {
        const float* from = VocoderBlock(static_cast<BodeVocoder::Output>(left + channel));
        std::transform(from, from + context.numFrames, context.outputs[channel],
                       [&gains](float x) { return x * gains[0] * gains[1] * gains[2]; });
    }
}

const float* VocoderProcessor::VolumeModulation() {
    ModulationMatrix& matrix = Modulations().Matrix();
    return matrix.IsDestinationRouted(MasterVolumeDestination)
               ? matrix.GlobalDestination(MasterVolumeDestination).data()
               : nullptr;
}

void VocoderProcessor::ReportLfo(const ProcessContext& context) {
    if (context.isOffline == 1 || !IsGuiVisible() || IsPresetLoading() || !IsFirstPresetDone()) {
        return;
    }
    const float lfo = Modulations().Matrix().VoiceSource(Modulations().CurrentVoice(), LfoSource)[0];
    if (const LfoFeedback::Message* message = lfoFeedback.Add(lfo)) {
        // A full queue drops it: the next one says where the LFO is then.
        dataChanges.Append({ParameterId(LfoFeedbackData), message->size(), message->data()});
    }
}

} // namespace Velmora::Processor
