// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/audit/RealtimeAudit.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

using orphia::test::RealtimeAudit;

/// The figures, the verdict last.
bool Report(const RealtimeAudit& audit) {
    const RealtimeAudit::Counts& counts = audit.Counted();
    const auto number = [](std::uint64_t count) { return static_cast<unsigned long long>(count); };
    std::printf("realtime: %.1f minutes of music, %llu factory presets, %llu of %llu switches of effects\n",
                audit.Minutes(), number(counts.presets), number(counts.switches),
                number(RealtimeAudit::allSwitches));
    std::printf("realtime: %llu blocks, %llu %% of them heard, %llu parameter changes, %llu messages, %llu "
                "changes of tempo\n",
                number(counts.blocks), number(100 * counts.heardBlocks / counts.blocks),
                number(counts.settings), number(counts.messages), number(counts.tempos));
    std::printf("realtime: %llu forbidden calls (%llu when a known exception is made)",
                number(counts.trappedCalls), number(counts.callsOfException));
    if (audit.SeesTheSystem()) {
        std::printf(", %llu blocks that enter the system\n", number(counts.systemCalls));
    } else {
        std::printf("; this kernel does not tell who enters it\n");
    }
    if (!audit.FirstFault().empty()) {
        std::fprintf(stderr, "realtime: the first: %s\n", audit.FirstFault().c_str());
        return false;
    }
    // Zero calls of an instrument that is silent or stands still would prove nothing, nor traps that are
    // blind.
    const bool isPlayed = counts.presets == audit.FactoryPresets() && counts.presets > 0 &&
                          counts.switches == RealtimeAudit::allSwitches &&
                          counts.heardBlocks > counts.blocks / 4;
    if (!isPlayed || counts.callsOfException == 0) {
        std::fputs(isPlayed ? "realtime: the traps are blind\n" : "realtime: not all was played\n", stderr);
        return false;
    }
    return true;
}

} // namespace

int main(int count, char** arguments) {
    const double minutes = count > 1 ? std::strtod(arguments[1], nullptr) : 10.0;
    const unsigned long seed = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 1;
    if (!(minutes > 0.0) || count > 3) {
        std::fputs("usage: orphia_realtime_audit [MINUTES [SEED]]\n", stderr);
        return 2;
    }
    try {
        RealtimeAudit audit(static_cast<std::uint32_t>(seed));
        audit.Run(minutes);
        return Report(audit) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "realtime: %s\n", error.what());
        return 1;
    }
}
