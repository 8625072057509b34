// SPDX-License-Identifier: GPL-3.0-or-later
#include "FormatRig.h"
#include "clap/entry.h"
#include "clap/ext/latency.h"
#include "clap/ext/params.h"
#include "clap/ext/state.h"
#include "clap/plugin-factory.h"

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace orphia::test {

namespace {

const clap_host_t& Host() {
    static const clap_host_t host{CLAP_VERSION,
                                  nullptr,
                                  "orphia-test",
                                  "",
                                  "",
                                  "1",
                                  [](const clap_host_t*, const char*) -> const void* { return nullptr; },
                                  [](const clap_host_t*) {},
                                  [](const clap_host_t*) {},
                                  [](const clap_host_t*) {}};
    return host;
}

class ClapPlugin final : public HostedPlugin {
public:
    ClapPlugin(const std::string& file, std::uint32_t which)
        : library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        entry = static_cast<const clap_plugin_entry_t*>(dlsym(library, "clap_entry"));
        entry->init(file.c_str());
        const auto* const factory =
            static_cast<const clap_plugin_factory_t*>(entry->get_factory(CLAP_PLUGIN_FACTORY_ID));
        plugin = factory->create_plugin(factory, &Host(), factory->get_plugin_descriptor(factory, which)->id);
        plugin->init(plugin);
    }
    ~ClapPlugin() override {
        plugin->deactivate(plugin);
        plugin->destroy(plugin);
        entry->deinit();
        dlclose(library);
    }

    void Activate(double rate) override { plugin->activate(plugin, rate, 1, longest); }

    void SetValue(const std::string& name, double value, std::uint32_t frame) override {
        const auto& params = Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS);
        for (std::uint32_t index = 0; index < params.count(plugin); ++index) {
            clap_param_info_t info{};
            params.get_info(plugin, index, &info);
            std::array<char, 64> text{};
            std::snprintf(text.data(), text.size(), "%g", value);
            double own = 0.0;
            if (info.name == name && params.text_to_value(plugin, info.id, text.data(), &own)) {
                turns.push_back({{sizeof(clap_event_param_value_t), frame, CLAP_CORE_EVENT_SPACE_ID,
                                  CLAP_EVENT_PARAM_VALUE, 0},
                                 info.id,
                                 info.cookie,
                                 -1,
                                 -1,
                                 -1,
                                 -1,
                                 own});
            }
        }
    }

    void Process(float* const* sound, std::uint32_t frames, const std::vector<host::TimedEvent>& messages,
                 const host::Transport* transport) override {
        events.clear();
        notes.clear();
        for (const host::TimedEvent& event : messages) {
            const auto& message = std::get<host::MidiMessage>(event.what);
            notes.push_back(
                {{sizeof(clap_event_midi_t), event.frame, CLAP_CORE_EVENT_SPACE_ID, CLAP_EVENT_MIDI, 0},
                 0,
                 {message.status, message.data1, message.data2}});
        }
        for (const auto& turn : turns) {
            events.push_back(&turn.header);
        }
        for (const auto& note : notes) {
            events.push_back(&note.header);
        }
        clap_audio_buffer_t buffer{const_cast<float**>(sound), nullptr, 2, 0, 0};
        const clap_input_events_t in{
            &events,
            [](const clap_input_events_t* list) { return static_cast<std::uint32_t>(Of(list).size()); },
            [](const clap_input_events_t* list, std::uint32_t n) { return Of(list)[n]; }};
        const clap_output_events_t out{
            nullptr, [](const clap_output_events_t*, const clap_event_header_t*) { return true; }};
        clap_audio_buffer_t output = buffer;
        clap_event_transport_t time{};
        if (transport != nullptr) {
            time.flags =
                CLAP_TRANSPORT_HAS_TEMPO | CLAP_TRANSPORT_HAS_BEATS_TIMELINE | CLAP_TRANSPORT_IS_PLAYING;
            time.song_pos_beats = static_cast<clap_beattime>(transport->beat * CLAP_BEATTIME_FACTOR);
            time.tempo = transport->tempo;
        }
        const clap_process_t process{
            -1, frames, transport != nullptr ? &time : nullptr, &buffer, &output, 1, 1, &in, &out};
        if (plugin->process(plugin, &process) == CLAP_PROCESS_ERROR) {
            throw std::runtime_error("process failed");
        }
        turns.clear();
    }

    std::uint32_t Latency() override {
        return Extension<clap_plugin_latency_t>(CLAP_EXT_LATENCY).get(plugin);
    }

    std::string Save() override {
        std::string text;
        const clap_ostream_t stream{
            &text, [](const clap_ostream_t* to, const void* bytes, std::uint64_t size) {
                static_cast<std::string*>(to->ctx)->append(static_cast<const char*>(bytes), size);
                return static_cast<std::int64_t>(size);
            }};
        Extension<clap_plugin_state_t>(CLAP_EXT_STATE).save(plugin, &stream);
        return text;
    }

    void Load(const std::string& state) override {
        std::string_view left = state;
        const clap_istream_t stream{&left, [](const clap_istream_t* from, void* bytes, std::uint64_t size) {
                                        auto& rest = *static_cast<std::string_view*>(from->ctx);
                                        const std::size_t count = std::min<std::size_t>(size, rest.size());
                                        std::memcpy(bytes, rest.data(), count);
                                        rest.remove_prefix(count);
                                        return static_cast<std::int64_t>(count);
                                    }};
        Extension<clap_plugin_state_t>(CLAP_EXT_STATE).load(plugin, &stream);
    }

    std::size_t ParameterCount() override {
        return Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS).count(plugin);
    }

private:
    using Events = std::vector<const clap_event_header_t*>;

    static const Events& Of(const clap_input_events_t* list) {
        return *static_cast<const Events*>(list->ctx);
    }

    template <class Kind>
    const Kind& Extension(const char* id) const {
        return *static_cast<const Kind*>(plugin->get_extension(plugin, id));
    }

    void* library;
    const clap_plugin_entry_t* entry = nullptr;
    const clap_plugin_t* plugin = nullptr;
    std::vector<clap_event_param_value_t> turns;
    std::vector<clap_event_midi_t> notes;
    Events events;
};

} // namespace

std::unique_ptr<HostedPlugin> OpenClap(bool isEffect) {
    return std::make_unique<ClapPlugin>(Bundles() + "/clap/orphia-vx/orphia-vx.clap", isEffect ? 1U : 0U);
}

} // namespace orphia::test
