// SPDX-License-Identifier: GPL-3.0-or-later
// A host of the light LV2 for systems that have no lilv: it reads of its description what there is of ports.
#include "Lv2Events.h"
#include "host/common/Paths.h"

#include <dlfcn.h>
#include <lv2/core/lv2.h>
#include <lv2/state/state.h>

#include <fstream>
#include <stdexcept>

namespace orphia::test {

namespace {

class PlainLv2Plugin final : public HostedPlugin {
public:
    PlainLv2Plugin(const std::string& bundle, const std::string& name) : folder(bundle + "/") {
        ReadPorts(folder + name + ".ttl");
        library = dlopen((folder + Binary()).c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        const auto describe = reinterpret_cast<LV2_Descriptor_Function>(dlsym(library, "lv2_descriptor"));
        plugin = describe(0);
    }
    ~PlainLv2Plugin() override {
        plugin->deactivate(instance);
        plugin->cleanup(instance);
        dlclose(library);
    }

    void Activate(double rate) override {
        Lv2Features features(words, longestBlock);
        instance = plugin->instantiate(plugin, rate, folder.c_str(), features.List());
        for (std::uint32_t port = 0; port < ports.size(); ++port) {
            plugin->connect_port(instance, port, &ports[port].value);
        }
        plugin->connect_port(instance, eventsIn, events.In());
        plugin->connect_port(instance, eventsIn + 1, events.Out());
        plugin->activate(instance);
    }

    void SetValue(const std::string& name, double value, std::uint32_t frame) override {
        if (name == "Bypass") {
            return SetValue("Enabled", 1.0 - value, frame);
        }
        for (Port& port : ports) {
            port.value = port.name == name ? static_cast<float>(value) : port.value;
        }
    }

    void Process(float* const* sound, std::uint32_t frames, const std::vector<host::TimedEvent>& messages,
                 const host::Transport* transport) override {
        for (std::uint32_t port = 0; port < eventsIn; ++port) {
            plugin->connect_port(instance, port, sound[port % 2]);
        }
        events.Write(frames, messages, transport, [](LV2_Atom_Forge&) {});
        plugin->run(instance, frames);
    }

    std::uint32_t Latency() override { return static_cast<std::uint32_t>(ports[latencyPort].value); }

    /// All that it keeps is one text.
    std::string Save() override {
        std::string text;
        const auto store = [](LV2_State_Handle to, std::uint32_t, const void* value, std::size_t,
                              std::uint32_t, std::uint32_t) {
            *static_cast<std::string*>(to) = static_cast<const char*>(value);
            return LV2_STATE_SUCCESS;
        };
        State().save(instance, store, &text, 0, nullptr);
        return text;
    }

    void Load(const std::string& state) override {
        struct Kept {
            std::string text;
            std::uint32_t type;
        } kept{state, words.Number(LV2_ATOM__String)};
        const auto retrieve = [](LV2_State_Handle from, std::uint32_t, std::size_t* size, std::uint32_t* type,
                                 std::uint32_t*) {
            const Kept& here = *static_cast<const Kept*>(from);
            *size = here.text.size() + 1;
            *type = here.type;
            return static_cast<const void*>(here.text.c_str());
        };
        State().restore(instance, retrieve, &kept, 0, nullptr);
    }

    std::size_t ParameterCount() override { return ports.size() - (latencyPort + 1); }

private:
    struct Port {
        std::string name;
        float value = 0.0F;
    };

    static std::ifstream Open(const std::string& file) {
        std::ifstream stream(host::PathOf(file));
        if (!stream) {
            throw std::runtime_error(file + " is not there");
        }
        return stream;
    }

    /// The rest of a line that begins so, up to the last such letter; empty for other lines.
    static std::string Told(const std::string& line, const std::string& begin, char end) {
        const std::size_t at = line.find(begin);
        return at == std::string::npos ? ""
                                       : line.substr(at + begin.size(), line.rfind(end) - at - begin.size());
    }

    /// Groups have names, too, behind all ports.
    void ReadPorts(const std::string& file) {
        std::ifstream lines = Open(file);
        for (std::string line; std::getline(lines, line);) {
            if (!Told(line, "lv2:index ", ' ').empty()) {
                ports.emplace_back();
            } else if (const std::string name = Told(line, "lv2:name \"", '"');
                       !name.empty() && ports.back().name.empty()) {
                ports.back().name = name;
            } else if (const std::string start = Told(line, "lv2:default ", ' '); !start.empty()) {
                ports.back().value = std::stof(start);
            }
        }
    }

    std::string Binary() const {
        std::ifstream lines = Open(folder + "manifest.ttl");
        for (std::string line; std::getline(lines, line);) {
            if (const std::string name = Told(line, "lv2:binary <", '>'); !name.empty()) {
                return name;
            }
        }
        return {};
    }

    const LV2_State_Interface& State() const {
        return *static_cast<const LV2_State_Interface*>(plugin->extension_data(LV2_STATE__interface));
    }

    static constexpr std::uint32_t eventsIn = 4;
    static constexpr std::uint32_t latencyPort = 6;
    static constexpr std::int32_t longestBlock = longest;

    std::string folder;
    void* library = nullptr;
    const LV2_Descriptor* plugin = nullptr;
    LV2_Handle instance = nullptr;
    std::vector<Port> ports;
    Words words;
    Lv2Events events{words};
};

} // namespace

std::unique_ptr<HostedPlugin> OpenPlainLv2(bool isEffect) {
    const std::string name = isEffect ? "orphia-vx-effect-light" : "orphia-vx-light";
    return std::make_unique<PlainLv2Plugin>(Bundles() + "/lv2/" + name + ".lv2", name);
}

} // namespace orphia::test
