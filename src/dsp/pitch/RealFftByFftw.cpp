// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/RealFft.h"
#include "support/CException.h"
#include "support/platform/KeepLoaded.h"

#include <fftw3.h>

#include <algorithm>
#include <mutex>
#include <string>

namespace Velmora::dsp {

namespace {

/// All but the execution of a plan is shared by the whole process: by other libraries, and by other copies of
/// this one, which no lock of ours would reach.
void MakePlannerSafe() {
    static std::once_flag once;
    std::call_once(once, fftwf_make_planner_thread_safe);
}

fftwf_complex* AsSpectrum(float* data) { return reinterpret_cast<fftwf_complex*>(data); }

} // namespace

struct RealFft::Plans {
    struct Deleter {
        void operator()(fftwf_plan_s* plan) const { fftwf_destroy_plan(plan); }
    };

    std::unique_ptr<fftwf_plan_s, Deleter> forward;
    std::unique_ptr<fftwf_plan_s, Deleter> inverse;
};

RealFft::RealFft(RealFft&& other) noexcept = default;
RealFft::~RealFft() = default;

void RealFft::KeepLoaded() {
    // What FFTW remembers of its plans would be lost each time that it is unloaded with this library. To
    // clear it instead would take away the plans of others in the process.
    Platform::KeepLoaded(&fftwf_cleanup);
    // Its planner calls the locks of the other one of its libraries.
    Platform::KeepLoaded(&fftwf_make_planner_thread_safe);
}

RealFft::RealFft(u32 size) : transformSize(size), work(BufferSize(size)), plans(std::make_unique<Plans>()) {
    AlignedBuffer buffer(BufferSize(size));
    float* data = buffer.data();
    const int length = static_cast<int>(size);
    MakePlannerSafe();
    // An estimated plan is quick to make, and the same in every run, so results repeat to the last bit.
    plans->forward.reset(fftwf_plan_dft_r2c_1d(length, data, AsSpectrum(work.data()), FFTW_ESTIMATE));
    plans->inverse.reset(fftwf_plan_dft_c2r_1d(length, AsSpectrum(data), work.data(), FFTW_ESTIMATE));
    if (plans->forward == nullptr || plans->inverse == nullptr) {
        throw CException("no real transform of size " + std::to_string(size), "RealFft", __LINE__);
    }
}

void RealFft::Forward(float* data) {
    fftwf_execute_dft_r2c(plans->forward.get(), data, AsSpectrum(work.data()));
    std::copy_n(work.data(), transformSize + 2, data);
}

void RealFft::Inverse(float* data) {
    fftwf_execute_dft_c2r(plans->inverse.get(), AsSpectrum(data), work.data());
    const float scale = 1.0F / static_cast<float>(transformSize);
    for (u32 n = 0; n < transformSize; ++n) {
        data[n] = work[n] * scale;
    }
}

} // namespace Velmora::dsp
