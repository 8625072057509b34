// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/engine/EngineLibrary.h"

#include "host/common/Errors.h"
#include "processor/boundary/IProcessorFactory.h"
#include "support/platform/DynamicLibrary.h"
#include "support/platform/Platform.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

namespace orphia::host {

namespace Platform = Velmora::Platform;

namespace {

constexpr std::string_view libraryName = "orphia_vx";
constexpr const char* exportName = "GetProcessorFactory";

/// The text of a field that need not end.
template <std::size_t Capacity>
std::string TextOf(const char (&field)[Capacity]) {
    const void* const end = std::memchr(field, 0, Capacity);
    return {field, end != nullptr ? static_cast<const char*>(end) : field + Capacity};
}

bool IsFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

std::filesystem::path FirstPresent(const std::vector<std::filesystem::path>& places) {
    for (const auto& place : places) {
        if (IsFile(place)) {
            return place;
        }
    }
    std::vector<std::string> names(places.size());
    std::transform(places.begin(), places.end(), names.begin(),
                   [](const std::filesystem::path& place) { return place.string(); });
    throw EngineError(fmt::format("the engine's library is not found: there is no {}; {} can name its place",
                                  fmt::join(names, " and no "), EngineLibrary::pathVariable));
}

} // namespace

std::string EngineLibrary::FileName() { return Platform::LibraryFileName(libraryName); }

std::vector<std::filesystem::path> EngineLibrary::SearchedPlaces() {
    if (const auto named = Platform::Environment(pathVariable)) {
        return {std::filesystem::path(*named)};
    }
    // This code is linked into the program, or the plug-in, that uses the engine.
    const std::filesystem::path folder = std::filesystem::path(Platform::LibraryPath()).parent_path();
    return {folder / FileName(), (folder / ".." / "lib" / FileName()).lexically_normal()};
}

std::shared_ptr<const EngineLibrary> EngineLibrary::Load(const std::filesystem::path& path) {
    return std::shared_ptr<const EngineLibrary>(
        new EngineLibrary(path.empty() ? FirstPresent(SearchedPlaces()) : path));
}

EngineLibrary::EngineLibrary(std::filesystem::path file) {
    std::error_code error;
    // A bare name would be searched for in the system's own folders.
    path = std::filesystem::absolute(file, error);
    if (error || !IsFile(path)) {
        path = std::move(file);
        Refuse("there is no such file");
    }
    library = std::make_unique<Platform::DynamicLibrary>(path.string());
    if (!library->IsOpen()) {
        Refuse(library->GetError());
    }
    auto* const makeFactory = library->FindFunction<Velmora::Processor::IProcessorFactory*()>(exportName);
    if (makeFactory == nullptr) {
        Refuse(fmt::format("it does not export {}", exportName));
    }
    factory.reset(makeFactory());
    if (factory == nullptr) {
        Refuse("it gives no factory");
    }
    interfaceVersion = factory->GetInterfaceVersion();
    if (interfaceVersion < Processor::version) {
        Refuse(fmt::format("its interface is version {}, and {} is needed", interfaceVersion,
                           Processor::version));
    }
    version = TextOf(factory->version);
    vendor = TextOf(factory->vendor);
    name = TextOf(factory->name);
}

EngineLibrary::~EngineLibrary() = default;

void EngineLibrary::Refuse(std::string_view reason) const {
    throw EngineError(fmt::format("{} cannot be used as the engine: {}", path.string(), reason));
}

std::unique_ptr<EngineLibrary::Processor>
EngineLibrary::CreateProcessor(std::optional<std::uint32_t> seed) const {
    // From this interface version on a processor is one of that level at least.
    std::unique_ptr<Processor> processor(static_cast<Processor*>(factory->CreateProcessor()));
    if (processor == nullptr) {
        Refuse("there is no memory for a processor");
    }
    if (seed) {
        SendOption(*processor, fmt::format("seed={}", *seed));
    }
    return processor;
}

void EngineLibrary::SendOption(Processor& processor, std::string_view option) {
    auto size = static_cast<std::uint32_t>(option.size());
    // The text of tooltips is the last parameter.
    processor.SetParameterData(processor.GetParameterCount() - 1, option.data(), &size);
}

} // namespace orphia::host
