// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/clap/ClapExtensions.h"

#include "clap/ext/audio-ports.h"
#include "clap/ext/latency.h"
#include "clap/ext/note-ports.h"
#include "clap/ext/params.h"
#include "clap/ext/state.h"
#include "plugin/clap/ClapPlugin.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace orphia::plugin {

namespace {

/// Not among the headers that are installed: the host tells whether it renders in time.
struct ClapRender {
    bool (*has_hard_realtime_requirement)(const clap_plugin_t* plugin);
    bool (*set)(const clap_plugin_t* plugin, std::int32_t mode);
};
constexpr const char* renderId = "clap.render";
constexpr std::int32_t offlineMode = 1;

template <std::size_t Size>
void Write(char (&field)[Size], std::string_view text) {
    const std::size_t count = std::min(text.size(), Size - 1);
    std::copy_n(text.data(), count, field);
    field[count] = '\0';
}

/// How far a parameter's values go.
double Largest(const PluginParameter& parameter) {
    return parameter.stepCount > 1 ? parameter.stepCount - 1.0 : 1.0;
}

} // namespace

float ClapPosition(clap_id id, double value) {
    const PluginParameter* const parameter = PluginParameters::Get().Find(id);
    return static_cast<float>(parameter != nullptr ? value / Largest(*parameter) : value);
}

double ClapValue(clap_id id, float position) {
    const PluginParameter* const parameter = PluginParameters::Get().Find(id);
    if (parameter == nullptr || parameter->stepCount == 0) {
        return position;
    }
    return std::round(position * Largest(*parameter));
}

/// The tables that hosts ask for.
struct ClapExtensions {
    static bool ParameterInfo(const clap_plugin_t*, std::uint32_t index, clap_param_info_t* info) {
        const auto& all = PluginParameters::Get().All();
        if (index >= all.size()) {
            return false;
        }
        const PluginParameter& parameter = all[index];
        *info = {};
        info->id = parameter.id;
        info->flags = CLAP_PARAM_IS_AUTOMATABLE | (parameter.stepCount > 0 ? CLAP_PARAM_IS_STEPPED : 0) |
                      (parameter.id == PluginParameters::bypass ? CLAP_PARAM_IS_BYPASS : 0);
        Write(info->name, parameter.name);
        Write(info->module, parameter.group);
        info->max_value = Largest(parameter);
        info->default_value = ClapValue(parameter.id, parameter.start);
        return true;
    }

    static bool Value(const clap_plugin_t* plugin, clap_id id, double* value) {
        *value = ClapValue(id, ClapPlugin::Of(plugin).instrument.Position(id));
        return PluginParameters::Get().Find(id) != nullptr;
    }

    static bool Text(const clap_plugin_t*, clap_id id, double value, char* text, std::uint32_t size) {
        const std::string words = PluginParameters::Get().Text(id, ClapPosition(id, value));
        if (size == 0 || PluginParameters::Get().Find(id) == nullptr) {
            return false;
        }
        const std::size_t count = std::min<std::size_t>(words.size(), size - 1);
        std::copy_n(words.data(), count, text);
        text[count] = '\0';
        return true;
    }

    static bool ValueOfText(const clap_plugin_t*, clap_id id, const char* text, double* value) {
        const auto position = PluginParameters::Get().PositionOf(id, text);
        *value = position ? ClapValue(id, *position) : 0.0;
        return position.has_value();
    }

    static bool AudioPort(const clap_plugin_t* plugin, std::uint32_t index, bool isInput,
                          clap_audio_port_info_t* info) {
        if (index > 0) {
            return false;
        }
        const bool isMain = !isInput || ClapPlugin::Of(plugin).kind == PluginInstrument::Kind::Effect;
        *info = {};
        info->id = isInput ? 0 : 1;
        Write(info->name, isInput ? "Voice" : "Output");
        info->flags = isMain ? CLAP_AUDIO_PORT_IS_MAIN : 0;
        info->channel_count = 2;
        info->port_type = CLAP_PORT_STEREO;
        info->in_place_pair = CLAP_INVALID_ID;
        if (ClapPlugin::Of(plugin).kind == PluginInstrument::Kind::Effect) {
            info->in_place_pair = isInput ? 1 : 0;
        }
        return true;
    }

    static bool NotePort(const clap_plugin_t*, std::uint32_t index, bool isInput,
                         clap_note_port_info_t* info) {
        if (index > 0 || !isInput) {
            return false;
        }
        *info = {};
        info->supported_dialects =
            CLAP_NOTE_DIALECT_MIDI | CLAP_NOTE_DIALECT_MIDI_MPE | CLAP_NOTE_DIALECT_CLAP;
        info->preferred_dialect = CLAP_NOTE_DIALECT_MIDI;
        Write(info->name, "Keys");
        return true;
    }

    static constexpr clap_plugin_params_t params{
        [](const clap_plugin_t*) { return static_cast<std::uint32_t>(PluginParameters::Get().All().size()); },
        ParameterInfo,
        Value,
        Text,
        ValueOfText,
        [](const clap_plugin_t* plugin, const clap_input_events_t* in, const clap_output_events_t*) {
            ClapPlugin::Of(plugin).Flush(*in);
        }};
    static constexpr clap_plugin_audio_ports_t audioPorts{[](const clap_plugin_t*, bool) { return 1U; },
                                                          AudioPort};
    static constexpr clap_plugin_note_ports_t notePorts{
        [](const clap_plugin_t*, bool isInput) { return isInput ? 1U : 0U; }, NotePort};
    static constexpr clap_plugin_latency_t latency{
        [](const clap_plugin_t* plugin) { return ClapPlugin::Of(plugin).instrument.LatencyFrames(); }};
    static constexpr clap_plugin_state_t state{[](const clap_plugin_t* plugin, const clap_ostream_t* stream) {
                                                   return ClapPlugin::Of(plugin).Save(*stream);
                                               },
                                               [](const clap_plugin_t* plugin, const clap_istream_t* stream) {
                                                   return ClapPlugin::Of(plugin).Load(*stream);
                                               }};
    static constexpr ClapRender render{[](const clap_plugin_t*) { return false; },
                                       [](const clap_plugin_t* plugin, std::int32_t mode) {
                                           ClapPlugin::Of(plugin).instrument.SetOffline(mode == offlineMode);
                                           return true;
                                       }};
};

const void* ClapPlugin::Extension(const char* id) {
    const std::pair<const char*, const void*> extensions[] = {
        {CLAP_EXT_PARAMS, &ClapExtensions::params},
        {CLAP_EXT_AUDIO_PORTS, &ClapExtensions::audioPorts},
        {CLAP_EXT_NOTE_PORTS, &ClapExtensions::notePorts},
        {CLAP_EXT_LATENCY, &ClapExtensions::latency},
        {CLAP_EXT_STATE, &ClapExtensions::state},
        {renderId, &ClapExtensions::render}};
    for (const auto& [name, extension] : extensions) {
        if (std::strcmp(name, id) == 0) {
            return extension;
        }
    }
    return nullptr;
}

} // namespace orphia::plugin
