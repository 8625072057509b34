// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

/// The library's boundary as a host knows it that was written apart from this project: none of our headers.
/// The classes are not in an anonymous namespace, since the compiler could tell then that nothing implements
/// them.
namespace orphia_contract {

struct Logger {
    virtual void Log(const char* text, std::uint32_t level) = 0;
};

struct Processor {
    virtual void* GetInfo() = 0;
    virtual bool Reserved1() = 0;
    virtual bool Initialize(const void* setup) = 0;
    virtual bool Connect(Logger* logger) = 0;
    virtual bool Terminate() = 0;
    virtual bool Reserved5() = 0;
    virtual bool Reserved6() = 0;
    virtual bool GetParameter(std::uint32_t id, float* value) = 0;
    virtual bool SetParameter(std::uint32_t id, float value) = 0;
    virtual bool GetParameterData(std::uint32_t id, void* buffer, std::uint32_t* size) = 0;
    virtual bool SetParameterData(std::uint32_t id, const void* data, std::uint32_t* size) = 0;
    virtual bool GetParameterInfo(std::uint32_t id, void* record) = 0;
    virtual bool GetParameterInfoByIndex(std::uint32_t index, std::uint32_t* id, void* record) = 0;
    virtual ~Processor() = default;
    virtual std::uint32_t GetVersion() = 0;
    virtual std::uint32_t GetParameterCount() = 0;
    virtual bool Reserved16() = 0;
    virtual bool PushEvent(const unsigned char* midi) = 0;
    virtual bool Hook18() = 0;
    virtual bool Hook19() = 0;
    virtual bool Reserved20() = 0;
    virtual bool ClearEvents() = 0;
    virtual bool Reserved22() = 0;
    virtual bool GetParameterValueChanges(void** records, std::uint32_t* count) = 0;
    virtual bool GetParameterDataChanges(void** records, std::uint32_t* count) = 0;
    virtual bool Reserved25(void** records, std::uint32_t* count) = 0;
    virtual std::uint32_t GetBlockSize(float sampleRate) = 0;
    virtual bool Reserved27() = 0;
    virtual bool Reserved28() = 0;
    virtual std::uint32_t GetLatency() = 0;
    virtual std::uint32_t GetExtraLatency() = 0;
    virtual bool Reserved31() = 0;
    virtual void Hook32() = 0;
    virtual void Hook33() = 0;
    virtual void* GetInfoV5() = 0;
    virtual bool IsLoading() = 0;
    virtual void Idle() = 0;
    virtual bool Process(void* data) = 0;
};

struct Factory {
    virtual std::uint32_t GetInterfaceVersion() = 0;
    virtual Processor* CreateProcessor() = 0;
    virtual ~Factory() = default;
    char version[256];
    char vendor[256];
    char name[256];
};

/// A block, by the host's byte offsets.
struct Block {
    alignas(8) unsigned char bytes[224] = {};

    template <class T>
    void Set(std::size_t offset, T value) {
        std::memcpy(bytes + offset, &value, sizeof value);
    }
};

/// What lies at a byte offset of an object.
template <class T>
T At(const void* object, std::size_t offset) {
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(object) + offset, sizeof value);
    return value;
}

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
    /// A tone in the inputs.
    void Hear(std::uint32_t block) {
        for (std::uint32_t n = 0; n < room; ++n) {
            sound[2][n] = sound[3][n] = 0.3F * std::sin(0.05F * static_cast<float>(n + 48 * block));
        }
    }
    float Peak(std::uint32_t frames) const {
        float peak = 0.0F;
        for (std::uint32_t n = 0; n < 2 * frames; ++n) {
            const float magnitude = std::abs(sound[n % 2][n / 2]);
            peak = magnitude <= peak ? peak : magnitude; // what is not a number stays
        }
        return peak;
    }
};

} // namespace orphia_contract
