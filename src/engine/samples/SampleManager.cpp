// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/samples/SampleManager.h"

#include "dsp/resources/Resource.h"
#include "dsp/sampler/files/SampleReader.h"

#include <algorithm>
#include <utility>

namespace Velmora::engine {

SampleManager::SampleManager() {
    for (Slot& slot : slots) {
        for (std::string* path : {&slot.pathInUse, &slot.requestedPath, &slot.postedPath}) {
            path->reserve(maximumPathLength);
        }
    }
    updated.reserve(slotCount);
}

SampleManager::~SampleManager() { StopWorker(); }

const std::shared_ptr<const SampleManager::Data>& SampleManager::Sample(u32 slot) const {
    return slot < slotCount ? slots[slot].sample : noSample;
}

bool SampleManager::IsLoading() const {
    return pending.any() || std::any_of(slots.begin(), slots.end(), [](const Slot& slot) {
               return slot.loadState.load(std::memory_order_acquire) == Posted;
           });
}

bool SampleManager::SetPath(u32 slot, std::string_view path) {
    if (slot >= slotCount || path.size() > maximumPathLength || path.find('\0') != path.npos) {
        return false;
    }
    if (path == slots[slot].requestedPath) {
        return true;
    }
    // Slots that trusted in the request which now goes away ask for themselves: the first of them for all.
    const Slots left = WaitersForRequest(slot);
    for (u32 waiter = 0; waiter < slotCount; ++waiter) {
        if (left[waiter]) {
            slots[waiter].waitedFor = 0;
        }
    }
    slots[slot].requestedPath.assign(path);
    Place(slot);
    for (u32 waiter = 0; waiter < slotCount; ++waiter) {
        if (left[waiter]) {
            Place(waiter);
        }
    }
    return true;
}

auto SampleManager::WaitersForRequest(u32 slot) const -> Slots {
    Slots waiters;
    for (u32 other = 0; other < slotCount; ++other) {
        waiters[other] = pending[slot] && slots[other].waitedFor == slot + 1 &&
                         slots[other].requestedPath == slots[slot].requestedPath;
    }
    return waiters;
}

// Where the requested file comes from: from another slot that has it or will have it, or from a load.
void SampleManager::Place(u32 slot) {
    const std::string& path = slots[slot].requestedPath;
    for (u32 other = 0; !path.empty() && other < slotCount; ++other) {
        if (other == slot) {
            continue;
        }
        if (pending[other]) {
            if (slots[other].requestedPath == path) {
                return EndRequest(slot, other + 1);
            }
        } else if (slots[other].pathInUse == path && JoinHolder(slot, slots[other], other)) {
            return;
        }
    }
    needsDispatch = true;
    pending[slot] = true;
    slots[slot].waitedFor = 0;
}

bool SampleManager::JoinHolder(u32 slot, const Slot& other, u32 otherSlot) {
    const std::string& path = slots[slot].requestedPath;
    // A wait for this very slot is none that it could join.
    if (other.waitedFor > 0 && other.waitedFor != slot + 1 && other.requestedPath == path) {
        EndRequest(slot, other.waitedFor);
    } else if (other.inFlight) {
        EndRequest(slot, otherSlot + 1);
    } else if (other.sample != nullptr) {
        Take(slot, other.sample, path);
        EndRequest(slot, 0);
    } else {
        return false;
    }
    return true;
}

void SampleManager::EndRequest(u32 slot, u32 waitedFor) {
    slots[slot].waitedFor = waitedFor;
    pending[slot] = false;
}

void SampleManager::Take(u32 slot, const std::shared_ptr<const Data>& sample, const std::string& path) {
    slots[slot].sample = sample; // the old one is only dropped: the worker still shares in it
    slots[slot].pathInUse.assign(path);
    slots[slot].inFlight = false;
    MarkUpdated(slot);
}

void SampleManager::MarkUpdated(u32 slot) {
    if (std::find(updated.begin(), updated.end(), slot) == updated.end()) {
        updated.push_back(slot);
    }
}

void SampleManager::DispatchRequests() {
    if (!std::exchange(needsDispatch, false)) {
        return;
    }
    for (u32 slot = 0; slot < slotCount; ++slot) {
        if (pending[slot] && !Dispatch(slot)) {
            needsDispatch = true;
            return;
        }
    }
}

bool SampleManager::Dispatch(u32 slot) {
    // Acquire: the worker has read the posted path to its end.
    if (slots[slot].loadState.load(std::memory_order_acquire) == Posted) {
        needsDispatch = true;
        return true;
    }
    if (slots[slot].requestedPath.empty()) {
        Clear(slot);
        return true;
    }
    return Post(slot);
}

void SampleManager::Clear(u32 slot) {
    Take(slot, noSample, slots[slot].requestedPath);
    EndRequest(slot, 0);
}

bool SampleManager::Post(u32 slot) {
    Slot& posted = slots[slot];
    posted.postedPath.assign(posted.requestedPath);
    // Before the command is out: the worker may be done with it, and back at Idle, at once.
    posted.loadState.store(Posted, std::memory_order_relaxed);
    Call command = [this, slot](bool /*run*/) { RunLoad(slot, slots[slot].postedPath); };
    if (!PostCommand(command)) {
        posted.loadState.store(Idle, std::memory_order_relaxed);
        return false;
    }
    posted.pathInUse.assign(posted.requestedPath);
    posted.inFlight = true;
    EndRequest(slot, 0);
    return true;
}

std::shared_ptr<const SampleManager::Data> SampleManager::Load(u32 /*slot*/, const std::string& path) {
    return dsp::SampleReader().Read(path).data;
}

void SampleManager::RunLoad(u32 slot, const std::string& path) noexcept {
    try {
        if (std::shared_ptr<const Data> sample = Load(slot, path)) {
            beforeSample();
            Keep(std::make_unique<dsp::Resource<Data>>(sample));
            Call result = [this, slot, sample = std::move(sample)](bool /*run*/) {
                TakeResult(slot, sample);
            };
            PostResult(result);
            return; // the slot is the audio thread's again, and the path may change
        }
    } catch (...) {
        LogCurrentException("Could not load ", path);
    }
    slots[slot].loadState.store(Idle, std::memory_order_release);
}

void SampleManager::TakeResult(u32 slot, const std::shared_ptr<const Data>& sample) {
    const std::string& path = slots[slot].postedPath;
    // The slot may have got another file from its neighbours in the meantime.
    if (slots[slot].pathInUse == path) {
        Take(slot, sample, path);
    }
    slots[slot].loadState.store(Idle, std::memory_order_release);
    for (u32 waiter = 0; waiter < slotCount; ++waiter) {
        if (slots[waiter].waitedFor == slot + 1 && slots[waiter].requestedPath == path) {
            Take(waiter, sample, path);
            slots[waiter].waitedFor = 0;
        }
    }
}

} // namespace Velmora::engine
