// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestTuning.h"

// NOLINTBEGIN(readability-identifier-naming)
extern "C" {

TestTuning* TestTuning_State() {
    static TestTuning state;
    return &state;
}
#ifdef HAS_TABLE
bool MTS_HasMaster() { return TestTuning_State()->hasMaster; }
const double* MTS_GetTuningTable() {
    return TestTuning_State()->hasTable ? TestTuning_State()->table.data() : nullptr;
}
#endif
#ifdef HAS_EXTRAS
void MTS_RegisterClient() { ++TestTuning_State()->clients; }
void MTS_DeregisterClient() { --TestTuning_State()->clients; }
bool MTS_UseMultiChannelTuning(signed char channel) {
    return TestTuning_State()->usesChannel.at(static_cast<unsigned char>(channel));
}
const double* MTS_GetMultiChannelTuningTable(signed char channel) {
    const auto index = static_cast<unsigned char>(channel);
    TestTuning& state = *TestTuning_State();
    return state.hasChannelTable.at(index) ? state.channelTables.at(index).data() : nullptr;
}
bool MTS_ShouldFilterNote(char note, signed char channel) {
    TestTuning_State()->lastChannel = channel;
    return note == TestTuning_State()->unmappedNote;
}
bool MTS_ShouldFilterNoteMultiChannel(char note, signed char channel) {
    TestTuning_State()->lastChannel = channel;
    return note == TestTuning_State()->unmappedOnChannels;
}
#endif
}
// NOLINTEND(readability-identifier-naming)
