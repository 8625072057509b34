// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
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
        delete retired.load();
    }
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;

    // ---- One message thread at a time

    void Offer(std::unique_ptr<Object> object) {
        Collect();
        delete offered.exchange(object.release(), std::memory_order_acq_rel);
    }
    void Collect() { delete retired.exchange(nullptr, std::memory_order_acq_rel); }
    /// What was offered and not taken is not offered any more.
    void Withdraw() { delete offered.exchange(nullptr, std::memory_order_acq_rel); }

    // ---- The audio thread

    bool IsOffered() const { return offered.load(std::memory_order_acquire) != nullptr; }
    /// Null when there is none, or what was retired last is not collected yet.
    Object* Take() {
        if (!IsOffered() || retired.load(std::memory_order_acquire) != nullptr) {
            return nullptr;
        }
        return offered.exchange(nullptr, std::memory_order_acq_rel);
    }
    /// One for each Take.
    void Retire(Object* object) { retired.store(object, std::memory_order_release); }

private:
    std::atomic<Object*> offered{nullptr};
    std::atomic<Object*> retired{nullptr};
};

} // namespace orphia::plugin
