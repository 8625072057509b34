// SPDX-License-Identifier: GPL-3.0-or-later
#include "python/native/Arrays.h"

#include "host/common/Errors.h"

#include <algorithm>
#include <cstddef>

namespace orphia::python {

namespace py = pybind11;

Planes PlanesOf(const std::optional<SoundArray>& array) {
    if (!array) {
        return {};
    }
    if (array->ndim() != 2 || array->shape(0) < 1 || array->shape(0) > 2) {
        throw host::UsageError("sound must have the shape (channels, frames), with one or two channels");
    }
    const auto frames = static_cast<std::size_t>(array->shape(1));
    return {array->data(), array->data() + (array->shape(0) == 2 ? frames : 0), frames};
}

SoundArray ArrayOf(std::span<const float> left, std::span<const float> right) {
    const auto frames = static_cast<py::ssize_t>(left.size());
    SoundArray array(std::vector<py::ssize_t>{2, frames});
    float* const samples = array.mutable_data();
    std::copy(left.begin(), left.end(), samples);
    std::copy(right.begin(), right.end(), samples + frames);
    return array;
}

bool Interruption::HasCome() {
    constexpr std::chrono::milliseconds pause(100);
    const Clock::time_point now = Clock::now();
    if (!hasCome && now - lastLook >= pause) {
        lastLook = now;
        const py::gil_scoped_acquire lock;
        hasCome = PyErr_CheckSignals() != 0;
    }
    return hasCome;
}

void Interruption::RaiseIfCome() const {
    if (hasCome) {
        throw py::error_already_set();
    }
}

} // namespace orphia::python
