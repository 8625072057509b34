// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <mutex>

namespace Velmora {

/// Base of the process-wide services: `class CLog : public CSingleton<CLog>`.
///
/// The one instance is made on first use, by whichever thread comes first, and is never destroyed: a thread
/// that still runs when the process ends meets whole services. A constructor that throws leaves nothing
/// behind, and the next use tries again. A constructor of `T` must not ask for its own instance.
template <typename T>
class CSingleton {
public:
    CSingleton(const CSingleton&) = delete;
    CSingleton& operator=(const CSingleton&) = delete;
    virtual ~CSingleton() = default;

    /// The one instance of `T`. Any thread; takes a mutex only until the instance exists.
    static T& GetInstance();

protected:
    CSingleton() = default;

private:
    static inline std::atomic<bool> exists{false};
    static inline std::mutex creation;
    static inline T* instance = nullptr;
};

template <typename T>
T& CSingleton<T>::GetInstance() {
    if (!exists.load(std::memory_order_acquire)) {
        const std::lock_guard lock(creation);
        if (!exists.load(std::memory_order_relaxed)) {
            instance = new T; // NOLINT(cppcoreguidelines-owning-memory): owned by the process
            // Only now: a thread that sees the flag must see a whole object behind it.
            exists.store(true, std::memory_order_release);
        }
    }
    return *instance;
}

} // namespace Velmora
