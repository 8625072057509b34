// SPDX-License-Identifier: GPL-3.0-or-later
// A program of somebody else: two seconds of a preset that plays a sample, as raw floats in a file. Tells
// which engine it has played.
#include "host/instrument/Instrument.h"
#include "host/player/BlockAdapter.h"
#include "host/presets/PresetLibrary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void Render(const std::string& file) {
    const auto library = orphia::host::EngineLibrary::Load();
    orphia::host::Instrument instrument(library, 48000, 1);
    std::vector<std::string> warnings;
    const orphia::host::PresetLibrary presets{std::filesystem::path()};
    const auto preset = presets.Open("drummed-chords", instrument.Catalog(), warnings);
    for (const std::string& warning : instrument.LoadPreset(preset)) {
        throw std::runtime_error(warning);
    }
    instrument.NoteOn(36);
    instrument.NoteOn(48);
    std::vector<float> left(96000), right(96000);
    float* const output[] = {left.data(), right.data()};
    orphia::host::BlockAdapter adapter(instrument);
    adapter.Process(nullptr, 0, output, 96000);
    float peak = 0;
    for (const float sample : left) {
        peak = std::max(peak, std::abs(sample));
    }
    if (!(peak > 0.01F)) {
        throw std::runtime_error("silence");
    }
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(left.data()),
               static_cast<std::streamsize>(left.size() * sizeof(float)));
    std::puts(library->Path().c_str());
}

} // namespace

int main(int argc, char** argv) {
    try {
        Render(argc > 1 ? argv[1] : "client.f32");
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "client: %s\n", error.what());
        return 1;
    }
}
