// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/vocode/VocodeCommand.h"

#include "host/common/Errors.h"
#include "host/parts/VocoderSession.h"
#include "tools/options/PathOption.h"
#include "tools/run/InputSound.h"
#include "tools/run/Performance.h"
#include "tools/run/RenderOutput.h"
#include "tools/run/RunDisplay.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

namespace orphia::tools {

namespace {

using host::UsageError;
using host::VocoderSession;

/// Files of a lower rate are brought to this one, so that the treble path has its place.
constexpr std::uint32_t lowestOwnRate = 44100;

/// Two sounds of one rate that go through the vocoder core, as long as the modulator.
class VocodePerformance final : public Performance {
public:
    VocodePerformance(InputSound& modulatorSound, InputSound& carrierSound, VocoderSession& vocoder)
        : modulator(modulatorSound), carrier(carrierSound), session(vocoder) {}

    std::size_t Render(std::span<float> output) override {
        const std::size_t frames = modulator.Read(output.size() / 2);
        carrier.Read(output.size() / 2);
        session.Process(modulator.Samples(), carrier.Samples(), output);
        return frames;
    }
    bool IsDone() const override { return modulator.HasEnded(); }
    double ExpectedSeconds() const override { return modulator.ExpectedSeconds(); }
    host::MeterReading TakeMeters() override { return session.TakeMeters(); }

private:
    InputSound& modulator;
    InputSound& carrier;
    VocoderSession& session;
};

} // namespace

VocodeCommand::VocodeCommand(CLI::App& app)
    : Command(app, "vocode", "Vocode a sound file with another one"),
      options(*command, host::EngineTree::Vocoder, "the higher one of both files, at least 44100") {
    AddPath(*command, "MODULATOR", modulatorPath, "what speaks; gives the length")->type_name("");
    AddPath(*command, "CARRIER", carrierPath, "what sounds; a shorter one ends in silence")->type_name("");
    command->add_flag("--loop-carrier", loopsCarrier, "begin the carrier anew when it ends");
    command->add_option("--tail", tailSeconds, "go on after the modulator's end")->type_name("SECONDS");
    command->add_flag("--meters", showsMeters, "show band meters and lights");
    command->footer("Examples:\n"
                    "  orphia vocode voice.wav pad.wav -o out.wav --loop-carrier --tail 1\n"
                    "  orphia vocode voice.wav pad.wav -o out.wav --set \"ProgramLevel=-12 dB\" --set "
                    "Shift=0.4 --meters");
}

void VocodeCommand::Run() {
    if (options.PrintListIfAsked()) {
        return;
    }
    Check();
    Render();
}

void VocodeCommand::Check() {
    if (modulatorPath.empty() || carrierPath.empty() || options.Output().empty()) {
        throw UsageError("vocode needs a MODULATOR, a CARRIER and -o OUTPUT; see orphia vocode --help");
    }
    options.Check(std::array{modulatorPath, carrierPath});
    CheckTail(tailSeconds);
}

void VocodeCommand::Render() const {
    using Playback = host::AudioFileSource::Playback;
    InputSound modulator(modulatorPath, Playback::Once);
    InputSound carrier(carrierPath, loopsCarrier ? Playback::Loop : Playback::Once);
    const std::uint32_t ownRate = std::clamp(std::max(modulator.FileRate(), carrier.FileRate()),
                                             lowestOwnRate, VocoderSession::maximumSampleRate);
    const std::uint32_t rate = options.SampleRate() != 0 ? options.SampleRate() : ownRate;
    modulator.ConvertTo(rate);
    carrier.ConvertTo(rate);

    VocoderSession session(rate, options.Seed());
    session.SetLimiter(options.UsesLimiter());
    session.SetMetered(showsMeters);
    session.Apply(host::DefaultPreset(options.Catalog()));
    session.Apply(options.ReadPreset());
    for (const host::ParameterSetting& setting : options.OwnSettings()) {
        session.Set(setting);
    }
    std::unique_ptr<host::PendingFile> presetFile;
    if (options.SavesPreset()) {
        host::Preset preset;
        preset.settings = session.Settings();
        presetFile = options.BeginPreset(preset);
    }
    RenderOutput output(
        options.Output(), rate, VocoderSession::BlockSize(static_cast<float>(rate)),
        [&] { return session.LatencyFrames(); }, options.Format());
    RunDisplay display(showsMeters);
    VocodePerformance performance(modulator, carrier, session);
    RenderWhole(performance, output, tailSeconds, display);
    output.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    modulator.WarnOfReplaced();
    carrier.WarnOfReplaced();
    output.PrintSummary();
}

} // namespace orphia::tools
