// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/parameters/PluginParameters.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <vector>

namespace orphia::plugin {

/// The positions of all parameters between message threads and the audio thread: what is shown, what is
/// wanted, and what has moved by itself. Nobody waits, and the last of several wishes for one parameter
/// counts.
///
/// A wish is for the generation of the instrument that was ordered last: it waits until that plays, and one
/// for an earlier is void.
class ParameterExchange {
public:
    ParameterExchange();

    /// The place of an id; Count() for one that there is not.
    std::uint32_t IndexOf(std::uint32_t id) const;
    std::uint32_t IdOf(std::uint32_t index) const;
    std::uint32_t Count() const { return count; }

    // ---- Any thread, by index

    float Shown(std::uint32_t index) const { return shown[index].load(std::memory_order_relaxed); }
    void Show(std::uint32_t index, float position) {
        shown[index].store(position, std::memory_order_relaxed);
    }
    /// Moved by something else than the host.
    void Tell(std::uint32_t index) {
        Mark(told, index);
        hasTold.store(true, std::memory_order_release);
    }
    bool HasTold() const { return hasTold.load(std::memory_order_relaxed); }
    /// By a thread that orders meanwhile it is not missed.
    void Want(std::uint32_t index, float position);
    /// The one that was ordered last, from 1.
    std::uint32_t Newest() const { return newest; }

    // ---- Message threads

    /// What is wished from here on is for another generation, whose number was none before. One thread at a
    /// time.
    std::uint32_t NextGeneration() { return ++newest; }
    /// Without taking them: f(index, position) for each wish for a generation.
    template <class F>
    void LookAtWishes(std::uint32_t generation, F&& f) const;
    /// f(index) for each that was told since the last call.
    template <class F>
    void TakeTold(F&& f);

    // ---- The audio thread

    bool IsWanted(std::uint32_t index) const {
        return (wished[index / bits].load(std::memory_order_relaxed) >> (index % bits) & 1U) != 0;
    }
    /// f(index, position) for each wish for a generation.
    template <class F>
    void TakeWishes(std::uint32_t generation, F&& f);

private:
    static constexpr std::uint32_t bits = 64;
    using Marks = std::vector<std::atomic<std::uint64_t>>;

    static void Mark(Marks& marks, std::uint32_t index) {
        marks[index / bits].fetch_or(std::uint64_t{1} << (index % bits));
    }
    template <class F>
    static void ForEachBit(std::uint64_t word, std::uint32_t first, F&& f) {
        for (; word != 0; word &= word - 1) {
            f(first + static_cast<std::uint32_t>(std::countr_zero(word)));
        }
    }
    static std::uint32_t GenerationOf(std::uint64_t wish) { return static_cast<std::uint32_t>(wish >> 32U); }
    static float PositionOf(std::uint64_t wish) {
        return std::bit_cast<float>(static_cast<std::uint32_t>(wish));
    }

    std::uint32_t engineCount;
    std::uint32_t count;
    std::atomic<std::uint32_t> newest{1};
    std::vector<std::atomic<float>> shown;
    /// The generation above, the position below.
    std::vector<std::atomic<std::uint64_t>> wishes;
    Marks wished;
    Marks told;
    std::atomic<bool> hasWishes{false};
    std::atomic<bool> hasTold{false};
};

template <class F>
void ParameterExchange::LookAtWishes(std::uint32_t generation, F&& f) const {
    for (std::uint32_t word = 0; word < wished.size(); ++word) {
        ForEachBit(wished[word].load(std::memory_order_acquire), word * bits, [&](std::uint32_t index) {
            const std::uint64_t wish = wishes[index].load(std::memory_order_acquire);
            if (GenerationOf(wish) == generation) {
                f(index, PositionOf(wish));
            }
        });
    }
}

template <class F>
void ParameterExchange::TakeTold(F&& f) {
    hasTold.store(false, std::memory_order_relaxed);
    for (std::uint32_t word = 0; word < told.size(); ++word) {
        ForEachBit(told[word].exchange(0, std::memory_order_acquire), word * bits, f);
    }
}

template <class F>
void ParameterExchange::TakeWishes(std::uint32_t generation, F&& f) {
    if (!hasWishes.load(std::memory_order_relaxed) || !hasWishes.exchange(false, std::memory_order_acquire)) {
        return;
    }
    for (std::uint32_t word = 0; word < wished.size(); ++word) {
        if (wished[word].load(std::memory_order_relaxed) == 0) {
            continue;
        }
        ForEachBit(wished[word].exchange(0, std::memory_order_acquire), word * bits,
                   [&](std::uint32_t index) {
                       const std::uint64_t wish = wishes[index].load(std::memory_order_acquire);
                       if (GenerationOf(wish) == generation) {
                           f(index, PositionOf(wish));
                       } else if (static_cast<std::int32_t>(GenerationOf(wish) - generation) > 0) {
                           Mark(wished, index);
                           hasWishes.store(true, std::memory_order_release);
                       }
                   });
    }
}

} // namespace orphia::plugin
