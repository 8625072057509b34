// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Included by one source per instruction set. Everything here is a template over the instruction set and
// calls nothing inline from elsewhere: the linker must not be able to pick a wide copy of a shared
// function for a processor without it.

#include "dsp/vectors/TransposeRows.h"
#include "vocoder/core/kernels/DiscriminatorKernel.h"
#include "vocoder/core/kernels/GateKernel.h"
#include "vocoder/core/kernels/VocoderKernels.h"
#include "vocoder/core/kernels/WideFloats.h"

#include <xsimd/xsimd.hpp>

#include <type_traits>

namespace Velmora::Processor::kernels {

template <class Arch>
struct Bank {
    using V = xsimd::batch<float, Arch>;
    static constexpr unsigned width = V::size;

    struct Stage {
        V b0, b1, b2, pull, carry;
    };

    /// Output history and last step of a stage.
    struct State {
        V y1, y2, e1;
    };

    static Stage LoadStage(const BiquadLanes& lanes, unsigned stage, unsigned lane) {
        return {V::load_aligned(&lanes.b0[stage][lane]), V::load_aligned(&lanes.b1[stage][lane]),
                V::load_aligned(&lanes.b2[stage][lane]), V::load_aligned(&lanes.pull[stage][lane]),
                V::load_aligned(&lanes.carry[stage][lane])};
    }

    static State LoadState(const BiquadLanes& lanes, unsigned stage, unsigned lane) {
        return {V::load_aligned(&lanes.past1[stage + 1][lane]),
                V::load_aligned(&lanes.past2[stage + 1][lane]), V::load_aligned(&lanes.step[stage][lane])};
    }

    static void StoreState(const State& s, BiquadLanes& lanes, unsigned stage, unsigned lane) {
        s.y1.store_aligned(&lanes.past1[stage + 1][lane]);
        s.y2.store_aligned(&lanes.past2[stage + 1][lane]);
        s.e1.store_aligned(&lanes.step[stage][lane]);
    }

    // The last step comes in last, which keeps the chain from sample to sample at one multiplication and one
    // addition.
    static V Step(const Stage& c, State& s, V feedForward) {
        const V e = feedForward - s.y2 * c.pull + s.e1 * c.carry;
        const V y = s.y1 + e;
        s.y2 = s.y1;
        s.y1 = y;
        s.e1 = e;
        return y;
    }

    /// firstSum(n) is the feed-forward sum of stage 1.
    template <class FirstSum>
    static void RunGroup(BiquadLanes& lanes, unsigned lane, float* rows, u32 frames, FirstSum firstSum) {
        const Stage first = LoadStage(lanes, 0, lane);
        const Stage second = LoadStage(lanes, 1, lane);
        State firstState = LoadState(lanes, 0, lane);
        State secondState = LoadState(lanes, 1, lane);
        for (u32 n = 0; n < frames; ++n) {
            const V y1 = firstState.y1;
            const V y2 = firstState.y2;
            const V y = Step(first, firstState, firstSum(n));
            Step(second, secondState, y * second.b0 + y1 * second.b1 + y2 * second.b2)
                .store_aligned(rows + n * bandCount + lane);
        }
        StoreState(firstState, lanes, 0, lane);
        StoreState(secondState, lanes, 1, lane);
    }

    /// With an input of its own for each lane, read(n).
    template <class Read>
    static void RunOnInputs(BiquadLanes& lanes, unsigned lane, float* rows, u32 frames, Read read) {
        const Stage first = LoadStage(lanes, 0, lane);
        V x1 = V::load_aligned(&lanes.past1[0][lane]);
        V x2 = V::load_aligned(&lanes.past2[0][lane]);
        RunGroup(lanes, lane, rows, frames, [&](u32 n) {
            const V x = read(n);
            const V sum = x * first.b0 + x1 * first.b1 + x2 * first.b2;
            x2 = x1;
            x1 = x;
            return sum;
        });
        x1.store_aligned(&lanes.past1[0][lane]);
        x2.store_aligned(&lanes.past2[0][lane]);
    }

    static void Run(BiquadLanes& lanes, float* rows, u32 frames) {
        for (unsigned lane = 0; lane < bandCount; lane += width) {
            RunOnInputs(lanes, lane, rows, frames,
                        [rows, lane](u32 n) { return V::load_aligned(rows + n * bandCount + lane); });
        }
    }

    // The numerator of a band-pass is b0 (1 - z^-2), that of a low-pass b0 (1 + z^-1)^2. Of one input for all
    // lanes, both are made once.
    static void RunOnOneInput(BiquadLanes& lanes, const float* input, float* rows, u32 frames) {
        float delayed[LaneTile::maxFrames + 2];
        float bandPass[LaneTile::maxFrames];
        float lowPass[LaneTile::maxFrames];
        delayed[0] = lanes.past2[0][0];
        delayed[1] = lanes.past1[0][0];
        for (u32 n = 0; n < frames; ++n) {
            delayed[n + 2] = input[n];
        }
        for (u32 n = 0; n < frames; ++n) {
            bandPass[n] = input[n] - delayed[n];
            lowPass[n] = (input[n] + delayed[n]) + (delayed[n + 1] + delayed[n + 1]);
        }
        for (unsigned lane = 0; lane < bandCount; lane += width) {
            const Stage first = LoadStage(lanes, 0, lane);
            const V half(0.5F);
            const V bandPassFactor = (first.b0 - first.b2) * half;
            const V lowPassFactor = (first.b0 + first.b2) * half;
            RunGroup(lanes, lane, rows, frames,
                     [&](u32 n) { return V(bandPass[n]) * bandPassFactor + V(lowPass[n]) * lowPassFactor; });
            V(delayed[frames + 1]).store_aligned(&lanes.past1[0][lane]);
            V(delayed[frames]).store_aligned(&lanes.past2[0][lane]);
        }
    }
};

template <class Arch>
struct Rectifiers {
    using D = xsimd::batch<double, Arch>;
    using F = xsimd::batch<float, Arch>;
    static constexpr unsigned width = D::size;
    /// The chain from sample to sample is long, so several vectors run side by side.
    static constexpr unsigned chains = 2;
    /// The frames of a block are a multiple of this.
    static constexpr u32 settleEvery = 4;

    struct State {
        D pole, out, step, envelope;
    };

    // One-pole and biquad, whose zeros the input has had, then clip, attack and release. Every factor between
    // the rectifier and the control voltage is folded into the rectifier's gains and the bias.
    template <bool settles, bool fastAttack>
    static void Tick(const RectifierLanes& lanes, unsigned at, State& s, float* cell, float* envelopeCell) {
        s.pole = WidenFloats<Arch>(cell) + s.pole * D::load_aligned(lanes.poleCarry + at);
        s.step =
            (s.pole - s.out * D::load_aligned(lanes.pull + at)) + s.step * D::load_aligned(lanes.carry + at);
        s.out = s.out + s.step;
        const D control = xsimd::max(s.out, D(0.0));
        StoreFloats(control, cell);
        s.envelope = Smooth<settles, fastAttack>(lanes, s.envelope, control);
        StoreFloats(s.envelope, envelopeCell);
    }

    // Near its target the envelope jumps there. It is enough to look at every fourth frame. Of both steps to
    // the target, the one of the attack is the larger one while it is faster: so upwards it is taken,
    // downwards the other.
    template <bool settles, bool fastAttack>
    static D Smooth(const RectifierLanes& lanes, D envelope, D target) {
        const D way = target - envelope;
        const D attack = way * D(lanes.attackCoefficient);
        const D release = way * D(lanes.releaseCoefficient);
        const D e = fastAttack ? xsimd::max(attack, release) : xsimd::min(attack, release);
        if constexpr (settles) {
            const D end = xsimd::max(target * D(1e-12), D(1e-20));
            return xsimd::select(xsimd::abs(e) >= end, envelope + e, target);
        }
        return envelope + e;
    }

    static State Load(const RectifierLanes& lanes, unsigned at) {
        return {D::load_aligned(lanes.pole + at), D::load_aligned(lanes.out + at),
                D::load_aligned(lanes.step + at), D::load_aligned(lanes.envelope + at)};
    }

    static void Store(const State& s, RectifierLanes& lanes, unsigned at) {
        s.pole.store_aligned(lanes.pole + at);
        s.out.store_aligned(lanes.out + at);
        s.step.store_aligned(lanes.step + at);
        s.envelope.store_aligned(lanes.envelope + at);
    }

    template <bool fastAttack>
    static void RunChains(RectifierLanes& lanes, unsigned lane, float* rows, float* envelopes, u32 frames) {
        State states[chains];
        for (unsigned k = 0; k < chains; ++k) {
            states[k] = Load(lanes, lane + k * width);
        }
        const auto step = [&]<bool settles>(u32 n, std::bool_constant<settles>) {
            for (unsigned k = 0; k < chains; ++k) {
                const unsigned at = lane + k * width;
                Tick<settles, fastAttack>(lanes, at, states[k], rows + n * bandCount + at,
                                          envelopes + n * bandCount + at);
            }
        };
        for (u32 n = 0; n < frames; n += settleEvery) {
            for (u32 i = 0; i + 1 < settleEvery; ++i) {
                step(n + i, std::false_type());
            }
            step(n + settleEvery - 1, std::true_type());
        }
        for (unsigned k = 0; k < chains; ++k) {
            Store(states[k], lanes, lane + k * width);
        }
    }

    // Full-wave rectification and the zeros of the filters behind it, still in single precision: nothing of
    // this has a memory that could build up error.
    static void Rectify(RectifierLanes& lanes, float* rows, u32 frames) {
        for (unsigned lane = 0; lane < bandCount; lane += F::size) {
            const F gainPositive = F::load_aligned(lanes.gainPositive + lane);
            const F gainNegative = F::load_aligned(lanes.gainNegative + lane);
            const F bias = F::load_aligned(lanes.bias + lane);
            F past[zeroCount];
            for (u32 i = 0; i < zeroCount; ++i) {
                past[i] = F::load_aligned(lanes.past[i] + lane);
            }
            for (u32 n = 0; n < frames; ++n) {
                float* cell = rows + n * bandCount + lane;
                F x = F::load_aligned(cell);
                x = x * xsimd::select(x > F(0.0F), gainPositive, gainNegative);
                for (u32 i = 0; i < zeroCount; ++i) {
                    const F sum = x + past[i];
                    past[i] = x;
                    x = i == 0 ? sum + bias : sum;
                }
                x.store_aligned(cell);
            }
            for (u32 i = 0; i < zeroCount; ++i) {
                past[i].store_aligned(lanes.past[i] + lane);
            }
        }
    }

    static void Run(RectifierLanes& lanes, float* rows, float* envelopes, u32 frames) {
        Rectify(lanes, rows, frames);
        for (unsigned lane = 0; lane < bandCount; lane += chains * width) {
            if (lanes.attackCoefficient >= lanes.releaseCoefficient) {
                RunChains<true>(lanes, lane, rows, envelopes, frames);
            } else {
                RunChains<false>(lanes, lane, rows, envelopes, frames);
            }
        }
    }
};

/// Exchange between band buffers and tiles, 4 x 4 samples at a time. Arch is a four-lane instruction set; in
/// a source for wider ones the same code comes out shorter.
template <class Arch>
struct Exchange {
    using V = xsimd::batch<float, Arch>;
    static_assert(V::size == 4);

    static void Gather(const float* const* bands, u32 offset, u32 frames, LaneTile& tile) {
        for (u32 band = 0; band < bandCount; band += 4) {
            const float* const in[4] = {bands[band] + offset, bands[band + 1] + offset,
                                        bands[band + 2] + offset, bands[band + 3] + offset};
            float* row = &tile.samples[0][band];
            for (u32 n = 0; n < frames; n += 4, row += 4 * bandCount) {
                V rows[4] = {V::load_unaligned(in[0] + n), V::load_unaligned(in[1] + n),
                             V::load_unaligned(in[2] + n), V::load_unaligned(in[3] + n)};
                dsp::TransposeRows(rows[0], rows[1], rows[2], rows[3]);
                for (u32 i = 0; i < 4; ++i) {
                    rows[i].store_aligned(row + i * bandCount);
                }
            }
        }
    }

    static void Scatter(const LaneTile& tile, u32 frames, float* const* bands, u32 offset) {
        for (u32 band = 0; band < bandCount; band += 4) {
            float* const out[4] = {bands[band] + offset, bands[band + 1] + offset, bands[band + 2] + offset,
                                   bands[band + 3] + offset};
            const float* row = &tile.samples[0][band];
            for (u32 n = 0; n < frames; n += 4, row += 4 * bandCount) {
                V rows[4] = {V::load_aligned(row), V::load_aligned(row + bandCount),
                             V::load_aligned(row + 2 * bandCount), V::load_aligned(row + 3 * bandCount)};
                dsp::TransposeRows(rows[0], rows[1], rows[2], rows[3]);
                for (u32 i = 0; i < 4; ++i) {
                    rows[i].store_unaligned(out[i] + n);
                }
            }
        }
    }

    static void Sum(const LaneTile& tile, u32 frames, float* out) {
        for (u32 n = 0; n < frames; n += 4) {
            V rows[4];
            for (u32 i = 0; i < 4; ++i) {
                const float* row = tile.samples[n + i];
                rows[i] = (V::load_aligned(row) + V::load_aligned(row + 4)) +
                          (V::load_aligned(row + 8) + V::load_aligned(row + 12));
            }
            dsp::TransposeRows(rows[0], rows[1], rows[2], rows[3]);
            ((rows[0] + rows[1]) + (rows[2] + rows[3])).store_unaligned(out + n);
        }
    }
};

template <class Arch>
struct Amplifier {
    template <class Four>
    static void Run(const AmplifierPins& pins, float scale, u32 frames) {
        ForEachVector<Arch, Four>(frames, [&]<class V>(u32 n, V) {
            const V sum = V::load_unaligned(pins.noise + n) * V::load_unaligned(pins.second + n) +
                          V::load_unaligned(pins.carrier + n) * V::load_unaligned(pins.first + n);
            (sum * V(scale)).store_unaligned(pins.out + n);
        });
    }
};

template <class Arch, class Four>
struct Synthesis {
    using V = xsimd::batch<float, Arch>;

    /// What the filters of lanes [lane, lane + width) read at a frame.
    static V Amplify(const AmplifierDrive& drive, const LaneTile& controls, unsigned lane, u32 n) {
        const V gain = V::load_aligned(drive.lanes.gain + lane);
        const V first = V::load_aligned(drive.envelopes.samples[n] + lane) * gain;
        const V second = V::load_aligned(controls.samples[n] + lane) * gain;
        return V(drive.noise[n]) * second + V(drive.carrier[n]) * first;
    }

    static void Run(BiquadLanes& lanes, const AmplifierDrive& drive, LaneTile& controls, u32 frames,
                    float* out) {
        for (unsigned lane = 0; lane < bandCount; lane += V::size) {
            Bank<Arch>::RunOnInputs(lanes, lane, controls.Data(), frames,
                                    [&](u32 n) { return Amplify(drive, controls, lane, n); });
        }
        Exchange<Four>::Sum(controls, frames, out);
    }
};

/// Four is a four-lane instruction set that no other source instantiates, Double one of at most four doubles.
template <class Arch, class Four, class Double>
constexpr VocoderKernels MakeKernels(const char* name) {
    return {name,
            &Bank<Arch>::Run,
            &Bank<Arch>::RunOnOneInput,
            &Exchange<Four>::Gather,
            &Exchange<Four>::Scatter,
            &Exchange<Four>::Sum,
            &Amplifier<Arch>::template Run<Four>,
            &Rectifiers<Arch>::Run,
            &Synthesis<Arch, Four>::Run,
            &Discriminator<Double, Four>::Run,
            &GateAmplifier<Arch, Four>::Run,
            &BusSaturation<Arch, Four>::Run};
}

} // namespace Velmora::Processor::kernels
