// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

namespace Velmora {

/// Whoever has threads that use the services of the process. A host may end, or end the program, while they
/// run: as long as one lives, no service is destroyed.
class ServiceUser {
public:
    ServiceUser() { ++count; }
    ~ServiceUser() { --count; }
    ServiceUser(const ServiceUser&) = delete;
    ServiceUser& operator=(const ServiceUser&) = delete;

    static bool Exists() { return count > 0; }

private:
    static inline std::atomic<int> count{0};
};

/// Base of the process-wide services: `class CLog : public CSingleton<CLog>`.
///
/// The one instance is made on first use, by whichever thread comes first, and lives until the process ends
/// or the library is unloaded; beyond that, while there is a ServiceUser. A constructor that throws leaves
/// nothing behind, and the next use tries again. A constructor of `T` must not ask for its own instance.
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
    /// Its destructor runs when the process ends or the library is unloaded.
    struct End {
        ~End() {
            if (!ServiceUser::Exists()) {
                delete instance;
            }
        }
    };

    static inline std::atomic<bool> exists{false};
    static inline std::mutex creation;
    static inline T* instance = nullptr;
};

template <typename T>
T& CSingleton<T>::GetInstance() {
    if (!exists.load(std::memory_order_acquire)) {
        const std::lock_guard lock(creation);
        if (!exists.load(std::memory_order_relaxed)) {
            instance = std::make_unique<T>().release();
            static const End end;
            // Only now: a thread that sees the flag must see a whole object behind it.
            exists.store(true, std::memory_order_release);
        }
    }
    return *instance;
}

} // namespace Velmora
