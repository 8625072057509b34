// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace Velmora::Platform {

/// A library loaded at run time; unloaded with its owner. Not for the audio path.
class DynamicLibrary {
public:
    /// No library.
    DynamicLibrary() = default;
    /// Loads the library at `path` (UTF-8). After a failure `IsOpen` is false and `GetError` tells why.
    explicit DynamicLibrary(const std::string& path);
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    ~DynamicLibrary();

    bool IsOpen() const { return handle != nullptr; }
    /// The system's message about a failed load, otherwise empty.
    const std::string& GetError() const { return error; }

    /// The function called `name` as a pointer to `Function`, null when the library lacks it or none is
    /// loaded: `library.FindFunction<int(const char*)>("name")`.
    template <typename Function>
    Function* FindFunction(const char* name) const {
        return reinterpret_cast<Function*>(FindSymbol(name));
    }

    /// Unloads the library; pointers got from it are dead then.
    void Close();

private:
    void* FindSymbol(const char* name) const;

    void* handle = nullptr;
    std::string error;
};

} // namespace Velmora::Platform
