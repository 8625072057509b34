// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/clap/ClapPlugin.h"

#include "clap/ext/latency.h"
#include "clap/ext/state.h"
#include "plugin/clap/ClapExtensions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace orphia::plugin {

namespace {

template <class Event>
const Event& As(const clap_event_header_t& header) {
    return *static_cast<const Event*>(static_cast<const void*>(&header));
}

/// Hosts that know notes of their own send these though MIDI is preferred.
std::optional<host::MidiMessage> NoteOf(const clap_event_header_t& header) {
    const auto& note = As<clap_event_note_t>(header);
    if (note.key < 0 || note.key > 127) {
        return std::nullopt;
    }
    const bool isOn = header.type == CLAP_EVENT_NOTE_ON;
    const double velocity = std::clamp(std::round(note.velocity * 127.0), isOn ? 1.0 : 0.0, 127.0);
    return host::MidiMessage{
        static_cast<std::uint8_t>((isOn ? 0x90 : 0x80) | (std::max<int>(note.channel, 0) & 15)),
        static_cast<std::uint8_t>(note.key), static_cast<std::uint8_t>(velocity)};
}

std::optional<decltype(host::TimedEvent::what)> Meaning(const clap_event_header_t& header) {
    if (header.space_id != CLAP_CORE_EVENT_SPACE_ID) {
        return std::nullopt;
    }
    switch (header.type) {
    case CLAP_EVENT_NOTE_ON:
    case CLAP_EVENT_NOTE_OFF:
    case CLAP_EVENT_NOTE_CHOKE:
        return NoteOf(header);
    case CLAP_EVENT_MIDI:
        return ChannelMessage(As<clap_event_midi_t>(header).data, 3);
    case CLAP_EVENT_PARAM_VALUE: {
        const auto& value = As<clap_event_param_value_t>(header);
        return host::ParameterSetting{value.param_id, host::ParameterSetting::Scale::Position,
                                      ClapPosition(value.param_id, value.value)};
    }
    default:
        return std::nullopt;
    }
}

std::optional<host::Transport> TransportOf(const clap_event_transport_t* transport) {
    if (transport == nullptr || (transport->flags & CLAP_TRANSPORT_HAS_BEATS_TIMELINE) == 0) {
        return std::nullopt;
    }
    const bool hasTempo = (transport->flags & CLAP_TRANSPORT_HAS_TEMPO) != 0;
    const bool isPlaying = (transport->flags & CLAP_TRANSPORT_IS_PLAYING) != 0;
    return host::Transport{hasTempo ? transport->tempo : 120.0,
                           static_cast<double>(transport->song_pos_beats) /
                               static_cast<double>(CLAP_BEATTIME_FACTOR),
                           isPlaying};
}

} // namespace

ClapPlugin::ClapPlugin(const clap_plugin_descriptor_t& descriptor, PluginInstrument::Kind ownKind,
                       const clap_host_t& ownHost)
    : host(ownHost), kind(ownKind), instrument(ownKind) {
    events.reserve(PluginBlock::mostEvents);
    face.desc = &descriptor;
    face.plugin_data = this;
    face.init = [](const clap_plugin_t*) { return true; };
    face.destroy = [](const clap_plugin_t* plugin) { delete &Of(plugin); };
    face.activate = [](const clap_plugin_t* plugin, double rate, std::uint32_t, std::uint32_t) {
        Of(plugin).Activate(rate);
        return true;
    };
    face.deactivate = [](const clap_plugin_t* plugin) { Of(plugin).instrument.Deactivate(); };
    face.start_processing = [](const clap_plugin_t*) { return true; };
    face.stop_processing = [](const clap_plugin_t*) {};
    face.reset = [](const clap_plugin_t* plugin) { Of(plugin).instrument.Reset(); };
    face.process = [](const clap_plugin_t* plugin, const clap_process_t* process) {
        return Of(plugin).Process(*process);
    };
    face.get_extension = [](const clap_plugin_t*, const char* id) { return Extension(id); };
    face.on_main_thread = [](const clap_plugin_t* plugin) { Of(plugin).OnMainThread(); };
}

void ClapPlugin::Activate(double sampleRate) {
    instrument.Activate(sampleRate);
    if (instrument.TakeLatencyChange()) {
        if (const auto* latency =
                static_cast<const clap_host_latency_t*>(host.get_extension(&host, CLAP_EXT_LATENCY))) {
            latency->changed(&host);
        }
    }
    for (const std::string& message : instrument.TakeMessages()) {
        std::fprintf(stderr, "Orphia VX: %s\n", message.c_str());
    }
}

void ClapPlugin::Gather(const clap_input_events_t* list) {
    events.clear();
    const std::uint32_t count = list != nullptr ? list->size(list) : 0;
    for (std::uint32_t n = 0; n < count && events.size() < PluginBlock::mostEvents; ++n) {
        const clap_event_header_t& header = *list->get(list, n);
        if (const auto what = Meaning(header)) {
            events.push_back({header.time, *what});
        }
    }
}

clap_process_status ClapPlugin::Process(const clap_process_t& process) {
    if (process.audio_outputs_count == 0 || process.audio_outputs[0].data32 == nullptr ||
        process.audio_outputs[0].channel_count < 2) {
        return CLAP_PROCESS_ERROR;
    }
    Gather(process.in_events);
    const bool hasVoice = process.audio_inputs_count > 0 && process.audio_inputs[0].data32 != nullptr;
    const std::optional<host::Transport> transport = TransportOf(process.transport);
    instrument.Process({hasVoice ? process.audio_inputs[0].data32 : nullptr,
                        hasVoice ? process.audio_inputs[0].channel_count : 0, process.audio_outputs[0].data32,
                        process.frames_count, events, transport ? &*transport : nullptr});
    process.audio_outputs[0].constant_mask = 0;
    if (instrument.HasNews() && !hasAsked.exchange(true)) {
        host.request_callback(&host);
    }
    return CLAP_PROCESS_CONTINUE;
}

void ClapPlugin::Flush(const clap_input_events_t& list) {
    const std::uint32_t count = list.size(&list);
    for (std::uint32_t n = 0; n < count; ++n) {
        const auto what = Meaning(*list.get(&list, n));
        const auto* const setting = what ? std::get_if<host::ParameterSetting>(&*what) : nullptr;
        if (setting != nullptr) {
            instrument.Set(*setting);
        }
    }
}

void ClapPlugin::OnMainThread() {
    hasAsked = false;
    if (!instrument.TakeChangedParameters().empty()) {
        RescanValues();
    }
    instrument.TakeProgramChange();
    // It may only be told while it is activated.
    if (instrument.TakeLatencyChange()) {
        host.request_restart(&host);
    }
}

void ClapPlugin::RescanValues() const {
    if (const auto* params =
            static_cast<const clap_host_params_t*>(host.get_extension(&host, CLAP_EXT_PARAMS))) {
        params->rescan(&host, CLAP_PARAM_RESCAN_VALUES | CLAP_PARAM_RESCAN_TEXT);
    }
}

bool ClapPlugin::Save(const clap_ostream_t& stream) {
    const std::string text = instrument.SaveState();
    std::size_t done = 0;
    while (done < text.size()) {
        const std::int64_t count = stream.write(&stream, text.data() + done, text.size() - done);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

bool ClapPlugin::Load(const clap_istream_t& stream) {
    std::string text;
    std::array<char, 4096> piece{};
    std::int64_t count = 0;
    while ((count = stream.read(&stream, piece.data(), piece.size())) > 0) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    const bool isLoaded = count == 0 && instrument.LoadState(text);
    instrument.TakeChangedParameters();
    RescanValues();
    return isLoaded;
}

} // namespace orphia::plugin
