// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/RealFft.h"
#include "support/CException.h"

#include <kissfft.hh>

#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

namespace Velmora::dsp {

namespace {

using Bin = std::complex<float>;

Bin* AsSpectrum(float* data) { return reinterpret_cast<Bin*>(data); }

u32 HalfOf(u32 size) {
    if (size < 2 || size % 2 != 0) {
        throw CException("no real transform of size " + std::to_string(size), "RealFft", __LINE__);
    }
    return size / 2;
}

} // namespace

/// Both are transforms of half the size, of pairs of samples as complex numbers.
struct RealFft::Plans {
    explicit Plans(u32 half) : forward(half, false), inverse(half, true), turns(half) {
        for (u32 k = 0; k < half; ++k) {
            turns[k] = Bin(std::polar(1.0, std::numbers::pi * k / half));
        }
    }

    kissfft<float> forward;
    kissfft<float> inverse;
    std::vector<Bin> turns;
};

RealFft::RealFft(u32 size)
    : transformSize(size), work(BufferSize(size)), plans(std::make_unique<Plans>(HalfOf(size))) {}

RealFft::RealFft(RealFft&& other) noexcept = default;
RealFft::~RealFft() = default;

void RealFft::KeepLoaded() {}

void RealFft::Forward(float* data) {
    const u32 half = transformSize / 2;
    const Bin* const pairs = AsSpectrum(work.data());
    Bin* const bins = AsSpectrum(data);
    plans->forward.transform(bins, AsSpectrum(work.data()));
    // Of the even samples and the odd ones, whose spectra are the two halves of the pairs' symmetry.
    for (u32 k = 0; k <= half; ++k) {
        const Bin here = pairs[k % half];
        const Bin there = std::conj(pairs[(half - k) % half]);
        const Bin turn = k < half ? std::conj(plans->turns[k]) : Bin(-1.0F);
        const Bin odd = 0.5F * (here - there);
        bins[k] = 0.5F * (here + there) + turn * Bin(odd.imag(), -odd.real());
    }
}

void RealFft::Inverse(float* data) {
    const u32 half = transformSize / 2;
    const Bin* const bins = AsSpectrum(data);
    Bin* const pairs = AsSpectrum(work.data());
    for (u32 k = 0; k < half; ++k) {
        const Bin here = bins[k];
        const Bin there = std::conj(bins[half - k]);
        const Bin odd = plans->turns[k] * (here - there);
        pairs[k] = (here + there) + Bin(-odd.imag(), odd.real());
    }
    plans->inverse.transform(pairs, AsSpectrum(data));
    const float scale = 1.0F / static_cast<float>(transformSize);
    for (u32 n = 0; n < transformSize; ++n) {
        data[n] *= scale;
    }
}

} // namespace Velmora::dsp
