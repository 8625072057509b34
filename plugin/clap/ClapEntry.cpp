// SPDX-License-Identifier: GPL-3.0-or-later
// What a host finds in the file: two plug-ins.
#include "clap/entry.h"
#include "clap/plugin-factory.h"
#include "clap/plugin-features.h"
#include "plugin/clap/ClapPlugin.h"

#include <array>
#include <cstring>
#include <new>

namespace orphia::plugin {

namespace {

using Kind = PluginInstrument::Kind;

constexpr std::array kinds = {Kind::Instrument, Kind::Effect};

const clap_plugin_descriptor_t* DescriptorAt(const clap_plugin_factory_t*, std::uint32_t index) {
    return index < kinds.size() ? &ClapDescriptor(kinds[index]) : nullptr;
}

/// Null for an unknown id and without memory.
const clap_plugin_t* Create(const clap_plugin_factory_t*, const clap_host_t* host, const char* id) {
    for (const Kind kind : kinds) {
        if (std::strcmp(ClapDescriptor(kind).id, id) == 0) {
            try {
                return (new ClapPlugin(ClapDescriptor(kind), kind, *host))->Face();
            } catch (const std::exception&) {
                return nullptr;
            }
        }
    }
    return nullptr;
}

constexpr clap_plugin_factory_t factory{
    [](const clap_plugin_factory_t*) { return static_cast<std::uint32_t>(kinds.size()); }, DescriptorAt,
    Create};

} // namespace

const clap_plugin_descriptor_t& ClapDescriptor(Kind kind) {
    static const char* instrumentFeatures[] = {
        CLAP_PLUGIN_FEATURE_INSTRUMENT, CLAP_PLUGIN_FEATURE_SYNTHESIZER, CLAP_PLUGIN_FEATURE_STEREO, nullptr};
    static const char* effectFeatures[] = {CLAP_PLUGIN_FEATURE_AUDIO_EFFECT, CLAP_PLUGIN_FEATURE_STEREO,
                                           nullptr};
    static const auto describe = [](const char* id, const char* name, const char* description,
                                    const char** features) {
        return clap_plugin_descriptor_t{CLAP_VERSION, id, name,           "Velmora",   "",
                                        "",           "", ORPHIA_VERSION, description, features};
    };
    static const clap_plugin_descriptor_t instrument =
        describe("velmora.orphia-vx", "Orphia VX",
                 "A vocoder that is played by keys, with the voice on its side-chain", instrumentFeatures);
    static const clap_plugin_descriptor_t effect =
        describe("velmora.orphia-vx-effect", "Orphia VX Effect",
                 "A vocoder for a voice, which is played by keys", effectFeatures);
    return kind == Kind::Effect ? effect : instrument;
}

} // namespace orphia::plugin

extern "C" CLAP_EXPORT const clap_plugin_entry_t clap_entry{
    CLAP_VERSION, [](const char*) { return true; }, [] {},
    [](const char* id) -> const void* {
        return std::strcmp(id, CLAP_PLUGIN_FACTORY_ID) == 0 ? &orphia::plugin::factory : nullptr;
    }};
