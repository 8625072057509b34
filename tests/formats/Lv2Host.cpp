// SPDX-License-Identifier: GPL-3.0-or-later
#include "FormatRig.h"
#include "Lv2Events.h"

#include <lilv/lilv.h>
#include <lv2/patch/patch.h>
#include <lv2/presets/presets.h>
#include <lv2/state/state.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>

namespace orphia::test {

namespace {

/// The light one has its parameters as ports, in real values; the other one as properties, by positions.
class Lv2Plugin final : public HostedPlugin {
public:
    explicit Lv2Plugin(const std::string& uri) : world(lilv_world_new()) {
        setenv("LV2_PATH", (Bundles() + "/lv2:/usr/lib/lv2").c_str(), 1);
        lilv_world_load_all(world);
        LilvNode* const node = lilv_new_uri(world, uri.c_str());
        plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), node);
        lilv_node_free(node);
        if (plugin == nullptr) {
            throw std::runtime_error(uri + " is not there");
        }
        properties = FindProperties();
        controls.resize(lilv_plugin_get_num_ports(plugin));
        lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, controls.data());
    }
    ~Lv2Plugin() override {
        if (instance != nullptr) {
            lilv_instance_deactivate(instance);
            lilv_instance_free(instance);
        }
        lilv_world_free(world);
    }

    void Activate(double rate) override {
        Lv2Features features(words, longestBlock);
        instance = lilv_plugin_instantiate(plugin, rate, features.List());
        for (std::uint32_t port = 0; port < controls.size(); ++port) {
            lilv_instance_connect_port(instance, port, &controls[port]);
        }
        lilv_instance_connect_port(instance, eventsIn, events.In());
        lilv_instance_connect_port(instance, eventsOut, events.Out());
        lilv_instance_activate(instance);
    }

    void SetValue(const std::string& name, double value, std::uint32_t frame) override {
        if (name == "Bypass") {
            SetValue("Enabled", 1.0 - value, frame);
            return;
        }
        if (const auto property = properties.find(name); property != properties.end()) {
            const auto& all = plugin::PluginParameters::Get().All();
            const auto parameter =
                std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.name == name; });
            turns[property->second] =
                plugin::PluginParameters::Get().ToPosition(parameter->id, static_cast<float>(value));
        }
        for (std::uint32_t port = 0; port < controls.size(); ++port) {
            LilvNode* const label = lilv_port_get_name(plugin, lilv_plugin_get_port_by_index(plugin, port));
            if (name == lilv_node_as_string(label)) {
                controls[port] = static_cast<float>(value);
            }
            lilv_node_free(label);
        }
    }

    void Process(float* const* sound, std::uint32_t frames, const std::vector<host::TimedEvent>& messages,
                 const host::Transport* transport) override {
        for (std::uint32_t side = 0; side < 2; ++side) {
            lilv_instance_connect_port(instance, side, sound[side]);
            lilv_instance_connect_port(instance, 2 + side, sound[side]);
        }
        events.Write(frames, messages, transport, [this](LV2_Atom_Forge& forge) {
            for (const auto& [property, position] : turns) {
                WriteTurn(forge, property, position);
            }
        });
        turns.clear();
        lilv_instance_run(instance, frames);
    }

    std::uint32_t Latency() override { return static_cast<std::uint32_t>(controls[latencyPort]); }

    std::string Save() override {
        LilvState* const state = TakeState(nullptr);
        char* const text =
            lilv_state_to_string(world, &words.map, &words.unmap, state, "urn:orphia:saved", nullptr);
        std::string saved = text;
        std::free(text);
        lilv_state_free(state);
        return saved;
    }

    void Load(const std::string& saved) override {
        Restore(lilv_state_new_from_string(world, &words.map, saved.c_str()));
    }

    bool SaveProject(const std::string& folder) override {
        LilvState* const state = TakeState(folder.c_str());
        lilv_state_save(world, &words.map, &words.unmap, state, nullptr, folder.c_str(), "state.ttl");
        lilv_state_free(state);
        return true;
    }

    void LoadProject(const std::string& folder) override {
        Restore(lilv_state_new_from_file(world, &words.map, nullptr, (folder + "/state.ttl").c_str()));
    }

    std::vector<std::string> Presets() override {
        FindPresets();
        std::vector<std::string> names;
        for (const auto& [name, uri] : presets) {
            names.push_back(name);
        }
        return names;
    }

    void LoadPreset(const std::string& name) override {
        FindPresets();
        LilvNode* const preset = lilv_new_uri(world, presets.at(name).c_str());
        Restore(lilv_state_new_from_world(world, &words.map, preset));
        lilv_node_free(preset);
    }

    /// Without sound, events and the latency.
    std::size_t ParameterCount() override {
        return properties.empty() ? controls.size() - (latencyPort + 1) : properties.size();
    }

private:
    using Properties = std::map<std::string, std::string>;

    Properties FindProperties() {
        Properties found;
        LilvNode* const writable = lilv_new_uri(world, LV2_PATCH__writable);
        LilvNode* const label = lilv_new_uri(world, LILV_NS_RDFS "label");
        LilvNodes* const nodes = lilv_plugin_get_value(plugin, writable);
        LILV_FOREACH(nodes, at, nodes) {
            const LilvNode* const property = lilv_nodes_get(nodes, at);
            LilvNode* const name = lilv_world_get(world, property, label, nullptr);
            found[lilv_node_as_string(name)] = lilv_node_as_uri(property);
            lilv_node_free(name);
        }
        lilv_nodes_free(nodes);
        lilv_node_free(label);
        lilv_node_free(writable);
        return found;
    }

    void WriteTurn(LV2_Atom_Forge& forge, const std::string& property, float position) {
        LV2_Atom_Forge_Frame object;
        lv2_atom_forge_frame_time(&forge, 0);
        lv2_atom_forge_object(&forge, &object, 0, words.Number(LV2_PATCH__Set));
        lv2_atom_forge_key(&forge, words.Number(LV2_PATCH__property));
        lv2_atom_forge_urid(&forge, words.Number(property));
        lv2_atom_forge_key(&forge, words.Number(LV2_PATCH__value));
        lv2_atom_forge_float(&forge, position);
        lv2_atom_forge_pop(&forge, &object);
    }

    std::uint32_t PortOf(const char* symbol) {
        LilvNode* const name = lilv_new_string(world, symbol);
        const std::uint32_t port = lilv_port_get_index(plugin, lilv_plugin_get_port_by_symbol(plugin, name));
        lilv_node_free(name);
        return port;
    }

    /// With a folder, its files go by their place in there.
    LilvState* TakeState(const char* folder) {
        const auto value = [](const char* symbol, void* self, std::uint32_t* size, std::uint32_t* type) {
            auto& that = *static_cast<Lv2Plugin*>(self);
            *size = sizeof(float);
            *type = that.words.Number(LV2_ATOM__Float);
            return static_cast<const void*>(&that.controls[that.PortOf(symbol)]);
        };
        return lilv_state_new_from_instance(plugin, instance, &words.map, nullptr, nullptr, nullptr, folder,
                                            value, this, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, nullptr);
    }

    /// As other hosts do: their sound, and where the sliders stand.
    void Restore(LilvState* state) {
        const auto set = [](const char* symbol, void* self, const void* value, std::uint32_t,
                            std::uint32_t type) {
            auto& that = *static_cast<Lv2Plugin*>(self);
            const auto as = [value]<class Number>(Number number) {
                std::memcpy(&number, value, sizeof(number));
                return static_cast<float>(number);
            };
            that.controls[that.PortOf(symbol)] = type == that.words.Number(LV2_ATOM__Double) ? as(double{})
                                                 : type == that.words.Number(LV2_ATOM__Int)
                                                     ? as(std::int32_t{})
                                                     : as(float{});
        };
        lilv_state_restore(state, instance, set, this, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, nullptr);
        lilv_state_free(state);
    }

    void FindPresets() {
        LilvNode* const kind = lilv_new_uri(world, LV2_PRESETS__Preset);
        LilvNode* const label = lilv_new_uri(world, LILV_NS_RDFS "label");
        LilvNodes* const found = lilv_plugin_get_related(plugin, kind);
        LILV_FOREACH(nodes, at, found) {
            const LilvNode* const preset = lilv_nodes_get(found, at);
            lilv_world_load_resource(world, preset);
            LilvNode* const name = lilv_world_get(world, preset, label, nullptr);
            presets[lilv_node_as_string(name)] = lilv_node_as_uri(preset);
            lilv_node_free(name);
        }
        lilv_nodes_free(found);
        lilv_node_free(label);
        lilv_node_free(kind);
    }

    static constexpr std::uint32_t eventsIn = 4;
    static constexpr std::uint32_t eventsOut = 5;
    static constexpr std::uint32_t latencyPort = 6;
    static constexpr std::int32_t longestBlock = longest;

    Words words;
    LilvWorld* world;
    const LilvPlugin* plugin = nullptr;
    LilvInstance* instance = nullptr;
    /// By their names, as hosts list them.
    std::map<std::string, std::string> presets;
    /// Those that are parameters, by their names; none of the light one.
    Properties properties;
    std::map<std::string, float> turns;
    std::vector<float> controls;
    Lv2Events events{words};
};

} // namespace

std::unique_ptr<HostedPlugin> OpenLv2(bool isEffect) {
    return std::make_unique<Lv2Plugin>(isEffect ? "urn:velmora:orphia-vx-effect" : "urn:velmora:orphia-vx");
}

std::unique_ptr<HostedPlugin> OpenLightLv2(bool isEffect) {
    return std::make_unique<Lv2Plugin>(isEffect ? "urn:velmora:orphia-vx-effect-light"
                                                : "urn:velmora:orphia-vx-light");
}

} // namespace orphia::test
