// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Platform.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <vector>

namespace Velmora::dsp {

/// Allocates on cache lines, which satisfies every vector width.
template <class T>
struct CacheLineAllocator {
    using value_type = T;
    static constexpr std::align_val_t alignment{64};

    CacheLineAllocator() = default;
    template <class U>
    CacheLineAllocator(const CacheLineAllocator<U>& /*other*/) {}

    /// From here on it pays to ask for the pages in one go.
    static constexpr std::size_t largeBytes = 32768;

    T* allocate(std::size_t count) {
        const std::size_t bytes = count * sizeof(T);
        void* memory = ::operator new(bytes, alignment);
        if (bytes >= largeBytes) {
            Platform::BackMemory(memory, bytes);
        }
        return static_cast<T*>(memory);
    }
    void deallocate(T* pointer, std::size_t /*count*/) { ::operator delete(pointer, alignment); }

    template <class U>
    bool operator==(const CacheLineAllocator<U>& /*other*/) const {
        return true;
    }
};

using AlignedBuffer = std::vector<float, CacheLineAllocator<float>>;

/// Frames rounded up to the groups of four that inner loops work in.
constexpr u32 RoundUpToFour(u32 frames) { return (frames + 3U) & ~3U; }

/// Block buffers cut from one allocation, each of `frames` samples rounded up to four, so that all of them
/// are 16-byte aligned; all zero. Set up off the audio path.
class BlockPool {
public:
    void Allocate(u32 bufferCount, u32 frames) {
        stride = RoundUpToFour(frames);
        storage.assign(static_cast<std::size_t>(bufferCount) * stride, 0.0F);
    }
    float* operator[](u32 index) { return storage.data() + static_cast<std::size_t>(index) * stride; }

private:
    AlignedBuffer storage;
    u32 stride = 0;
};

} // namespace Velmora::dsp
