// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

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

} // namespace orphia_contract
