// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Platform {
class DynamicLibrary;
}

namespace Velmora::Processor {
class IProcessorFactory;
class IProcessor_V8;
} // namespace Velmora::Processor

namespace orphia::host {

/// The engine as other programs get it: a shared library with one export, loaded at run time. It stays loaded
/// as long as something made from it is held. Safe to share between threads once it is made. Where nothing
/// can be loaded it is a part of the program: paths are ignored, and there is nothing to search.
class ORPHIA_PUBLIC EngineLibrary {
public:
    using Processor = Velmora::Processor::IProcessor_V8;

    /// The environment variable that names the library, over all other places.
    static constexpr const char* pathVariable = "ORPHIA_ENGINE";

    /// The file's name on this system, without a folder.
    static std::string FileName();

    /// Where the library is looked for, in order: the place in the environment alone where there is one;
    /// else the folder of the running program (or plug-in), the folder lib beside that one, and where this
    /// library's own installation has it.
    static std::vector<std::filesystem::path> SearchedPlaces();

    /// Loads the library at `path`, or without one from the first place that has it. Throws EngineError,
    /// which tells what was tried.
    static std::shared_ptr<const EngineLibrary> Load(const std::filesystem::path& path = {});

    ~EngineLibrary();
    EngineLibrary(const EngineLibrary&) = delete;
    EngineLibrary& operator=(const EngineLibrary&) = delete;

    const std::filesystem::path& Path() const { return path; }
    /// As the library itself tells.
    std::string_view Version() const { return version; }
    std::string_view Vendor() const { return vendor; }
    std::string_view Name() const { return name; }
    std::uint32_t InterfaceVersion() const { return interfaceVersion; }

    /// A new processor, which must go before the library does. With a seed its noise repeats. Throws
    /// EngineError when there is no memory.
    std::unique_ptr<Processor> CreateProcessor(std::optional<std::uint32_t> seed = std::nullopt) const;
    /// What is no parameter: "seed=5", "drive=smooth" or "drive=plain".
    static void SendOption(Processor& processor, std::string_view option);

private:
    explicit EngineLibrary(std::filesystem::path path);
    Velmora::Processor::IProcessorFactory* MakeFactory(std::filesystem::path file);
    [[noreturn]] void Refuse(std::string_view reason) const;

    std::filesystem::path path;
    // In front of the factory, whose code is in it.
    std::unique_ptr<Velmora::Platform::DynamicLibrary> library;
    std::unique_ptr<Velmora::Processor::IProcessorFactory> factory;
    std::string version;
    std::string vendor;
    std::string name;
    std::uint32_t interfaceVersion = 0;
};

} // namespace orphia::host
