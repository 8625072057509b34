// SPDX-License-Identifier: GPL-3.0-or-later
#include "FormatRig.h"
#include "travesty/audio_processor.h"
#include "travesty/component.h"
#include "travesty/edit_controller.h"
#include "travesty/factory.h"

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <list>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace orphia::test {

namespace {

/// What a host lends to a plug-in: to that it is a table of calls, of which the first three are always these.
class Lent {
public:
    template <class Kind>
    Kind** As() {
        return reinterpret_cast<Kind**>(this);
    }
    virtual v3_result V3_API Query(const v3_tuid, void** object) {
        *object = nullptr;
        return static_cast<v3_result>(V3_NO_INTERFACE);
    }
    virtual std::uint32_t V3_API Reference() { return 1; }
    virtual std::uint32_t V3_API Release() { return 1; }
};

class Stream final : public Lent {
public:
    explicit Stream(std::string saved = {}) : text(std::move(saved)) {}
    virtual v3_result V3_API Read(void* buffer, std::int32_t size, std::int32_t* count) {
        *count = static_cast<std::int32_t>(
            text.copy(static_cast<char*>(buffer), static_cast<std::size_t>(size), place));
        place += static_cast<std::size_t>(*count);
        return V3_OK;
    }
    virtual v3_result V3_API Write(const void* buffer, std::int32_t size, std::int32_t* count) {
        text.append(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
        *count = size;
        return V3_OK;
    }

    std::string text;

private:
    std::size_t place = 0;
};

class Events final : public Lent {
public:
    virtual std::uint32_t V3_API Count() { return static_cast<std::uint32_t>(all.size()); }
    virtual v3_result V3_API Get(std::int32_t index, v3_event* event) {
        *event = all[static_cast<std::size_t>(index)];
        return V3_OK;
    }
    virtual v3_result V3_API Add(v3_event*) { return V3_OK; }

    std::vector<v3_event> all;
};

/// How one parameter moves within a block.
class Curve final : public Lent {
public:
    explicit Curve(v3_param_id which) : id(which) {}
    virtual v3_param_id V3_API Id() { return id; }
    virtual std::int32_t V3_API Count() { return static_cast<std::int32_t>(points.size()); }
    virtual v3_result V3_API Get(std::int32_t index, std::int32_t* frame, double* position) {
        std::tie(*frame, *position) = points[static_cast<std::size_t>(index)];
        return V3_OK;
    }
    virtual v3_result V3_API Add(std::int32_t frame, double position, std::int32_t* index) {
        *index = Count();
        points.emplace_back(frame, position);
        return V3_OK;
    }

private:
    v3_param_id id;
    std::vector<std::pair<std::int32_t, double>> points;
};

class Curves final : public Lent {
public:
    virtual std::int32_t V3_API Count() { return static_cast<std::int32_t>(all.size()); }
    virtual v3_param_value_queue** V3_API Get(std::int32_t index) {
        return std::next(all.begin(), index)->As<v3_param_value_queue>();
    }
    virtual v3_param_value_queue** V3_API Add(const v3_param_id* id, std::int32_t* index) {
        *index = Count();
        return Of(*id).As<v3_param_value_queue>();
    }
    Curve& Of(v3_param_id id) {
        for (Curve& curve : all) {
            if (curve.Id() == id) {
                return curve;
            }
        }
        return all.emplace_back(id);
    }
    void Move(v3_param_id id, std::uint32_t frame, double position) {
        std::int32_t index = 0;
        Of(id).Add(static_cast<std::int32_t>(frame), position, &index);
    }

    std::list<Curve> all;
};

std::string Plain(const v3_str_128& wide) {
    std::string text;
    for (const std::int16_t* letter = wide; *letter != 0; ++letter) {
        text += static_cast<char>(*letter);
    }
    return text;
}

class Vst3Plugin final : public HostedPlugin {
public:
    explicit Vst3Plugin(const std::string& file) : library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        Find<bool V3_API()>("InitDll")();
        factory = Find<v3_plugin_factory* * V3_API()>("GetPluginFactory")();
        v3_class_info about{};
        v3_cpp_obj(factory)->get_class_info(factory, 0, &about);
        v3_cpp_obj(factory)->create_instance(factory, about.class_id, v3_component_iid,
                                             reinterpret_cast<void**>(&component));
        v3_cpp_obj_initialize(component, nullptr);
        v3_cpp_obj_query_interface(component, v3_audio_processor_iid, &processor);
        v3_cpp_obj_query_interface(component, v3_edit_controller_iid, &controller);
        v3_cpp_obj_query_interface(component, v3_midi_mapping_iid, &mapping);
    }
    ~Vst3Plugin() override {
        v3_cpp_obj(processor)->set_processing(processor, 0);
        v3_cpp_obj(component)->set_active(component, 0);
        v3_cpp_obj_terminate(component);
        v3_cpp_obj_unref(controller);
        v3_cpp_obj_unref(processor);
        v3_cpp_obj_unref(component);
        v3_cpp_obj_unref(factory);
        Find<bool V3_API()>("ExitDll")();
        dlclose(library);
    }

    /// No block may be longer than what is announced here.
    void Activate(double rate) override {
        v3_process_setup setup{V3_REALTIME, V3_SAMPLE_32, 9000, rate};
        v3_cpp_obj(processor)->setup_processing(processor, &setup);
        for (const std::int32_t direction : {V3_INPUT, V3_OUTPUT}) {
            v3_cpp_obj(component)->activate_bus(component, V3_AUDIO, direction, 0, 1);
        }
        v3_cpp_obj(component)->set_active(component, 1);
        v3_cpp_obj(processor)->set_processing(processor, 1);
    }

    void SetValue(const std::string& name, double value, std::uint32_t frame) override {
        for (const v3_param_info& info : Listed()) {
            if (Plain(info.title) == name) {
                turns.Move(
                    info.param_id, frame,
                    v3_cpp_obj(controller)->plain_parameter_to_normalised(controller, info.param_id, value));
            }
        }
    }

    void Process(float* const* sound, std::uint32_t frames, const std::vector<host::TimedEvent>& messages,
                 const host::Transport* transport) override {
        Events events;
        for (const host::TimedEvent& event : messages) {
            Tell(std::get<host::MidiMessage>(event.what), event.frame, events.all);
        }
        v3_audio_bus_buffers in{2, 0, {const_cast<float**>(sound)}};
        v3_audio_bus_buffers out = in;
        v3_process_context time{};
        if (transport != nullptr) {
            time.state = V3_PROCESS_CTX_PLAYING | V3_PROCESS_CTX_PROJECT_TIME_VALID |
                         V3_PROCESS_CTX_TEMPO_VALID | V3_PROCESS_CTX_TIME_SIG_VALID;
            time.project_time_quarters = transport->beat;
            time.bpm = transport->tempo;
            time.time_sig_numerator = 7;
            time.time_sig_denom = 8;
        }
        Curves told;
        v3_process_data data{V3_REALTIME,
                             V3_SAMPLE_32,
                             static_cast<std::int32_t>(frames),
                             1,
                             1,
                             &in,
                             &out,
                             turns.As<v3_param_changes>(),
                             told.As<v3_param_changes>(),
                             events.As<v3_event_list>(),
                             nullptr,
                             transport != nullptr ? &time : nullptr};
        if (v3_cpp_obj(processor)->process(processor, &data) != V3_OK) {
            throw std::runtime_error("process failed");
        }
        turns.all.clear();
    }

    std::uint32_t Latency() override { return v3_cpp_obj(processor)->get_latency_samples(processor); }

    std::string Save() override {
        Stream stream;
        v3_cpp_obj(component)->get_state(component, stream.As<v3_bstream>());
        return stream.text;
    }

    void Load(const std::string& state) override {
        Stream stream(state);
        v3_cpp_obj(component)->set_state(component, stream.As<v3_bstream>());
    }

    /// Without those that are hidden, and those that do not stand where they are said to start.
    std::size_t ParameterCount() override {
        const auto all = Listed();
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [this](const v3_param_info& info) {
                return (info.flags & V3_PARAM_IS_HIDDEN) == 0 &&
                       std::abs(v3_cpp_obj(controller)->get_parameter_normalised(controller, info.param_id) -
                                info.default_normalised_value) < 1e-6;
            }));
    }

    std::vector<std::string> Presets() override {
        std::vector<std::string> names;
        const v3_param_info list = ProgramList();
        for (std::int32_t program = 0; program <= list.step_count; ++program) {
            v3_str_128 name{};
            v3_cpp_obj(controller)
                ->get_parameter_string_for_value(controller, list.param_id,
                                                 static_cast<double>(program) / list.step_count, name);
            names.push_back(Plain(name));
        }
        return names;
    }

    void LoadPreset(const std::string& name) override {
        const auto names = Presets();
        const auto place = std::find(names.begin(), names.end(), name) - names.begin();
        const v3_param_info list = ProgramList();
        v3_cpp_obj(controller)
            ->set_parameter_normalised(controller, list.param_id,
                                       static_cast<double>(place) / list.step_count);
    }

private:
    template <class Call>
    Call* Find(const char* name) {
        return reinterpret_cast<Call*>(dlsym(library, name));
    }

    std::vector<v3_param_info> Listed() {
        std::vector<v3_param_info> all;
        for (std::int32_t index = 0; index < v3_cpp_obj(controller)->get_parameter_count(controller);
             ++index) {
            v3_param_info info{};
            v3_cpp_obj(controller)->get_parameter_info(controller, index, &info);
            all.push_back(info);
        }
        return all;
    }

    v3_param_info ProgramList() {
        for (const v3_param_info& info : Listed()) {
            if ((info.flags & V3_PARAM_PROGRAM_CHANGE) != 0) {
                return info;
            }
        }
        return {};
    }

    /// Notes are events, all else moves parameters that stand for controllers.
    void Tell(const host::MidiMessage& message, std::uint32_t frame, std::vector<v3_event>& events) {
        constexpr std::int16_t bend = 129;
        const auto channel = static_cast<std::int16_t>(message.status & 0x0FU);
        const auto key = static_cast<std::int16_t>(message.data1);
        const float strength = static_cast<float>(message.data2) / 127.0F;
        v3_event event{};
        event.sample_offset = static_cast<std::int32_t>(frame);
        switch (message.status & 0xF0U) {
        case 0x90:
            event.type = V3_EVENT_NOTE_ON;
            event.note_on = {channel, key, 0.0F, strength, 0, -1};
            return events.push_back(event);
        case 0x80:
            event.type = V3_EVENT_NOTE_OFF;
            event.note_off = {channel, key, strength, -1, 0.0F};
            return events.push_back(event);
        case 0xB0:
            return turns.Move(Standing(channel, key), frame, message.data2 / 127.0);
        default:
            return turns.Move(Standing(channel, bend), frame,
                              (message.data1 + 128 * message.data2) / 16383.0);
        }
    }

    v3_param_id Standing(std::int16_t channel, std::int16_t controllerNumber) {
        v3_param_id id = 0;
        v3_cpp_obj(mapping)->get_midi_controller_assignment(mapping, 0, channel, controllerNumber, &id);
        return id;
    }

    void* library;
    v3_plugin_factory** factory = nullptr;
    v3_component** component = nullptr;
    v3_audio_processor** processor = nullptr;
    v3_edit_controller** controller = nullptr;
    v3_midi_mapping** mapping = nullptr;
    Curves turns;
};

} // namespace

std::unique_ptr<HostedPlugin> OpenVst3(bool isEffect) {
    const std::string name = isEffect ? "orphia-vx-effect.vst3" : "orphia-vx.vst3";
    return std::make_unique<Vst3Plugin>(Bundles() + "/vst3/" + name + "/Contents/x86_64-win/" + name);
}

} // namespace orphia::test
