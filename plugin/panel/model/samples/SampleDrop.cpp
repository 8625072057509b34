// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/samples/SampleDrop.h"

#include "plugin/panel/model/samples/SampleSlots.h"

#include <string>
#include <system_error>

namespace orphia::panel {

namespace {

constexpr const char* allTaken = "All twelve samples are taken: drop a file on the one that it shall replace";

} // namespace

void TellOfDrop(PanelModel& panel, const std::vector<std::filesystem::path>& files,
                std::optional<std::uint32_t> onto) {
    SampleSlots slots(panel.instrument, panel.history);
    std::error_code none;
    const bool isOneFile = files.size() == 1 && !std::filesystem::is_directory(files.front(), none);
    const auto place = onto && isOneFile ? onto : slots.FreeFrom(onto.value_or(panel.chosenSample));
    const std::string which = place ? std::to_string(*place + 1) : std::string();
    panel.Tell(!place      ? allTaken
               : isOneFile ? "Drop it to load sample " + which
                           : "Drop them to load free samples, from " + which + " on");
}

void DropSamples(PanelModel& panel, const std::vector<std::filesystem::path>& files,
                 std::optional<std::uint32_t> onto) {
    SampleSlots slots(panel.instrument, panel.history);
    const auto place = onto ? onto : slots.FreeFrom(panel.chosenSample);
    const SampleSlots::Ordered ordered =
        place ? slots.Drop(files, *place) : SampleSlots::Ordered{{}, allTaken};
    if (!ordered.paths.empty()) {
        panel.chosenSample = ordered.paths.begin()->first;
    }
    panel.Tell(ordered.line);
}

} // namespace orphia::panel
