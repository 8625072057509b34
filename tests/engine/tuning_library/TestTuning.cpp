// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestTuning.h"

extern "C" TestTuning* TestTuning_State() { // NOLINT(readability-identifier-naming)
    static TestTuning state;
    return &state;
}
