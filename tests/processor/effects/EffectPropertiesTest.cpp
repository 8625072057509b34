// SPDX-License-Identifier: GPL-3.0-or-later
// What every effect of a slot keeps, whatever it does to the sound. A new one is a row of the table.
#include "dsp/math/DenormalGuard.h"
#include "processor/effects/FXVariant.h"
#include "rigs/EffectRig.h"

#include <random>
#include <set>
#include <string>

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;
using Velmora::Processor::FXVariant;

constexpr u32 none = 1000;

enum Trait : u32 {
    /// Faults in the sound are silence; else they are only forgotten.
    HearsFaultsAsSilence = 1,
    /// At a "DryWet" of 0 the sound passes to the bit.
    PassesWhenDry = 2,
    MayWorkInPlace = 4,
    /// Its controls glide from frame to frame; else from block to block.
    GlidesByFrames = 8,
    Everything = 15
};

/// Ids are those of the effect's own.
struct Effect {
    FXVariant::Type type;
    /// Of any settings at full scale.
    float loudest;
    /// In dB: what the jump of a control may add above 6 kHz; see NoControlClicks.
    double roughest;
    u32 traits = Everything;
    /// The controls act under these settings, some only under further ones.
    Settings sounding = {};
    std::vector<std::pair<u32, Settings>> further = {};
    /// In which a jump of a control is the roughest thing.
    Settings calm = {};
    /// Steps of these are steps of the sound.
    std::set<u32> stepped = {};
    std::set<u32> inaudible = {};
    /// What is not to be moved: under other settings it keeps less.
    Settings fixed = {};
    /// Both sides are alike under these settings.
    Settings alike = {};
    /// Controls of a drive and the position from which on each takes its gain back, and what lets it be
    /// heard.
    std::vector<std::pair<u32, float>> drives = {};
    Settings open = {};
    /// What "TempoSync" and "SyncRate" replace, in Hz.
    u32 rate = none;
};

void PrintTo(const Effect& effect, std::ostream* out) { *out << FXVariant::typeNames[effect.type]; }

constexpr u32 Pan(u32 id) { return StereoPan::ParameterId(id); }
using Filter = MultiModeFilterPresetChromataFX;
using Eq = ParamEq<5>;
using T = FXVariant;

std::vector<std::pair<u32, Settings>> For(u32 first, u32 last, const Settings& settings) {
    std::vector<std::pair<u32, Settings>> further;
    for (u32 id = first; id <= last; ++id) {
        further.emplace_back(id, settings);
    }
    return further;
}

std::vector<Effect> Effects() {
    using C = Compressor;
    const u32 panShape = StereoPan::LFOId(StereoPan::PanLFO, LFOSimple::Shape);
    const u32 panRate = StereoPan::LFOId(StereoPan::PanLFO, LFOSimple::Rate);
    return {
        {.type = T::ReverbType,
         .loudest = 200.0F,
         .roughest = -65,
         .sounding = {{Reverb::DryWet, 0.8F}},
         .calm = {{Reverb::DryWet, 0.7F}}},
        {.type = T::DelayType,
         .loudest = 10.0F,
         .roughest = -62,
         .sounding = {{Delay::DryWet, 0.7F}, {Delay::Time, 100.0F}},
         .calm = {{Delay::DryWet, 0.5F}, {Delay::Time, 100.0F}, {Delay::Feedback, 0.0F}},
         .alike = {{Delay::Mode, DelaySettings::Cross}, {Delay::Time, 20.0F}, {Delay::Wow, 0.0F}}},
        {.type = T::ChorusType,
         .loudest = 30.0F,
         .roughest = -63,
         .sounding = {{Chorus::DryWet, 0.9F}},
         .further = {{Chorus::TempoSync, {{Chorus::Freq, 4.0F}}}},
         .calm = {{Chorus::Feedback, 0.3F}, {Chorus::Spread, 0.5F}, {Chorus::Drift, 0.5F}},
         .alike = {{Chorus::StereoMode, ChorusSettings::Mono}},
         .rate = Chorus::Freq},
        {.type = T::FlangerType,
         .loudest = 20.0F,
         .roughest = -64,
         .sounding = {{Flanger::Freq, 2.0F}},
         .alike = {{Flanger::StereoPhase, 0.0F}},
         .rate = Flanger::Freq},
        {.type = T::PhaserType,
         .loudest = 10.0F,
         .roughest = -50,
         .sounding = {{Phaser::LFOFreq, 3.0F}, {Phaser::EnvAmount, 1.0F}},
         .further =
             For(Phaser::PatternLength, Phaser::Step8, {{Phaser::LFOShape, 7.0F}, {Phaser::LFOFreq, 4.0F}}),
         .alike = {{Phaser::StereoPhase, 0.0F}},
         .drives = {{Phaser::Drive, 0.0F}},
         .rate = Phaser::LFOFreq},
        {.type = T::TubeScreamerType,
         .loudest = 250.0F,
         .roughest = -44,
         .traits = Everything - PassesWhenDry,
         .sounding = {{TubeScreamer808::Level, -10.0F}},
         .calm = {{TubeScreamer808::Drive, 22.0F}},
         .drives = {{TubeScreamer808::Drive, 0.0F}, {TubeScreamer808::Input, 0.0F}}},
        {.type = T::CompressorType,
         .loudest = 1e6F,
         .roughest = -75,
         .traits = HearsFaultsAsSilence | MayWorkInPlace,
         .sounding = {{C::Threshold, -30.0F}},
         .further = {{C::KneeWidth, {{C::Threshold, -10.0F}}},
                     {C::LevelMeasureAtMs, {{C::LevelMeasureSmoothAR, 1.0F}}},
                     {C::LevelMeasureReMs, {{C::LevelMeasureSmoothAR, 1.0F}}},
                     {C::LookaheadTimeMs, {{C::LookaheadEnable, 1.0F}}},
                     {C::GRLimit, {{C::GRLimitEnable, 1.0F}}},
                     {C::GRLimitEnable, {{C::GRLimit, -3.0F}}}},
         .stepped = {C::ConfOnlyComputeGain, C::LookaheadEnable},
         .inaudible = {C::OutGainReduction, C::SideChain},
         .fixed = {{C::ConfOnlyComputeGain, 1.0F}}},
        {.type = T::BitCrusherType,
         .loudest = 20.0F,
         .roughest = -70,
         .traits = Everything - PassesWhenDry,
         .sounding = {{BitCrusher::Bits, 3.0F}},
         .further = For(0, 15, {{BitCrusher::SampleRate, 6000.0F}}),
         .calm = {{BitCrusher::Bits, 16.0F}, {BitCrusher::Curve, 0.0F}, {BitCrusher::SampleRate, 48000.0F}},
         .stepped = {BitCrusher::Bits, BitCrusher::SampleRate, BitCrusher::BitErrors},
         // From 0 dB on.
         .drives = {{BitCrusher::Drive, 0.4F}}},
        {.type = T::FilterType,
         .loudest = 20.0F,
         .roughest = -80,
         .sounding = {{Filter::LFOAmount, 2.0F}, {Filter::LFOFreq, 3.0F}},
         .further = For(Filter::EnvAttack, Filter::EnvRelease, {{Filter::EnvAmount, 3.0F}}),
         .drives = {{Filter::Drive, 0.0F}},
         .open = {{Filter::EnvAmount, 0.0F}, {Filter::Cutoff, 20000.0F}},
         .rate = Filter::LFOFreq},
        {.type = T::ParamEqType,
         .loudest = 1e4F,
         .roughest = -54,
         .traits = MayWorkInPlace,
         .sounding = {{Eq::GainId(0), 12.0F},
                      {Eq::GainId(1), 12.0F},
                      {Eq::GainId(2), 12.0F},
                      {Eq::GainId(3), 12.0F},
                      {Eq::GainId(4), 12.0F}},
         .stepped = {Eq::Stereo, Eq::OnId(0), Eq::OnId(1), Eq::OnId(2), Eq::OnId(3), Eq::OnId(4),
                     Eq::ModeId(0), Eq::ModeId(1), Eq::ModeId(2), Eq::ModeId(3), Eq::ModeId(4)},
         .inaudible = {Eq::SmoothOn}},
        {.type = T::StereoPanType,
         .loudest = 10.0F,
         .roughest = -77,
         .traits = Everything - MayWorkInPlace,
         .sounding = {{Pan(StereoPan::LevelDepth), 0.5F},
                      {panRate, 5.0F},
                      {Pan(StereoPan::BassMono), 100.0F}},
         .further =
             For(Pan(StereoPan::FirstStep), StereoPan::parameterCount - 1, {{panShape, LFOSimple::Steps}}),
         .calm = {{Pan(StereoPan::LevelDepth), 0.5F}},
         .alike = {{Pan(StereoPan::PanDepth), 0.0F}, {Pan(StereoPan::StereoPhase), 0.0F}}}};
}

template <u32 in, u32 out, class... Modules>
std::vector<std::vector<u32>> ModulationInputs(const ModuleVariant<in, out, Modules...>* /*slot*/) {
    return {{Modules::modulationInputs.begin(), Modules::modulationInputs.end()}...};
}

/// The effect in a slot that holds nothing else to be heard.
struct Unit {
    FXVariant::Type type;
    Settings fixed;
    std::unique_ptr<FXVariant> slot = std::make_unique<FXVariant>("");

    explicit Unit(const Effect& effect, const Settings& settings = {}, float rate = 44100.0F)
        : type(effect.type), fixed(effect.fixed) {
        slot->SetParameterValue(FXVariant::ParameterId(FXVariant::ModuleType), static_cast<float>(type));
        slot->Initialize(rate, 64);
        Set(settings);
    }
    void Set(const Settings& settings) {
        for (const auto& [id, value] : settings) {
            slot->SetParameterValue(FXVariant::IdOf(type, id), value);
        }
    }
    void Move(u32 id, float position) { slot->SetParameterNormalized(FXVariant::IdOf(type, id), position); }
    void MoveAll(const std::vector<float>& positions) {
        for (u32 id = 0; id < Count(); ++id) {
            Move(id, positions[id]);
        }
        Set(fixed);
    }
    float Value(u32 id) { return slot->FindParameter(FXVariant::IdOf(type, id))->GetValue(); }
    u32 Count() const { return FXVariant::firstIds[type + 1] - FXVariant::firstIds[type]; }
    std::string Name(u32 id) { return NameOf(*slot, FXVariant::IdOf(type, id)); }
    /// The one of a name, or none.
    u32 Find(const std::string& name) {
        u32 id = 0;
        while (id < Count() && !Name(id).ends_with("_" + name)) {
            ++id;
        }
        return id < Count() ? id : none;
    }
    std::vector<u32> Modulated() const { return ModulationInputs(slot.get())[type]; }

    /// how.input counts as the effect's own, from 2 on.
    std::vector<Signal> Play(const std::vector<Signal>& in, Playing how = {}) {
        how.input = how.input > 1 ? FXVariant::firstInputs[type] + how.input - 2 : 0;
        return orphia::test::Play(*slot, in[0], in[1], how);
    }
};

class EffectTest : public testing::TestWithParam<Effect> {
protected:
    const Effect& effect = GetParam();
    std::mt19937 random{GetParam().type};

    bool Has(Trait trait) const { return (effect.traits & trait) != 0; }
    Unit Make(const Settings& settings = {}, float rate = 44100.0F) const {
        return Unit(effect, settings, rate);
    }
    /// Of all controls, within their way or beyond.
    std::vector<float> Positions(float beyond = 0.0F) {
        std::uniform_real_distribution<float> position(-beyond, 1.0F + beyond);
        std::vector<float> positions(Make().Count());
        std::generate(positions.begin(), positions.end(), [&] { return position(random); });
        return positions;
    }
    static std::vector<Signal> Sound(std::size_t frames, float level = 0.5F) {
        return {Noise(frames, level, 1), Noise(frames, level, 2)};
    }
};

double Difference(const std::vector<Signal>& a, const std::vector<Signal>& b) {
    Signal rest(a[0].size());
    for (std::size_t n = 0; n < rest.size(); ++n) {
        rest[n] = std::hypot(a[0][n] - b[0][n], a[1][n] - b[1][n]);
    }
    return Rms(rest);
}

} // namespace

TEST_P(EffectTest, BlocksOfAnySizeAndSharedBuffersGiveTheSameBits) {
    const auto sound = Sound(8000);
    for (int round = 0; round < 4; ++round) {
        Unit whole = Make();
        Unit cut = Make();
        Unit inPlace = Make();
        // The second pass runs while everything glides.
        for (int pass = 0; pass < (Has(GlidesByFrames) ? 2 : 1); ++pass) {
            const auto positions = Positions();
            for (Unit* unit : {&whole, &cut, &inPlace}) {
                unit->MoveAll(positions);
                if (pass == 0) {
                    unit->slot->Reset(true);
                }
            }
            const auto expected = whole.Play(sound);
            std::vector<const Signal*> inputs(FXVariant::inputCount, nullptr);
            inputs[0] = &sound[0];
            inputs[1] = &sound[1];
            EXPECT_EQ(Render(*cut.slot, inputs, 2, BlockSplit::Random(64, 300, 6)), expected) << round;
            auto io = sound;
            std::vector<const float*> pointers(FXVariant::inputCount, nullptr);
            for (std::size_t n = 0; n < io[0].size(); n += 40) {
                pointers[0] = &io[0][n];
                pointers[1] = &io[1][n];
                RunInPlace(*inPlace.slot, pointers, {&io[0][n], &io[1][n]}, 40);
            }
            EXPECT_TRUE(!Has(MayWorkInPlace) || io == expected) << round;
        }
    }
}

TEST_P(EffectTest, AResetLeavesNothing) {
    const auto sound = Sound(8800);
    for (const bool hard : {false, true}) {
        const auto positions = Positions();
        Unit fresh = Make();
        fresh.MoveAll(positions);
        fresh.slot->Reset(true);
        Unit used = Make();
        used.MoveAll(Positions());
        used.Play(sound, {2, 0.3F, 90.0F, true, 7.0F});
        used.MoveAll(positions);
        used.slot->Reset(hard);
        EXPECT_EQ(used.Play(sound), fresh.Play(sound)) << "hard: " << hard;
    }
}

TEST_P(EffectTest, FaultsInSoundAndControlsDoNotStick) {
    auto clean = Sound(4400);
    auto faulty = clean;
    for (std::size_t n = 5; n < 4400; n += 97) {
        const float faults[] = {notANumber, infinity, -infinity, 3e38F};
        faulty[0][n] = faulty[1][n] = faults[n % 4];
        clean[0][n] = clean[1][n] = 0.0F;
    }
    const auto expected = Make().Play(clean);
    Unit unit = Make();
    const auto heard = unit.Play(faulty);
    EXPECT_TRUE(!Has(HearsFaultsAsSilence) || heard == expected);
    unit.slot->Reset(false);
    EXPECT_EQ(unit.Play(clean), expected);
    for (u32 id = 0; id < unit.Count(); ++id) {
        const float good = unit.Value(id);
        for (const float bad : {notANumber, infinity, -infinity, 1e30F}) {
            unit.Set({{id, bad}});
            const auto out = unit.Play(clean);
            EXPECT_TRUE(AllFinite(out[0]) && AllFinite(out[1])) << unit.Name(id) << " = " << bad;
        }
        unit.Set({{id, good}});
        unit.slot->Reset(true);
        EXPECT_EQ(unit.Play(clean), expected) << unit.Name(id);
        unit.slot->Reset(true);
    }
    for (const float bad : {notANumber, infinity, -infinity, 1e30F}) {
        for (u32 input = 2; input < 2 + unit.Modulated().size(); ++input) {
            EXPECT_TRUE(AllFinite(unit.Play(clean, {input, bad})[1])) << input << " = " << bad;
        }
        EXPECT_TRUE(AllFinite(unit.Play(clean, {0, 0.0F, bad, true, bad})[0])) << bad;
    }
}

TEST_P(EffectTest, AnyMovesOfTheControlsAtAnyRateStayBounded) {
    for (const float rate : {8000.0F, 44100.0F, 384000.0F}) {
        const auto sound = Sound(4400, 1.0F);
        Unit unit = Make({}, rate);
        for (u32 round = 0; round < 30; ++round) {
            const auto positions = Positions(0.2F);
            for (u32 id = 0; id < unit.Count(); ++id) {
                if (random() % 2 == 0) {
                    // The ends are where the extremes are.
                    unit.Move(id, random() % 3 == 0 ? std::round(positions[id]) : positions[id]);
                }
            }
            const auto input = static_cast<u32>(random() % (2 + unit.Modulated().size()));
            for (const Signal& out : unit.Play(sound, {input, positions[0]})) {
                EXPECT_TRUE(AllFinite(out)) << "round " << round << " at " << rate;
                EXPECT_LT(Peak(out), effect.loudest) << "round " << round << " at " << rate;
            }
        }
    }
}

TEST_P(EffectTest, EveryControlIsHeardAndModulationIsTheSameAsAMove) {
    const auto sound = Sound(17600);
    for (u32 id = 0; id < Make().Count(); ++id) {
        std::vector<Signal> ends[2];
        for (const u32 end : {0U, 1U}) {
            Unit unit = Make(effect.sounding);
            if (id == unit.Find("SyncRate")) {
                unit.Set({{unit.Find("TempoSync"), 1.0F}});
            }
            for (const auto& [needy, settings] : effect.further) {
                unit.Set(needy == id ? settings : Settings());
            }
            // Not the other end itself, which a phase has in common with this one.
            unit.Move(id, 0.9F * static_cast<float>(end));
            ends[end] = unit.Play(sound);
        }
        const double difference = Difference(ends[0], ends[1]);
        EXPECT_TRUE(difference > 0.01 || effect.inaudible.count(id) != 0)
            << Make().Name(id) << ": " << difference;
    }
    const auto modulated = Make().Modulated();
    for (u32 i = 0; i < modulated.size(); ++i) {
        Unit set = Make(effect.sounding);
        Unit moved = Make(effect.sounding);
        set.Move(modulated[i], 0.75F);
        moved.Move(modulated[i], 0.25F);
        EXPECT_EQ(moved.Play(sound, {2 + i, 0.5F}), set.Play(sound)) << "input " << 2 + i;
        // Its end is the end of the modulation.
        EXPECT_GT(Difference(moved.Play(sound), set.Play(sound)), 0.0) << "input " << 2 + i;
    }
}

/// To a tone of 210 Hz and -12 dBFS.
TEST_P(EffectTest, NoControlClicks) {
    const Signal sine = Tone(26460, 210.0, 44100.0, 0.25);
    for (u32 at = 0; at < 2 * Make().Count(); ++at) {
        const u32 id = at / 2;
        const auto from = static_cast<float>(at % 2);
        if (effect.stepped.count(id) == 0) {
            Unit unit = Make(effect.calm);
            unit.Move(id, from);
            Signal heard = unit.Play({sine, sine})[0];
            unit.Move(id, 1.0F - from);
            const Signal after = unit.Play({sine, sine})[0];
            heard.insert(heard.end(), after.begin(), after.end());
            const double own = std::max(PeakAbove6k(heard, 13200, 26400), PeakAbove6k(heard, 39600, 52800));
            const double added = std::max(PeakAbove6k(heard, 26000, 39600) - own, 1e-9);
            EXPECT_LT(20.0 * std::log10(added), effect.roughest) << unit.Name(id) << " from " << from;
        }
    }
}

/// What has the spectrum of speech and a level of -20 dBFS keeps that.
TEST_P(EffectTest, ADriveIsNoVolume) {
    Signal programme = Noise(44000, 1.0F, 3);
    float treble = 0.0F;
    float bass = 0.0F;
    for (float& x : programme) {
        treble += 0.09F * (x - treble);
        bass += 0.01F * (treble - bass);
        x = 0.846F * (treble - bass);
    }
    ASSERT_NEAR(Rms(programme), 0.1, 0.003);
    for (const auto& [id, first] : effect.drives) {
        const auto levelAt = [&, drive = id](float position) {
            Unit unit = Make(effect.open);
            unit.Move(drive, position);
            return 20.0 * std::log10(Rms(unit.Play({programme, programme})[0], 4400));
        };
        for (float position = first; position <= 1.0F; position += 0.1F) {
            EXPECT_NEAR(levelAt(position), levelAt(first), 2.0) << Make().Name(id) << " at " << position;
        }
        Unit unit = Make(effect.open);
        float peaks[4];
        for (u32 i = 0; i < 4; ++i) {
            unit.Move(id, i % 2 == 0 ? first : 1.0F);
            peaks[i] = Peak(unit.Play({programme, programme})[0], i < 2 ? 4400 : 0);
        }
        EXPECT_LT(std::max(peaks[2], peaks[3]), 1.5F * std::max(peaks[0], peaks[1]))
            << Make().Name(id) << " swells";
    }
}

TEST_P(EffectTest, AfterTheSoundThereIsSilenceInTheEnd) {
    const DenormalGuard guard;
    Unit unit = Make();
    if (effect.type == FXVariant::BitCrusherType) {
        unit.Set({{BitCrusher::Dither, 0.0F}});
    }
    unit.Play(Sound(8800));
    const std::vector<Signal> silence(2, Signal(44000, 0.0F));
    float peak = 1.0F;
    for (int second = 0; second < 40 && peak > 1e-30F; ++second) {
        const auto tail = unit.Play(silence);
        peak = std::max(Peak(tail[0]), Peak(tail[1]));
    }
    EXPECT_LT(peak, 1e-30F);
}

TEST_P(EffectTest, SidesAreTreatedAlikeAndADrySoundIsNotTouched) {
    const auto sound = Sound(17600);
    if (effect.type != FXVariant::ReverbType) {
        const auto ahead = Make(effect.alike).Play(sound);
        const auto swapped = Make(effect.alike).Play({sound[1], sound[0]});
        EXPECT_EQ(swapped[0], ahead[1]);
        EXPECT_EQ(swapped[1], ahead[0]);
    }
    Unit unit = Make();
    if (Has(PassesWhenDry) && unit.Find("DryWet") != none) {
        unit.Set({{unit.Find("DryWet"), 0.0F}});
        EXPECT_EQ(unit.Play(sound), sound);
    }
}

TEST_P(EffectTest, InTimeWithTheSongACycleTakesItsBeats) {
    const float beats[] = {32.0F, 16.0F, 12.0F, 8.0F, 6.0F, 4.0F, 3.0F, 2.0F, 1.5F, 1.0F, 2.0F / 3.0F, 0.5F};
    const auto sound = Sound(8800);
    for (u32 step = 0; effect.rate != none && step < std::size(beats); ++step) {
        for (const float tempo : {137.0F, 102.5F}) {
            Unit free = Make(effect.sounding);
            free.Set({{effect.rate, tempo / (60.0F * beats[step])}});
            const auto expected = free.Play(sound);
            // Without a tempo the rate is free.
            for (const float told : {tempo, 0.0F, -1.0F, notANumber, infinity}) {
                Unit synced = Make(effect.sounding);
                synced.Set({{synced.Find("TempoSync"), 1.0F},
                            {synced.Find("SyncRate"), static_cast<float>(step)},
                            {effect.rate, told == tempo ? 1.0F : tempo / (60.0F * beats[step])}});
                EXPECT_EQ(synced.Play(sound, {0, 0.0F, told}), expected) << step << " at " << told;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Every, EffectTest, testing::ValuesIn(Effects()),
                         [](const auto& row) { return std::string(FXVariant::typeNames[row.param.type]); });
