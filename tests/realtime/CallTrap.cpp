// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/CallTrap.h"

#include "realtime/TrappedCall.h"

namespace orphia::test {

thread_local CallTrap::State CallTrap::state;

CallTrap::CallTrap() { state = {true, 0, ""}; }

CallTrap::~CallTrap() { state.isArmed = false; }

std::size_t CallTrap::Count() const { return state.calls; }

std::string CallTrap::FirstCall() const {
    const CallTrapPause pause;
    return state.firstCall;
}

void CallTrap::Note(const char* function) {
    if (!state.isArmed) {
        return;
    }
    if (state.calls == 0) {
        state.firstCall = function;
    }
    ++state.calls;
}

} // namespace orphia::test
