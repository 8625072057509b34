// SPDX-License-Identifier: GPL-3.0-or-later
// What every tuning library can do.
#include "TestTuning.h"

// NOLINTBEGIN(readability-identifier-naming)
extern "C" {

bool MTS_HasMaster() { return TestTuning_State()->hasMaster; }

const double* MTS_GetTuningTable() {
    return TestTuning_State()->hasTable ? TestTuning_State()->table.data() : nullptr;
}
}
// NOLINTEND(readability-identifier-naming)
