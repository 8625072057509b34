// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parts/VocoderSession.h"
#include "tools/run/InputSound.h"
#include "tools/run/Performance.h"

namespace orphia::tools {

/// Two sounds that go through the vocoder core, as long as the modulator.
class VocodePerformance final : public Performance {
public:
    /// All of them at one rate; they must outlive this.
    VocodePerformance(InputSound& modulator, InputSound& carrier, host::VocoderSession& session);

    std::size_t Render(std::span<float> output) override;
    bool IsDone() const override { return modulator.HasEnded(); }
    double ExpectedSeconds() const override { return modulator.ExpectedSeconds(); }
    host::MeterReading TakeMeters() override { return session.TakeMeters(); }

private:
    InputSound& modulator;
    InputSound& carrier;
    host::VocoderSession& session;
};

} // namespace orphia::tools
