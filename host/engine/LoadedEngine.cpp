// SPDX-License-Identifier: GPL-3.0-or-later
// The engine as a library that is found and loaded at run time.
#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "host/common/Places.h"
#include "host/engine/EngineLibrary.h"
#include "processor/boundary/IProcessorFactory.h"
#include "support/platform/DynamicLibrary.h"
#include "support/platform/Platform.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace orphia::host {

namespace Platform = Velmora::Platform;

namespace {

constexpr std::string_view libraryName = "orphia_vx";
constexpr const char* exportName = "GetProcessorFactory";

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
                   [](const std::filesystem::path& place) { return TextOf(place); });
    throw EngineError(fmt::format("the engine's library is not found: there is no {}; {} can name its place",
                                  fmt::join(names, " and no "), EngineLibrary::pathVariable));
}

} // namespace

std::string EngineLibrary::FileName() { return Platform::LibraryFileName(libraryName); }

std::vector<std::filesystem::path> EngineLibrary::SearchedPlaces() {
    if (const auto named = Platform::Environment(pathVariable)) {
        return {PathOf(*named)};
    }
    return EnginePlaces(FileName());
}

std::shared_ptr<const EngineLibrary> EngineLibrary::Load(const std::filesystem::path& path) {
    return std::shared_ptr<const EngineLibrary>(
        new EngineLibrary(path.empty() ? FirstPresent(SearchedPlaces()) : path));
}

Velmora::Processor::IProcessorFactory* EngineLibrary::MakeFactory(std::filesystem::path file) {
    std::error_code error;
    // A bare name would be searched for in the system's own folders.
    path = std::filesystem::absolute(file, error);
    if (error || !IsFile(path)) {
        path = std::move(file);
        Refuse("there is no such file");
    }
    library = std::make_unique<Platform::DynamicLibrary>(TextOf(path));
    if (!library->IsOpen()) {
        Refuse(library->GetError());
    }
    auto* const makeFactory = library->FindFunction<Velmora::Processor::IProcessorFactory*()>(exportName);
    if (makeFactory == nullptr) {
        Refuse(fmt::format("it does not export {}", exportName));
    }
    return makeFactory();
}

} // namespace orphia::host
