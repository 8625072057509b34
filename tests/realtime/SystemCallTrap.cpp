// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/CallTrap.h"

#include <signal.h>
#include <sys/prctl.h>
#include <ucontext.h>

#include <atomic>

namespace orphia::test {

namespace {

// Of <linux/prctl.h>, which older headers lack.
constexpr int setSystemCallDispatch = 59;
constexpr unsigned long dispatchOn = 1;
constexpr char allow = 0;
constexpr char block = 1;

/// The kernel reads it at each call of this thread.
thread_local volatile char selector = allow;
thread_local volatile long firstCall = SystemCallTrap::none;

/// Makes the call that the kernel handed back, with the registers that it had.
long MakeCall(long number, const greg_t* registers) {
    register long a4 asm("r10") = registers[REG_R10];
    register long a5 asm("r8") = registers[REG_R8];
    register long a6 asm("r9") = registers[REG_R9];
    long result = number;
    asm volatile("syscall"
                 : "+a"(result)
                 : "D"(registers[REG_RDI]), "S"(registers[REG_RSI]), "d"(registers[REG_RDX]), "r"(a4),
                   "r"(a5), "r"(a6)
                 : "rcx", "r11", "memory");
    return result;
}

/// From here on the thread is free: the return from this is a call of the system too.
void OnCall(int /*signal*/, siginfo_t* info, void* context) {
    selector = allow;
    firstCall = info->si_syscall;
    greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    registers[REG_RAX] = MakeCall(info->si_syscall, registers);
}

bool PrepareThread() {
    struct sigaction action {};
    action.sa_sigaction = OnCall;
    action.sa_flags = SA_SIGINFO;
    return sigaction(SIGSYS, &action, nullptr) == 0 &&
           prctl(setSystemCallDispatch, dispatchOn, 0UL, 0UL, &selector) == 0;
}

} // namespace

bool SystemCallTrap::Prepare() { return PrepareThread(); }

// The selector is read by the kernel alone, so the compiler must not move what is trapped across it.
SystemCallTrap::SystemCallTrap() {
    firstCall = none;
    selector = block;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

SystemCallTrap::~SystemCallTrap() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    selector = allow;
}

long SystemCallTrap::FirstCall() const { return firstCall; }

} // namespace orphia::test
