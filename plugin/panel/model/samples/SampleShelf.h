// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/model/samples/PeakTable.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace orphia::panel {

/// What a panel knows of sound files, read by a thread of its own and kept. For one thread, which never
/// waits for a file.
class SampleShelf {
public:
    struct Sound {
        PeakTable peaks;
        std::uint32_t sampleRate = 0;
        /// Why there is none; empty for a sound.
        std::string problem;

        double Seconds() const {
            return sampleRate > 0 ? static_cast<double>(peaks.Frames()) / sampleRate : 0.0;
        }
    };
    /// In Hz; nothing for a sound without a steady one.
    using Pitch = std::optional<double>;

    SampleShelf() = default;
    /// What is still to be read is left.
    ~SampleShelf();
    SampleShelf(const SampleShelf&) = delete;
    SampleShelf& operator=(const SampleShelf&) = delete;

    /// Null while it is read. A file that has changed since is read again.
    std::shared_ptr<const Sound> Find(const std::filesystem::path& path);
    /// Nothing while it is sought.
    std::optional<Pitch> FindPitch(const std::filesystem::path& path);

private:
    /// A file as it is at a moment.
    struct Key {
        std::filesystem::path path;
        std::filesystem::file_time_type time;
        std::uintmax_t size = 0;
        bool operator==(const Key&) const = default;
    };
    struct Entry {
        Key key;
        bool wantsPitch = false;
        std::shared_ptr<const Sound> sound;
        std::optional<Pitch> pitch;
    };

    static Key KeyOf(const std::filesystem::path& path);
    Entry& EntryOf(const Key& key);
    void Order(const std::filesystem::path& path);
    void Run();
    void Work(std::unique_lock<std::mutex>& lock, const std::filesystem::path& path);

    std::mutex mutex;
    std::condition_variable wakes;
    std::map<std::filesystem::path, Entry> entries;
    std::deque<std::filesystem::path> orders;
    std::atomic<bool> ends{false};
    std::thread worker;
};

} // namespace orphia::panel
