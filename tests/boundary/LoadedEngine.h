// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "boundary/HostContract.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace orphia_contract {

/// The engine's library as a host loads it; unloaded with this object.
class Library {
public:
    explicit Library(const std::string& path = ORPHIA_ENGINE_LIBRARY)
        : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(handle, nullptr) << dlerror();
    }
    ~Library() {
        if (handle != nullptr) {
            dlclose(handle);
        }
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void* Symbol(const char* name) const { return dlsym(handle, name); }
    std::unique_ptr<Factory> MakeFactory() const {
        return std::unique_ptr<Factory>(reinterpret_cast<Factory* (*)()>(Symbol("GetProcessorFactory"))());
    }
    std::unique_ptr<Processor> MakeProcessor() const {
        return std::unique_ptr<Processor>(MakeFactory()->CreateProcessor());
    }

private:
    void* handle;
};

inline bool Initialize(Processor& processor, float sampleRate) { return processor.Initialize(&sampleRate); }

/// Stereo in by the auxiliary inputs, stereo out.
struct StereoBlock {
    static constexpr std::uint32_t room = 512;

    alignas(16) std::array<std::array<float, room>, 4> sound{};
    std::array<float*, 2> outputs{sound[0].data(), sound[1].data()};
    std::array<float*, 2> auxInputs{sound[2].data(), sound[3].data()};
    Block data;

    explicit StereoBlock(std::uint32_t frames) {
        sound[0].fill(9.0F);
        sound[1].fill(9.0F);
        data.Set(16, outputs.data());
        data.Set(36, 2U);
        data.Set(40, frames);
        data.Set(168, 120.0F);
        data.Set(184, auxInputs.data());
        data.Set(192, 2U);
    }
    float Peak(std::uint32_t frames) const {
        float peak = 0.0F;
        for (std::uint32_t n = 0; n < frames; ++n) {
            for (const std::uint32_t side : {0U, 1U}) {
                const float magnitude = sound[side][n] < 0.0F ? -sound[side][n] : sound[side][n];
                peak = magnitude <= peak ? peak : magnitude; // what is not a number stays
            }
        }
        return peak;
    }
};

} // namespace orphia_contract
