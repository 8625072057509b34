// SPDX-License-Identifier: GPL-3.0-or-later
// What every effect of a slot keeps, whatever it does to the sound. A new one is a paragraph of effects.txt.
#include "dsp/math/DenormalGuard.h"
#include "processor/effects/FXVariant.h"
#include "rigs/EffectRig.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;
using Velmora::Processor::FXVariant;

/// A paragraph of effects.txt: its lines by their first word; those of one word are joined by semicolons.
struct Effect {
    u32 type = 0;
    std::map<std::string, std::string> lines = {};

    std::string Text(const std::string& word) const { return lines.contains(word) ? lines.at(word) : ""; }
    double Number(const std::string& word) const { return std::stod(Text(word)); }
    bool Has(const std::string& trait) const { return Text("lacks").find(trait) == std::string::npos; }
};

void PrintTo(const Effect& effect, std::ostream* out) { *out << FXVariant::typeNames[effect.type]; }

/// All types but the empty one; what has no paragraph lacks numbers, and its tests fail.
std::vector<Effect> Effects() {
    std::ifstream file(std::filesystem::path(ORPHIA_EXAMPLES) / "../tests/processor/effects/effects.txt");
    std::vector<Effect> effects;
    for (u32 type = 1; type < FXVariant::typeCount; ++type) {
        effects.push_back({type});
    }
    std::size_t at = 0;
    for (std::string word, rest; file >> word && std::getline(file >> std::ws, rest);) {
        if (word == "effect") {
            const auto& names = FXVariant::typeNames;
            at = static_cast<std::size_t>(std::find(names.begin() + 1, names.end(), rest) - names.begin());
        } else if (word != "#") {
            effects.at(at - 1).lines[word] += rest + ";";
        }
    }
    return effects;
}

template <u32 in, u32 out, class... Modules>
std::vector<std::vector<u32>> ModulationInputs(const ModuleVariant<in, out, Modules...>* /*slot*/) {
    return {{Modules::modulationInputs.begin(), Modules::modulationInputs.end()}...};
}

/// The effect in a slot that holds nothing else to be heard. Ids are those of the effect's own.
struct Unit {
    const Effect& effect;
    std::unique_ptr<FXVariant> slot = std::make_unique<FXVariant>("");

    /// Under the settings of a line of its paragraph.
    explicit Unit(const Effect& which, const std::string& line = "", float rate = 44100.0F) : effect(which) {
        SetSlot(FXVariant::ModuleType, static_cast<float>(effect.type));
        slot->Initialize(rate, 64);
        Set(effect.Text(line));
    }
    u32 Outer(u32 id) const { return FXVariant::firstIds[effect.type] + id; }
    u32 Count() const { return FXVariant::firstIds[effect.type + 1] - Outer(0); }
    std::string Name(u32 id) { return NameOf(*slot, Outer(id)); }
    /// Items as "Name=1" or "Na*"; what has no value has 1.
    Settings Read(const std::string& text) {
        Settings settings;
        std::istringstream items(text);
        for (std::string item; std::getline(items >> std::ws, item, ' ');) {
            const auto equals = item.find('=');
            const std::string part = "_" + item.substr(0, item.find_first_of("*=;"));
            for (u32 id = 0; id < Count(); ++id) {
                if (item.find('*') < equals ? Name(id).find(part) != std::string::npos
                                            : Name(id).ends_with(part)) {
                    settings.emplace_back(id, equals < item.size() ? std::stof(item.substr(equals + 1)) : 1);
                }
            }
        }
        return settings;
    }
    bool Lists(const std::string& text, u32 id) {
        const Settings settings = Read(text);
        return std::any_of(settings.begin(), settings.end(), [id](auto& item) { return item.first == id; });
    }
    void Set(u32 id, float value) { slot->SetParameterValue(Outer(id), value); }
    void Set(const std::string& text) {
        for (const auto& [id, value] : Read(text)) {
            Set(id, value);
        }
    }
    void SetSlot(FXVariant::Additional id, float value) {
        slot->SetParameterValue(FXVariant::ParameterId(id), value);
    }
    void Move(u32 id, float position) { slot->SetParameterNormalized(Outer(id), position); }
    void MoveAll(const std::vector<float>& positions) {
        for (u32 id = 0; id < Count(); ++id) {
            Move(id, positions[id]);
        }
        Set(effect.Text("fixed"));
    }
    std::vector<u32> Modulated() const { return ModulationInputs(slot.get())[effect.type]; }

    /// how.input counts as the effect's own, from 2 on.
    std::vector<Signal> Play(const std::vector<Signal>& in, Playing how = {}) {
        how.input = how.input > 1 ? FXVariant::firstInputs[effect.type] + how.input - 2 : 0;
        return orphia::test::Play(*slot, in[0], in[1], how);
    }
};

class EffectTest : public testing::TestWithParam<Effect> {
protected:
    const Effect& effect = GetParam();
    std::mt19937 random{GetParam().type};

    Unit Make(const std::string& line = "", float rate = 44100.0F) const { return Unit(effect, line, rate); }
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

double InDb(double ratio) { return 20.0 * std::log10(std::max(ratio, 1e-9)); }

} // namespace

TEST_P(EffectTest, BlocksOfAnySizeSharedBuffersAndAResetGiveTheSameBits) {
    const auto sound = Sound(8000);
    Unit cut = Make();
    Unit inPlace = Make();
    for (int round = 0; round < 4; ++round) {
        Unit whole = Make();
        // The second pass runs while everything glides.
        for (int pass = 0; pass < (effect.Has("frames") ? 2 : 1); ++pass) {
            const auto positions = Positions();
            for (Unit* unit : {&whole, &cut, &inPlace}) {
                unit->MoveAll(positions);
                if (pass == 0) {
                    unit->slot->Reset(round % 2 == 0);
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
            EXPECT_TRUE(!effect.Has("in-place") || io == expected) << round;
        }
        cut.Play(sound, {2, 0.3F, 90.0F, true, 7.0F});
    }
}

TEST_P(EffectTest, FaultsInSoundAndControlsDoNotStick) {
    auto clean = Sound(4400);
    auto faulty = clean;
    constexpr float faults[] = {notANumber, infinity, -infinity, 1e30F};
    for (std::size_t n = 5; n < 4400; n += 97) {
        faulty[0][n] = faulty[1][n] = faults[n % 4] * 1e8F;
        clean[0][n] = clean[1][n] = 0.0F;
    }
    const auto expected = Make().Play(clean);
    Unit unit = Make();
    const auto heard = unit.Play(faulty);
    EXPECT_TRUE(!effect.Has("faults") || heard == expected);
    unit.slot->Reset(false);
    EXPECT_EQ(unit.Play(clean), expected);
    const auto expectFinite = [&](const Playing& how, const std::string& what) {
        const auto out = unit.Play(clean, how);
        EXPECT_TRUE(AllFinite(out[0]) && AllFinite(out[1])) << what;
    };
    for (u32 id = 0; id < unit.Count(); ++id) {
        const float good = unit.slot->FindParameter(unit.Outer(id))->GetValue();
        for (const float bad : faults) {
            unit.Set(id, bad);
            expectFinite({}, unit.Name(id));
        }
        unit.Set(id, good);
        unit.slot->Reset(true);
        EXPECT_EQ(unit.Play(clean), expected) << unit.Name(id);
        unit.slot->Reset(true);
    }
    for (const float bad : faults) {
        for (u32 input = 2; input < 2 + unit.Modulated().size(); ++input) {
            expectFinite({input, bad}, "modulation");
        }
        expectFinite({0, 0.0F, bad, true, bad}, "clock");
    }
}

TEST_P(EffectTest, AnyMovesOfTheControlsAtAnyRateStayBounded) {
    const auto sound = Sound(4400, 1.0F);
    for (const float rate : {8000.0F, 44100.0F, 384000.0F}) {
        Unit unit = Make("", rate);
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
                EXPECT_LT(Peak(out), effect.Number("loudest")) << "round " << round << " at " << rate;
            }
        }
    }
}

TEST_P(EffectTest, EveryControlIsHeardAndModulationIsTheSameAsAMove) {
    const auto sound = Sound(17600);
    for (u32 id = 0; id < Make().Count(); ++id) {
        std::vector<Signal> ends[2];
        for (const u32 end : {0U, 1U}) {
            Unit unit = Make("sounding");
            unit.Set(unit.Lists("SyncRate", id) ? "TempoSync" : "");
            std::istringstream further(effect.Text("further"));
            for (std::string needy, settings;
                 std::getline(further, needy, ':') && std::getline(further, settings, ';');) {
                unit.Set(unit.Lists(needy, id) ? settings : "");
            }
            // Not the other end itself, which a phase has in common with this one.
            unit.Move(id, 0.9F * static_cast<float>(end));
            ends[end] = unit.Play(sound);
        }
        EXPECT_TRUE(Difference(ends[0], ends[1]) > 0.01 || Make().Lists(effect.Text("inaudible"), id))
            << Make().Name(id);
    }
    const auto modulated = Make().Modulated();
    for (u32 i = 0; i < modulated.size(); ++i) {
        Unit set = Make("sounding");
        Unit moved = Make("sounding");
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
        Unit unit = Make("calm");
        unit.Move(id, from);
        Signal heard = unit.Play({sine, sine})[0];
        unit.Move(id, 1.0F - from);
        const Signal after = unit.Play({sine, sine})[0];
        heard.insert(heard.end(), after.begin(), after.end());
        const double own = std::max(PeakAbove6k(heard, 13200, 26400), PeakAbove6k(heard, 39600, 52800));
        EXPECT_TRUE(InDb(PeakAbove6k(heard, 26000, 39600) - own) < effect.Number("roughest") ||
                    unit.Lists(effect.Text("stepped"), id))
            << unit.Name(id) << " from " << from;
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
    for (const auto& [id, first] : Make().Read(effect.Text("drives"))) {
        const auto levelAt = [&, drive = id](float position) {
            Unit unit = Make("open");
            unit.Move(drive, position);
            return InDb(Rms(unit.Play({programme, programme})[0], 4400));
        };
        for (float position = first; position <= 1.0F; position += 0.1F) {
            EXPECT_NEAR(levelAt(position), levelAt(first), 2.0) << Make().Name(id) << " at " << position;
        }
        Unit unit = Make("open");
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
    using V = FXVariant;
    const std::map<std::string, V::Additional> switches = {
        {"type", V::ModuleType}, {"bypass", V::Bypass}, {"cross", V::CrossfadeOnBypass}};
    // The frames that each lasts; a type of 1 is its own.
    for (const char* row : {"type 0 8800 type 1 26400", "type 0 440 type 1 26400",
                            "type 0 1760 type 1 440 type 0 440", "bypass 1 8800 bypass 0 26400",
                            "bypass 1 440 bypass 0 26400", "bypass 1 440 type 0 440 type 1 440 bypass 0 8800",
                            "cross 0 440 cross 1 440 bypass 1 8800", "cross 1 0 bypass 1 880 cross 1 8800"}) {
        Unit unit = Make("calm");
        unit.Set("LookaheadEnable");
        unit.SetSlot(V::CrossfadeOnBypass, 1.0F);
        unit.SetSlot(V::FadeOnModuleChange, 1.0F);
        const Signal tone = Tone(100000, 210.0, 44100.0, 0.25);
        Signal heard;
        const auto play = [&](std::ptrdiff_t frames) {
            const auto from = tone.begin() + static_cast<std::ptrdiff_t>(heard.size());
            const Signal out = unit.Play({{from, from + frames}, {from, from + frames}})[0];
            heard.insert(heard.end(), out.begin(), out.end());
        };
        play(44000);
        std::istringstream moves(row);
        std::string what;
        float value = 0.0F;
        for (std::ptrdiff_t frames = 0; moves >> what >> value >> frames; play(frames)) {
            unit.SetSlot(switches.at(what), what == "type" ? value * float(effect.type) : value);
        }
        play(8800);
        // Of its own making.
        const double steady = PeakAbove6k(heard, 33000, 44000);
        EXPECT_LT(steady, 3e-5);
        EXPECT_LT(PeakAbove6k(heard, 43600, heard.size()), std::max(1.3e-4, 1.4 * steady)) << row;
    }
}

TEST_P(EffectTest, AfterTheSoundThereIsSilenceInTheEnd) {
    const DenormalGuard guard;
    Unit unit = Make();
    unit.Set("Dither=0");
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
    const auto ahead = Make("alike").Play(sound);
    const auto swapped = Make("alike").Play({sound[1], sound[0]});
    EXPECT_TRUE(!effect.Has("alike") || (swapped[0] == ahead[1] && swapped[1] == ahead[0]));
    const auto play = [&](const char* settings) {
        Unit unit = Make();
        unit.Set(settings);
        return unit.Play(sound);
    };
    if (!Make().Read("DryWetMode").empty()) {
        EXPECT_EQ(play("DryWetMode=1"), play("DryWet=1"));
    }
    if (effect.Has("dry")) {
        EXPECT_EQ(play("DryWet=0"), sound);
    }
}

/// And while the song plays it is where the song is, whenever it came to the song.
TEST_P(EffectTest, InTimeWithTheSongACycleTakesItsBeats) {
    const float beats[] = {32.0F, 16.0F, 12.0F, 8.0F, 6.0F, 4.0F, 3.0F, 2.0F, 1.5F, 1.0F, 2.0F / 3.0F, 0.5F};
    const auto sound = Sound(8800);
    const Settings rate = Make().Read(effect.Text("rate"));
    for (u32 step = 0; !rate.empty() && step < std::size(beats); ++step) {
        for (const float tempo : {137.0F, 102.5F}) {
            const float hz = tempo / (60.0F * beats[step]);
            Unit free = Make("sounding");
            free.Set(rate[0].first, hz);
            const auto expected = free.Play(sound);
            // Without a tempo the rate is free.
            for (const float told : {tempo, 0.0F, -1.0F, notANumber, infinity}) {
                Unit synced = Make("sounding");
                synced.Set("TempoSync SyncRate=" + std::to_string(step));
                synced.Set(rate[0].first, told == tempo ? 1.0F : hz);
                EXPECT_EQ(synced.Play(sound, {0, 0.0F, told}), expected) << step << " at " << told;
            }
        }
    }
    std::vector<Signal> heard;
    for (const std::size_t before : {440U, 8800U, 22000U}) {
        Unit unit = Make("sounding");
        unit.Set("TempoSync SyncRate=7 Drift=0");
        unit.Play(Sound(before));
        std::vector<Signal> out;
        for (int second = 0; second < (rate.empty() ? 0 : 5); ++second) {
            const float beat = 10.0F + 2.5F * static_cast<float>(second) * 44000.0F / 44100.0F;
            out = unit.Play(Sound(44000), {0, 0.0F, 150.0F, true, beat});
        }
        heard.insert(heard.end(), out.begin(), out.end());
    }
    for (std::size_t other = 2; other < heard.size(); ++other) {
        const Signal& first = heard[other % 2];
        EXPECT_LT(Difference({first, first}, {heard[other], heard[other]}), 0.05 * Rms(first));
    }
}

INSTANTIATE_TEST_SUITE_P(Every, EffectTest, testing::ValuesIn(Effects()),
                         [](const auto& row) { return std::string(FXVariant::typeNames[row.param.type]); });
