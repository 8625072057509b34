// SPDX-License-Identifier: GPL-3.0-or-later
// What every effect of a slot keeps, whatever it does to the sound. A new one is a paragraph of effects.txt.
#include "dsp/math/DenormalGuard.h"
#include "processor/effects/FXVariant.h"
#include "rigs/EffectRig.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;
using Velmora::Processor::FXVariant;

constexpr u32 none = 1000;

/// A paragraph of effects.txt. Ids are those of the effect's own.
struct Effect {
    u32 type = 0;
    float loudest = 0.0F;
    double roughest = 0.0;
    std::set<std::string> lacks = {};
    std::vector<std::pair<u32, Settings>> further = {};
    /// Of all other lines, by their first word; what has no value has 1.
    std::map<std::string, Settings> lines = {};

    Settings Under(const std::string& line) const {
        return lines.count(line) != 0 ? lines.at(line) : Settings();
    }
    bool Lists(const std::string& line, u32 id) const {
        const Settings settings = Under(line);
        return std::any_of(settings.begin(), settings.end(),
                           [id](const auto& item) { return item.first == id; });
    }
    u32 Rate() const { return lines.count("rate") != 0 ? lines.at("rate")[0].first : none; }
};

void PrintTo(const Effect& effect, std::ostream* out) { *out << FXVariant::typeNames[effect.type]; }

/// The rest of a line, up to a colon.
Settings ReadSettings(std::istream& line, FXVariant& slot, u32 type) {
    Settings settings;
    std::string item;
    while (line >> item && item != ":") {
        const auto equals = std::min(item.find('='), item.size());
        const auto star = std::min(item.find('*'), equals);
        const std::string part = "_" + item.substr(0, star);
        const float value = equals < item.size() ? std::stof(item.substr(equals + 1)) : 1.0F;
        for (u32 id = FXVariant::firstIds[type]; id < FXVariant::firstIds[type + 1]; ++id) {
            const std::string name = NameOf(slot, id);
            if (star < equals ? name.find(part) != std::string::npos : name.ends_with(part)) {
                settings.emplace_back(id - FXVariant::firstIds[type], value);
            }
        }
    }
    return settings;
}

std::vector<Effect> Effects() {
    const auto slot = std::make_unique<FXVariant>("");
    std::ifstream file(std::filesystem::path(ORPHIA_EXAMPLES) / "../tests/processor/effects/effects.txt");
    std::vector<Effect> effects;
    for (std::string text; std::getline(file, text);) {
        std::istringstream line(text);
        std::string word;
        line >> word;
        if (word == "effect") {
            line >> word;
            const auto& names = FXVariant::typeNames;
            effects.push_back(
                {static_cast<u32>(std::find(names.begin(), names.end(), word) - names.begin())});
        } else if (!word.empty() && word != "#") {
            Effect& effect = effects.back();
            if (word == "loudest") {
                line >> effect.loudest;
            } else if (word == "roughest") {
                line >> effect.roughest;
            } else if (word == "lacks") {
                effect.lacks = {std::istream_iterator<std::string>(line), {}};
            } else if (word == "further") {
                const Settings needy = ReadSettings(line, *slot, effect.type);
                const Settings settings = ReadSettings(line, *slot, effect.type);
                for (const auto& [id, unused] : needy) {
                    effect.further.emplace_back(id, settings);
                }
            } else {
                effect.lines[word] = ReadSettings(line, *slot, effect.type);
            }
        }
    }
    return effects;
}

template <u32 in, u32 out, class... Modules>
std::vector<std::vector<u32>> ModulationInputs(const ModuleVariant<in, out, Modules...>* /*slot*/) {
    return {{Modules::modulationInputs.begin(), Modules::modulationInputs.end()}...};
}

/// The effect in a slot that holds nothing else to be heard.
struct Unit {
    u32 type;
    Settings fixed;
    std::unique_ptr<FXVariant> slot = std::make_unique<FXVariant>("");

    explicit Unit(const Effect& effect, const Settings& settings = {}, float rate = 44100.0F)
        : type(effect.type), fixed(effect.Under("fixed")) {
        slot->SetParameterValue(FXVariant::ParameterId(FXVariant::ModuleType), static_cast<float>(type));
        slot->Initialize(rate, 64);
        Set(settings);
    }
    void Set(const Settings& settings) {
        for (const auto& [id, value] : settings) {
            slot->SetParameterValue(FXVariant::firstIds[type] + id, value);
        }
    }
    void Move(u32 id, float position) {
        slot->SetParameterNormalized(FXVariant::firstIds[type] + id, position);
    }
    void MoveAll(const std::vector<float>& positions) {
        for (u32 id = 0; id < Count(); ++id) {
            Move(id, positions[id]);
        }
        Set(fixed);
    }
    float Value(u32 id) { return slot->FindParameter(FXVariant::firstIds[type] + id)->GetValue(); }
    u32 Count() const { return FXVariant::firstIds[type + 1] - FXVariant::firstIds[type]; }
    std::string Name(u32 id) { return NameOf(*slot, FXVariant::firstIds[type] + id); }
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

    bool Has(const std::string& trait) const { return effect.lacks.count(trait) == 0; }
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
        for (int pass = 0; pass < (Has("frames") ? 2 : 1); ++pass) {
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
            EXPECT_TRUE(!Has("in-place") || io == expected) << round;
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
    EXPECT_TRUE(!Has("faults") || heard == expected);
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
            Unit unit = Make(effect.Under("sounding"));
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
        EXPECT_TRUE(difference > 0.01 || effect.Lists("inaudible", id))
            << Make().Name(id) << ": " << difference;
    }
    const auto modulated = Make().Modulated();
    for (u32 i = 0; i < modulated.size(); ++i) {
        Unit set = Make(effect.Under("sounding"));
        Unit moved = Make(effect.Under("sounding"));
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
        if (!effect.Lists("stepped", id)) {
            Unit unit = Make(effect.Under("calm"));
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
    for (const auto& [id, first] : effect.Under("drives")) {
        const auto levelAt = [&, drive = id](float position) {
            Unit unit = Make(effect.Under("open"));
            unit.Move(drive, position);
            return 20.0 * std::log10(Rms(unit.Play({programme, programme})[0], 4400));
        };
        for (float position = first; position <= 1.0F; position += 0.1F) {
            EXPECT_NEAR(levelAt(position), levelAt(first), 2.0) << Make().Name(id) << " at " << position;
        }
        Unit unit = Make(effect.Under("open"));
        float peaks[4];
        for (u32 i = 0; i < 4; ++i) {
            unit.Move(id, i % 2 == 0 ? first : 1.0F);
            peaks[i] = Peak(unit.Play({programme, programme})[0], i < 2 ? 4400 : 0);
        }
        EXPECT_LT(std::max(peaks[2], peaks[3]), 1.5F * std::max(peaks[0], peaks[1]))
            << Make().Name(id) << " swells";
    }
}

/// Types and bypasses, there and back, slowly and within the fades, while a low tone plays.
TEST_P(EffectTest, SwitchedInAndOutAndBackItDoesNotClick) {
    constexpr float own = -1.0F;
    struct Move {
        u32 id;
        float value;
        std::size_t frames;
    };
    using V = FXVariant;
    const std::vector<Move> rows[] = {
        {{V::ModuleType, 0.0F, 8800}, {V::ModuleType, own, 26400}},
        {{V::ModuleType, 0.0F, 440}, {V::ModuleType, own, 26400}},
        {{V::ModuleType, 0.0F, 1760}, {V::ModuleType, own, 440}, {V::ModuleType, 0.0F, 440}},
        {{V::Bypass, 1.0F, 8800}, {V::Bypass, 0.0F, 26400}},
        {{V::Bypass, 1.0F, 440}, {V::Bypass, 0.0F, 26400}},
        {{V::Bypass, 1.0F, 440},
         {V::ModuleType, 0.0F, 440},
         {V::ModuleType, own, 440},
         {V::Bypass, 0.0F, 8800}},
        {{V::CrossfadeOnBypass, 0.0F, 440}, {V::CrossfadeOnBypass, 1.0F, 440}, {V::Bypass, 1.0F, 8800}},
        {{V::CrossfadeOnBypass, 1.0F, 0}, {V::Bypass, 1.0F, 880}, {V::CrossfadeOnBypass, 1.0F, 8800}}};
    for (const auto& row : rows) {
        Unit unit = Make(effect.Under("calm"));
        if (effect.type == V::CompressorType) {
            unit.Set({{Compressor::LookaheadEnable, 1.0F}});
        }
        for (const u32 fade : {V::CrossfadeOnBypass, V::FadeOnModuleChange}) {
            unit.slot->SetParameterValue(V::ParameterId(fade), 1.0F);
        }
        Signal heard;
        const auto play = [&](std::size_t frames) {
            const Signal all = Tone(heard.size() + frames, 210.0, 44100.0, 0.25);
            const Signal tone(all.begin() + static_cast<std::ptrdiff_t>(heard.size()), all.end());
            const Signal out = unit.Play({tone, tone})[0];
            heard.insert(heard.end(), out.begin(), out.end());
        };
        play(44000);
        for (const auto& [id, value, frames] : row) {
            unit.slot->SetParameterValue(V::ParameterId(id),
                                         value == own ? static_cast<float>(effect.type) : value);
            play(frames);
        }
        play(8800);
        // Of its own making.
        const double steady = PeakAbove6k(heard, 33000, 44000);
        EXPECT_LT(steady, 3e-5);
        EXPECT_LT(PeakAbove6k(heard, 43600, heard.size()), std::max(1.3e-4, 1.4 * steady))
            << "row " << &row - rows;
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
        const auto ahead = Make(effect.Under("alike")).Play(sound);
        const auto swapped = Make(effect.Under("alike")).Play({sound[1], sound[0]});
        EXPECT_EQ(swapped[0], ahead[1]);
        EXPECT_EQ(swapped[1], ahead[0]);
    }
    const u32 mix = Make().Find("DryWet");
    const u32 wetAlone = Make().Find("DryWetMode");
    if (wetAlone != none) {
        EXPECT_EQ(Make({{wetAlone, 1.0F}}).Play(sound), Make({{mix, 1.0F}}).Play(sound));
    }
    if (Has("dry") && mix != none) {
        EXPECT_EQ(Make({{mix, 0.0F}}).Play(sound), sound);
    }
}

TEST_P(EffectTest, InTimeWithTheSongACycleTakesItsBeats) {
    const float beats[] = {32.0F, 16.0F, 12.0F, 8.0F, 6.0F, 4.0F, 3.0F, 2.0F, 1.5F, 1.0F, 2.0F / 3.0F, 0.5F};
    const auto sound = Sound(8800);
    for (u32 step = 0; effect.Rate() != none && step < std::size(beats); ++step) {
        for (const float tempo : {137.0F, 102.5F}) {
            Unit free = Make(effect.Under("sounding"));
            free.Set({{effect.Rate(), tempo / (60.0F * beats[step])}});
            const auto expected = free.Play(sound);
            // Without a tempo the rate is free.
            for (const float told : {tempo, 0.0F, -1.0F, notANumber, infinity}) {
                Unit synced = Make(effect.Under("sounding"));
                synced.Set({{synced.Find("TempoSync"), 1.0F},
                            {synced.Find("SyncRate"), static_cast<float>(step)},
                            {effect.Rate(), told == tempo ? 1.0F : tempo / (60.0F * beats[step])}});
                EXPECT_EQ(synced.Play(sound, {0, 0.0F, told}), expected) << step << " at " << told;
            }
        }
    }
}

/// Whenever it came to the song.
TEST_P(EffectTest, WhileTheSongPlaysTheCycleIsWhereTheSongIs) {
    const auto noise = Sound(44000);
    std::vector<Signal> heard;
    for (const std::size_t before : {440U, 8800U, 22000U}) {
        Unit unit = Make(effect.Under("sounding"));
        if (effect.Rate() == none || unit.Find("SyncRate") == none) {
            return;
        }
        unit.Set({{unit.Find("TempoSync"), 1.0F}, {unit.Find("SyncRate"), 7.0F}});
        if (unit.Find("Drift") != none) {
            unit.Set({{unit.Find("Drift"), 0.0F}});
        }
        unit.Play(Sound(before));
        for (int second = 0; second < 5; ++second) {
            const float beat = 10.0F + 2.5F * static_cast<float>(second) * 44000.0F / 44100.0F;
            auto out = unit.Play(noise, {0, 0.0F, 150.0F, true, beat});
            if (second == 4) {
                heard.push_back(out[0]);
            }
        }
    }
    for (const std::size_t other : {1U, 2U}) {
        EXPECT_LT(Difference({heard[0], heard[0]}, {heard[other], heard[other]}), 0.05 * Rms(heard[0]));
    }
}

INSTANTIATE_TEST_SUITE_P(Every, EffectTest, testing::ValuesIn(Effects()),
                         [](const auto& row) { return std::string(FXVariant::typeNames[row.param.type]); });
