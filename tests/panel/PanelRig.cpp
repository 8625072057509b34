// SPDX-License-Identifier: GPL-3.0-or-later
#include "panel/PanelRig.h"

#include "host/parameters/ParameterCatalog.h"
#include "rigs/TestFiles.h"

#include <algorithm>
#include <array>

namespace orphia::test {

namespace {

constexpr std::uint32_t rate = 48000;
constexpr std::uint32_t block = 256;

const std::vector<float>& Voice() {
    static const std::vector<float> voice = Syllables(2.0, rate).samples;
    return voice;
}

} // namespace

PanelRig::PanelRig(const std::filesystem::path& presets)
    : instrument(plugin::PluginInstrument::Options{plugin::PluginInstrument::Kind::Instrument,
                                                   ORPHIA_ENGINE_LIBRARY, presets, 1}),
      panel((instrument.Activate(rate), instrument), std::filesystem::path()) {}

void PanelRig::PlayBlock() {
    std::array<std::array<float, block>, 2> sides{};
    const std::vector<float>& voice = Voice();
    for (std::size_t frame = 0; frame < block; ++frame) {
        const std::size_t at = 2 * (voiceFrame++ % (voice.size() / 2));
        sides[0][frame] = voice[at];
        sides[1][frame] = voice[at + 1];
    }
    float* const sound[] = {sides[0].data(), sides[1].data()};
    instrument.Process({sound, 2, sound, block, {}, nullptr});
}

void PanelRig::PlaySound(double seconds) {
    for (auto left = static_cast<std::size_t>(seconds * rate / block); left > 0; --left) {
        PlayBlock();
    }
}

void PanelRig::Play(double seconds) {
    const auto blocks = static_cast<std::size_t>(seconds * rate / block);
    for (std::size_t n = 0; n < blocks; ++n) {
        PlayBlock();
        if (n % 6 == 5) {
            panel.Tick(6.0 * block / rate);
        }
    }
    panel.Tick(0.01);
}

bool PanelRig::WritePicture(const std::filesystem::path& file, float scale) {
    const juce::Image image =
        panel.createComponentSnapshot(panel.getLocalBounds(), true, scale / panel.Scale());
    const juce::File target(file.string());
    target.deleteFile();
    juce::FileOutputStream stream(target);
    return stream.openedOk() && juce::PNGImageFormat().writeImageToStream(image, stream);
}

juce::Component* PanelRig::ControlOf(const std::string& engineName) {
    const juce::String wanted(host::ParameterCatalog::OfInstrument().Find(engineName).id);
    std::vector<juce::Component*> waiting{&panel};
    while (!waiting.empty()) {
        juce::Component* const next = waiting.back();
        waiting.pop_back();
        if (next->getComponentID() == wanted) {
            return next;
        }
        for (juce::Component* const child : next->getChildren()) {
            if (child->isVisible()) {
                waiting.push_back(child);
            }
        }
    }
    return nullptr;
}

float PanelRig::Position(const std::string& engineName) const {
    return instrument.Position(host::ParameterCatalog::OfInstrument().Find(engineName).id);
}

} // namespace orphia::test
