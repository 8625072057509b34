// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace Velmora::dsp {

/// Floats for long memories, of which many may never be used: they are zero without having been written, so
/// that the system backs each page when it is touched first. Vectors of four are aligned.
class ZeroedBuffer {
public:
    explicit ZeroedBuffer(std::size_t count)
        : floats(static_cast<float*>(std::calloc(count, sizeof(float)))) {
        if (floats == nullptr) {
            throw std::bad_alloc();
        }
    }

    float* data() { return floats.get(); }
    const float* data() const { return floats.get(); }

private:
    struct Free {
        void operator()(float* memory) const { std::free(memory); }
    };

    std::unique_ptr<float[], Free> floats;
};

} // namespace Velmora::dsp
