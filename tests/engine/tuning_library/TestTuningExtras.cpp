// SPDX-License-Identifier: GPL-3.0-or-later
// What only some tuning libraries can do.
#include "TestTuning.h"

// NOLINTBEGIN(readability-identifier-naming)
extern "C" {

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
}
// NOLINTEND(readability-identifier-naming)
