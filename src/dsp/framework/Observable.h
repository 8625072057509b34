// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

class ObserverList;

/// Hears of parameter changes of an Observable. An observer belongs to at most one subject and unlinks
/// itself when destroyed.
class IModuleObserver {
public:
    IModuleObserver() = default;
    IModuleObserver(const IModuleObserver&) = delete;
    IModuleObserver& operator=(const IModuleObserver&) = delete;
    virtual ~IModuleObserver();

    /// Also called when the value written equals the present one.
    virtual void OnParameterChanged(u32 id, float normalizedValue) = 0;

    IModuleObserver* next = nullptr;
    ObserverList* subject = nullptr;
};

/// The head of an intrusive singly linked list of observers: no allocation when one attaches.
class ObserverList {
public:
    ObserverList() = default;
    ObserverList(const ObserverList&) = delete;
    ObserverList& operator=(const ObserverList&) = delete;
    ~ObserverList();

    /// Puts the observer at the head, unless it is attached here already. One attached elsewhere moves.
    void Attach(IModuleObserver& observer);
    void Detach(IModuleObserver& observer);

    void Notify(u32 id, float normalizedValue) const;

private:
    IModuleObserver* head = nullptr;
};

/// A module M that tells observers of every accepted parameter write, in list order.
template <class M>
class Observable : public M {
public:
    using M::M;

    void Attach(IModuleObserver& observer) { observers.Attach(observer); }

    bool SetParameterNormalized(u32 id, float value) override {
        const bool accepted = M::SetParameterNormalized(id, value);
        if (accepted) {
            observers.Notify(id, value);
        }
        return accepted;
    }

    bool SetParameterValue(u32 id, float value) override {
        const bool accepted = M::SetParameterValue(id, value);
        if (accepted) {
            observers.Notify(id, M::GetParameterNormalized(id));
        }
        return accepted;
    }

private:
    ObserverList observers;
};

} // namespace Velmora::dsp
