// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

namespace orphia::plugin {

/// Hands objects to an audio thread and takes them back for deletion, without anybody waiting. One that is
/// offered before the one in front of it was taken takes its place.
template <class Object>
class Handover {
public:
    Handover() = default;
    ~Handover() {
        delete offered.load();
        Collect();
    }
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;

    // ---- One message thread at a time

    void Offer(std::unique_ptr<Object> object) {
        delete offered.exchange(object.release(), std::memory_order_acq_rel);
        Collect();
    }
    void Collect() {
        for (std::atomic<Object*>& each : retired) {
            delete each.exchange(nullptr, std::memory_order_acq_rel);
        }
    }
    /// What was offered and not taken is not offered any more.
    void Withdraw() { delete offered.exchange(nullptr, std::memory_order_acq_rel); }

    // ---- The audio thread

    bool IsOffered() const { return offered.load(std::memory_order_acquire) != nullptr; }
    /// Null when there is none, or nothing that was retired has been collected.
    Object* Take() {
        const bool hasRoom = IsFree(0) || IsFree(1);
        return hasRoom && IsOffered() ? offered.exchange(nullptr, std::memory_order_acq_rel) : nullptr;
    }
    /// One for each Take, before the next.
    void Retire(Object* object) { retired[IsFree(0) ? 0 : 1].store(object, std::memory_order_release); }

private:
    bool IsFree(std::size_t place) const { return retired[place].load(std::memory_order_acquire) == nullptr; }

    std::atomic<Object*> offered{nullptr};
    /// Each offer collects, behind itself. So there is room for one that went since, and for the one that
    /// gives way to it.
    std::array<std::atomic<Object*>, 2> retired{};
};

} // namespace orphia::plugin
