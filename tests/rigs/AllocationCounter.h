// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

namespace orphia_reference {

/// Counts what the calling thread allocates by `operator new` during the life of this object.
class AllocationCounter {
public:
    AllocationCounter();
    std::size_t Count() const;

private:
    std::size_t before;
};

} // namespace orphia_reference
