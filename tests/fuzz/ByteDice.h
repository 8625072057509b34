// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orphia::fuzz {

/// Makes a fuzzer's bytes the numbers that a test draws: equal bytes, equal test. Behind the end all are 0.
class ByteDice {
public:
    ByteDice() = default;
    ByteDice(const std::uint8_t* data, std::size_t size) : bytes(data, size) {}

    bool IsEmpty() const { return bytes.empty(); }
    /// 0 to limit - 1, which takes as many bytes as the limit needs.
    std::uint32_t Below(std::uint32_t limit) {
        std::uint32_t number = 0;
        for (std::uint32_t rest = limit - 1; rest > 0; rest >>= 8U) {
            number = (number << 8U) | Next();
        }
        return number % limit;
    }

private:
    std::uint32_t Next() {
        if (bytes.empty()) {
            return 0;
        }
        const std::uint32_t next = bytes.front();
        bytes = bytes.subspan(1);
        return next;
    }

    std::span<const std::uint8_t> bytes;
};

} // namespace orphia::fuzz
