// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "clap/ext/params.h"
#include "clap/plugin.h"
#include "clap/stream.h"
#include "plugin/core/PluginInstrument.h"

#include <atomic>
#include <string>
#include <vector>

namespace orphia::plugin {

/// A PluginInstrument behind the functions of CLAP.
///
/// A parameter that has no steps is its position, since hosts know straight ranges alone; one with steps is
/// the number of its step.
class ClapPlugin {
public:
    ClapPlugin(const clap_plugin_descriptor_t& descriptor, PluginInstrument::Kind kind,
               const clap_host_t& host);

    /// What the host holds; destroy deletes this.
    const clap_plugin_t* Face() const { return &face; }

private:
    static ClapPlugin& Of(const clap_plugin_t* plugin) {
        return *static_cast<ClapPlugin*>(plugin->plugin_data);
    }
    static const void* Extension(const char* id);

    void Activate(double sampleRate);
    clap_process_status Process(const clap_process_t& process);
    void Gather(const clap_input_events_t* list);
    void Flush(const clap_input_events_t& list);
    void OnMainThread();
    bool Save(const clap_ostream_t& stream);
    bool Load(const clap_istream_t& stream);
    void RescanValues() const;

    friend struct ClapExtensions;

    clap_plugin_t face{};
    const clap_host_t& host;
    PluginInstrument::Kind kind;
    PluginInstrument instrument;
    std::vector<host::TimedEvent> events;
    std::atomic<bool> hasAsked{false};
};

/// Both plug-ins of this binary.
const clap_plugin_descriptor_t& ClapDescriptor(PluginInstrument::Kind kind);

} // namespace orphia::plugin
