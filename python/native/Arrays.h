// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "python/native/RenderPass.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace orphia::python {

/// Single precision, (channels, frames), dense. The Python side has made it so; another one is refused.
using SoundArray = pybind11::array_t<float, pybind11::array::c_style>;

/// Of one or two channels. Throws UsageError. Valid as long as the array is.
Planes PlanesOf(const std::optional<SoundArray>& array);

/// A new array of two channels; without frames one of none.
SoundArray ArrayOf(std::span<const float> left, std::span<const float> right);

/// Runs what makes sound without the interpreter's lock; it may not touch Python.
template <class Work>
auto WithoutLock(Work&& work) {
    const pybind11::gil_scoped_release release;
    return std::forward<Work>(work)();
}

/// Whether Python wants to interrupt what runs without its lock: looked at now and then, as it takes the
/// lock.
class Interruption {
public:
    /// True from when a signal's handler has raised an exception on.
    bool HasCome();
    /// With the lock: raises that exception.
    void RaiseIfCome() const;

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point lastLook = Clock::now();
    bool hasCome = false;
};

} // namespace orphia::python
