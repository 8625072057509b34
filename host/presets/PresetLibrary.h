// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/presets/Preset.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::host {

/// The presets of the instrument: those that are built in, and those in the user's folder.
class ORPHIA_PUBLIC PresetLibrary {
public:
    struct Entry {
        /// What a user calls it: the file's name without its ending, for instance "classic-robot".
        std::string id;
        /// As the preset itself tells.
        std::string name;
        std::string description;
        std::vector<std::string> tags;
        /// Empty for a built-in one.
        std::filesystem::path path;

        bool IsBuiltIn() const { return path.empty(); }
    };

    /// What the preset is called that sounds when none is chosen; it is none of Entries().
    static constexpr std::string_view defaultId = "default";

    /// Where a user's own presets lie, which need not exist; empty when the system knows no place.
    static std::filesystem::path UserFolder();

    /// The folder that samples of built-in presets are relative to: presets/factory in the folder of the
    /// running program or plug-in, or share/orphia-vx/presets/factory beside that folder or in the
    /// installation. It may not exist.
    static std::filesystem::path FactoryFolder();

    /// With the presets of UserFolder().
    PresetLibrary();
    /// With those of another folder; an empty path is none.
    explicit PresetLibrary(const std::filesystem::path& folder);

    /// The built-in ones, then the user's, each in order of id. A file that is no preset is left out; one
    /// with a built-in one's id stands in its place.
    const std::vector<Entry>& Entries() const { return entries; }
    /// A line for each file of the folder that was left out: which one, and why.
    const std::vector<std::string>& Warnings() const { return leftOut; }

    /// By id or name; case, blanks, "-" and "_" do not count. Throws UsageError for an unknown one, with
    /// similar ones.
    const Entry& Find(std::string_view idOrName) const;

    /// Reads a preset. Throws FileError.
    static Preset Load(const Entry& entry, const ParameterCatalog& catalog,
                       std::vector<std::string>& warnings);

    /// What a user gives for a preset: the path of a file, when it ends in .json or there is such a file,
    /// else as for Find, with Warnings(), or the default preset by defaultId or by its own name. Throws
    /// UsageError and FileError.
    Preset Open(const std::string& pathOrName, const ParameterCatalog& catalog,
                std::vector<std::string>& warnings) const;

private:
    /// By an id or else a name of which only what counts is left; null for an unknown one.
    const Entry* FindPlain(std::string_view wanted) const;
    void ReadFolder(const std::filesystem::path& folder, std::vector<Entry>& own);

    std::vector<Entry> entries;
    std::vector<std::string> leftOut;
};

/// The text of one built-in preset's file.
struct ORPHIA_PUBLIC BuiltInPreset {
    std::string_view id;
    std::string_view text;
};

/// In order of id: all of presets/factory/.
ORPHIA_PUBLIC std::vector<BuiltInPreset> BuiltInPresets();

} // namespace orphia::host
