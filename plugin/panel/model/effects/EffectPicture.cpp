// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/effects/EffectPicture.h"

#include "host/parameters/ParameterCatalog.h"
#include "plugin/panel/model/ControlModel.h"
#include "plugin/panel/model/EffectSlots.h"
#include "plugin/panel/model/effects/CompressorCurve.h"
#include "plugin/panel/model/effects/DelayTaps.h"
#include "plugin/panel/model/effects/DriveCurve.h"
#include "plugin/panel/model/effects/EqualiserCurve.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr int curvePoints = 320;
constexpr double usualRate = 48000.0;
constexpr double equaliserSpan = 24.0;
constexpr double compressorSpan = 60.0;
/// Of the echoes: from -36 dB to what a click in the middle is when all of it comes on one side.
constexpr double tapsFloor = -36.0;
constexpr double tapsCeiling = 3.0;

/// What the controls of an effect are set to, by name.
class Values {
public:
    Values(const plugin::PluginInstrument& ofInstrument, unsigned slot, std::string_view module)
        : instrument(ofInstrument), prefix(fmt::format("FX{}_{}_", slot + 1, module)) {}

    double operator()(std::string_view name) const {
        const std::uint32_t id = IdOf(name);
        return static_cast<double>(plugin::PluginParameters::Get().ToValue(id, instrument.Position(id)));
    }
    bool IsOn(std::string_view name) const { return instrument.Position(IdOf(name)) >= 0.5F; }
    std::string Text(std::string_view name) const {
        const std::uint32_t id = IdOf(name);
        return ValueText(id, instrument.Position(id));
    }

private:
    std::uint32_t IdOf(std::string_view name) const {
        return host::ParameterCatalog::OfInstrument().Find(prefix + std::string(name)).id;
    }

    const plugin::PluginInstrument& instrument;
    std::string prefix;
};

double Clamped(double share) { return std::clamp(share, 0.0, 1.0); }

template <class F>
void FillCurve(EffectPicture& picture, F&& height) {
    for (int n = 0; n <= curvePoints; ++n) {
        const double x = static_cast<double>(n) / curvePoints;
        picture.curve.push_back({x, Clamped(height(x))});
    }
}

EffectPicture OfEqualiser(const Values& values, double sampleRate) {
    std::vector<EqualiserCurve::Band> bands;
    const double scale = values("Scale");
    for (int n = 1; n <= 5; ++n) {
        const auto of = [n](const char* name) { return name + std::to_string(n); };
        if (values.IsOn(of("On"))) {
            bands.push_back({static_cast<EqualiserCurve::Mode>(std::lround(values(of("Mode")))),
                             scale * values(of("Gain")), values(of("Cutoff")), values(of("Q"))});
        }
    }
    const EqualiserCurve response(bands, sampleRate > 0.0 ? sampleRate : usualRate);
    const double octaves = std::log2(EqualiserCurve::highestHz / EqualiserCurve::lowestHz);
    EffectPicture picture;
    picture.filledFrom = 0.5;
    FillCurve(picture, [&](double x) {
        const double hz = EqualiserCurve::lowestHz * std::exp2(x * octaves);
        return 0.5 + 0.5 * response.Decibels(hz) / equaliserSpan;
    });
    for (const auto& [hz, text] : {std::pair(100.0, "100"), {1000.0, "1k"}, {10000.0, "10k"}}) {
        picture.across.push_back({std::log2(hz / EqualiserCurve::lowestHz) / octaves, text});
    }
    picture.up = {{0.25, "-12"}, {0.5, "0 dB"}, {0.75, "12"}};
    picture.text =
        fmt::format("Response: {:.0f} dB at 100 Hz, {:.0f} dB at 1 kHz, {:.0f} dB at 10 kHz",
                    response.Decibels(100.0), response.Decibels(1000.0), response.Decibels(10000.0));
    return picture;
}

EffectPicture OfDelay(const Values& values) {
    const bool isSynced = values.IsOn("TempoSync");
    DelayTaps::Settings settings;
    settings.time = isSynced ? DelayTaps::BeatsOf(values.Text("SyncRate")) : values("Time") / 1000.0;
    settings.offset = values("Offset");
    settings.feedback = values("Feedback");
    settings.mode = static_cast<DelayTaps::Mode>(std::lround(values("Mode")));
    settings.mix = values.IsOn("DryWetMode") ? 1.0 : values("DryWet");
    settings.width = values("Width");
    const std::vector<DelayTaps::Tap> taps = DelayTaps::Of(settings);
    // Four echoes and a half, so that the distance of the bars tells the time against the marks.
    const double span = 4.5 * settings.time;
    EffectPicture picture;
    for (const DelayTaps::Tap& tap : taps) {
        const double decibels = 20.0 * std::log10(tap.level);
        if (tap.time <= span) {
            picture.bars.push_back(
                {{tap.time / span, Clamped((decibels - tapsFloor) / (tapsCeiling - tapsFloor))},
                 tap.isRight});
        }
    }
    for (int n = 1; n <= 4; ++n) {
        const double time = n * settings.time;
        picture.across.push_back({time / span, isSynced      ? fmt::format("{:.3g}", time)
                                               : time < 0.95 ? fmt::format("{:.0f} ms", 1000.0 * time)
                                                             : fmt::format("{:.2f} s", time)});
    }
    if (isSynced) {
        picture.across.front().text += picture.across.front().text == "1" ? " beat" : " beats";
    }
    const double top = tapsCeiling - tapsFloor;
    picture.up = {
        {-tapsFloor / top, "0 dB"}, {(-12.0 - tapsFloor) / top, "-12"}, {(-24.0 - tapsFloor) / top, "-24"}};
    picture.text =
        fmt::format("{} echoes above -36 dB, the first after {}", taps.size(), picture.across[0].text);
    return picture;
}

EffectPicture OfOverdrive(const Values& values) {
    const DriveCurve drive(values("Drive"), values("Input"), values("Bias"));
    const double largest = std::max({std::fabs(drive(-1.0)), std::fabs(drive(1.0)), 1e-9});
    EffectPicture picture;
    picture.filledFrom = 0.5;
    FillCurve(picture, [&](double x) { return 0.5 + 0.46 * drive(2.0 * x - 1.0) / largest; });
    picture.across = {{0.25, "-6 dB"}, {0.5, "0"}, {0.75, "-6 dB"}};
    picture.up = {{0.5, ""}};
    picture.text = fmt::format("Drive curve: half of full scale comes out at {:.0f} % of the most",
                               100.0 * std::fabs(drive(0.5)) / largest);
    return picture;
}

EffectPicture OfCompressor(const Values& values) {
    CompressorCurve curve;
    curve.threshold = values("Threshold");
    curve.inverseRatio = values.IsOn("RatioInfinite") ? 0.0 : 1.0 / values("Ratio");
    curve.knee = values("KneeWidth");
    curve.inputGain = values("InputGain");
    curve.compensatedGain = values("InGainCompensated");
    curve.outputGain = values("OutputGain");
    curve.hasMakeup = values.IsOn("Makeup");
    if (values.IsOn("GRLimitEnable")) {
        curve.limit = -values("GRLimit");
    }
    EffectPicture picture;
    FillCurve(picture, [&](double x) { return 1.0 + curve(compressorSpan * (x - 1.0)) / compressorSpan; });
    for (const int level : {-40, -20}) {
        picture.across.push_back({1.0 + level / compressorSpan, fmt::format("{} dB", level)});
        picture.up.push_back({1.0 + level / compressorSpan, fmt::format("{}", level)});
    }
    picture.text = fmt::format("Curve: -40 dB becomes {:.0f} dB, -20 dB {:.0f} dB, 0 dB {:.0f} dB",
                               curve(-40.0), curve(-20.0), curve(0.0));
    return picture;
}

} // namespace

EffectPicture EffectPicture::Of(const plugin::PluginInstrument& instrument, unsigned slot,
                                double sampleRate) {
    enum Type : unsigned { Delay = 2, Overdrive = 6, Compressor = 7, Equaliser = 10 };
    switch (EffectSlots::TypeIn(instrument, slot)) {
    case Delay:
        return OfDelay({instrument, slot, "Delay"});
    case Overdrive:
        return OfOverdrive({instrument, slot, "TS808"});
    case Compressor:
        return OfCompressor({instrument, slot, "Compressor"});
    case Equaliser:
        return OfEqualiser({instrument, slot, "ParamEq"}, sampleRate);
    default:
        return {};
    }
}

} // namespace orphia::panel
