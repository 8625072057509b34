// SPDX-License-Identifier: GPL-3.0-or-later
// The entry of an LV2: that of its toolkit, but states have their paths mapped by the host, which toolkits
// leave out. The build has the toolkit name its own entry OrphiaToolkitDescriptor.
#include "host/common/Paths.h"
#include "plugin/core/state/PluginState.h"

#include <lv2/core/lv2.h>
#include <lv2/state/state.h>

#include <cstdlib>
#include <cstring>
#include <string>

extern "C" const LV2_Descriptor* OrphiaToolkitDescriptor(std::uint32_t index);

namespace {

using orphia::plugin::PathMapping;

const LV2_Descriptor& Toolkit() { return *OrphiaToolkitDescriptor(0); }

template <class Kind>
const Kind* Feature(const LV2_Feature* const* features, const char* uri) {
    for (; features != nullptr && *features != nullptr; ++features) {
        if (std::strcmp((*features)->URI, uri) == 0) {
            return static_cast<const Kind*>((*features)->data);
        }
    }
    return nullptr;
}

/// As long as it lives, what this thread saves or loads has its paths mapped by a host that can.
class HostPaths {
public:
    explicit HostPaths(const LV2_Feature* const* features)
        : map(Feature<LV2_State_Map_Path>(features, LV2_STATE__mapPath)),
          free(Feature<LV2_State_Free_Path>(features, LV2_STATE__freePath)) {
        if (map != nullptr) {
            PathMapping::OfThread() = {
                [this](const std::filesystem::path& file) {
                    return Take(map->abstract_path(map->handle, orphia::host::TextOf(file).c_str()));
                },
                [this](const std::string& text) {
                    return orphia::host::PathOf(Take(map->absolute_path(map->handle, text.c_str())));
                }};
        }
    }
    ~HostPaths() { PathMapping::OfThread() = {}; }
    HostPaths(const HostPaths&) = delete;
    HostPaths& operator=(const HostPaths&) = delete;

private:
    std::string Take(char* path) const {
        std::string text = path != nullptr ? path : "";
        free != nullptr ? free->free_path(free->handle, path) : std::free(path);
        return text;
    }

    const LV2_State_Map_Path* map;
    const LV2_State_Free_Path* free;
};

const LV2_State_Interface& ToolkitState() {
    return *static_cast<const LV2_State_Interface*>(Toolkit().extension_data(LV2_STATE__interface));
}

LV2_State_Status Save(LV2_Handle instance, LV2_State_Store_Function store, LV2_State_Handle handle,
                      std::uint32_t flags, const LV2_Feature* const* features) {
    const HostPaths paths(features);
    return ToolkitState().save(instance, store, handle, flags, features);
}

LV2_State_Status Restore(LV2_Handle instance, LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle,
                         std::uint32_t flags, const LV2_Feature* const* features) {
    const HostPaths paths(features);
    return ToolkitState().restore(instance, retrieve, handle, flags, features);
}

const void* ExtensionData(const char* uri) {
    static constexpr LV2_State_Interface state{Save, Restore};
    return std::strcmp(uri, LV2_STATE__interface) == 0 ? &state : Toolkit().extension_data(uri);
}

} // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
    static const LV2_Descriptor descriptor = [] {
        LV2_Descriptor own = Toolkit();
        own.extension_data = ExtensionData;
        return own;
    }();
    return index == 0 ? &descriptor : nullptr;
}
