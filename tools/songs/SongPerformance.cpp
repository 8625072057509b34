// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/songs/SongPerformance.h"

#include "tools/run/InputSound.h"
#include "tools/songs/Automation.h"

#include <algorithm>

namespace orphia::tools {

SongPerformance::SongPerformance(const host::MidiFile& song, host::Instrument& target, InputSound* sung,
                                 Automation* automation)
    : instrument(target), voice(sung), moves(automation), player(song, target) {}

std::size_t SongPerformance::Render(std::span<float> output) {
    const std::size_t frames = output.size() / 2;
    const std::uint64_t songLeft = player.SongFrames() - std::min(player.SongFrames(), framesDone);
    auto passage = static_cast<std::size_t>(std::min<std::uint64_t>(songLeft, frames));
    if (voice != nullptr) {
        const std::size_t read = voice->Read(frames);
        if (voice->IsLooped() && passage < frames) {
            voice->EndAfter(passage);
        } else if (!voice->IsLooped()) {
            passage = std::max(passage, read);
        }
    }
    const std::span<const float> heard = voice != nullptr ? voice->Samples() : std::span<const float>();
    const std::size_t block = std::size_t{instrument.FramesPerBlock()} * 2;
    for (std::size_t start = 0; start < output.size(); start += block) {
        const std::size_t count = std::min(block, output.size() - start);
        if (moves != nullptr) {
            // To the end of the block, so that a point acts from the start of the block in which it lies.
            const std::uint64_t end = framesDone + (start + block) / 2;
            moves->MoveTo(static_cast<double>(end) / instrument.SampleRate(), instrument);
        }
        player.Process(heard.empty() ? heard : heard.subspan(start, count), output.subspan(start, count));
    }
    framesDone += frames;
    return passage;
}

bool SongPerformance::IsDone() const { return player.IsDone() && (voice == nullptr || voice->HasEnded()); }

double SongPerformance::ExpectedSeconds() const {
    const double song = static_cast<double>(player.SongFrames()) / instrument.SampleRate();
    return voice == nullptr || voice->IsLooped() ? song : std::max(song, voice->ExpectedSeconds());
}

} // namespace orphia::tools
