// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/Observable.h"

#include <utility>

namespace Velmora::dsp {

IModuleObserver::~IModuleObserver() {
    if (subject != nullptr) {
        subject->Detach(*this);
    }
}

ObserverList::~ObserverList() {
    while (head != nullptr) {
        Detach(*head);
    }
}

void ObserverList::Attach(IModuleObserver& observer) {
    if (observer.subject == this) {
        return;
    }
    if (observer.subject != nullptr) {
        observer.subject->Detach(observer);
    }
    observer.subject = this;
    observer.next = std::exchange(head, &observer);
}

void ObserverList::Detach(IModuleObserver& observer) {
    for (IModuleObserver** link = &head; *link != nullptr; link = &(*link)->next) {
        if (*link == &observer) {
            *link = observer.next;
            observer.next = nullptr;
            observer.subject = nullptr;
            return;
        }
    }
}

void ObserverList::Notify(u32 id, float normalizedValue) const {
    for (IModuleObserver* observer = head; observer != nullptr;) {
        // An observer may detach itself while it is told.
        IModuleObserver* following = observer->next;
        observer->OnParameterChanged(id, normalizedValue);
        observer = following;
    }
}

} // namespace Velmora::dsp
