// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/samples/SampleShelf.h"

#include "host/audio/AudioFileSource.h"
#include "host/parts/SampleReport.h"

#include <algorithm>
#include <exception>

namespace orphia::panel {

namespace {

std::shared_ptr<const SampleShelf::Sound> ReadSound(const std::filesystem::path& path,
                                                    const std::function<bool()>& goesOn) {
    auto sound = std::make_shared<SampleShelf::Sound>();
    try {
        host::AudioFileSource source(path);
        sound->sampleRate = source.SampleRate();
        sound->peaks.Read(source, goesOn);
    } catch (const std::exception& error) {
        const std::string text = error.what();
        const std::string prefix = path.string() + ": ";
        sound->problem = text.starts_with(prefix) ? text.substr(prefix.size()) : text;
    }
    return sound;
}

SampleShelf::Pitch ReadPitch(const std::filesystem::path& path, const std::function<bool()>& goesOn) {
    try {
        host::AudioFileSource source(path);
        return host::FindPitch(source, goesOn);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

SampleShelf::~SampleShelf() {
    {
        const std::scoped_lock lock(mutex);
        ends = true;
    }
    wakes.notify_all();
    if (worker.joinable()) {
        worker.join();
    }
}

SampleShelf::Key SampleShelf::KeyOf(const std::filesystem::path& path) {
    std::error_code none;
    Key key{path, std::filesystem::last_write_time(path, none), std::filesystem::file_size(path, none)};
    return key;
}

/// A file that is another one now begins anew.
SampleShelf::Entry& SampleShelf::EntryOf(const Key& key) {
    Entry& entry = entries[key.path];
    if (!(entry.key == key)) {
        entry = {key, false, nullptr, std::nullopt};
        Order(key.path);
    }
    return entry;
}

void SampleShelf::Order(const std::filesystem::path& path) {
    if (std::ranges::find(orders, path) == orders.end()) {
        orders.push_back(path);
    }
    if (!worker.joinable()) {
        worker = std::thread([this] { Run(); });
    }
    wakes.notify_all();
}

std::shared_ptr<const SampleShelf::Sound> SampleShelf::Find(const std::filesystem::path& path) {
    const Key key = KeyOf(path);
    const std::scoped_lock lock(mutex);
    return EntryOf(key).sound;
}

std::optional<SampleShelf::Pitch> SampleShelf::FindPitch(const std::filesystem::path& path) {
    const Key key = KeyOf(path);
    const std::scoped_lock lock(mutex);
    Entry& entry = EntryOf(key);
    if (!entry.wantsPitch) {
        entry.wantsPitch = true;
        Order(path);
    }
    return entry.pitch;
}

void SampleShelf::Run() {
    std::unique_lock lock(mutex);
    while (!ends) {
        if (orders.empty()) {
            wakes.wait(lock);
            continue;
        }
        const std::filesystem::path path = std::move(orders.front());
        orders.pop_front();
        Work(lock, path);
    }
}

/// Pictures come first. What was read of a file that has changed meanwhile is thrown away.
void SampleShelf::Work(std::unique_lock<std::mutex>& lock, const std::filesystem::path& path) {
    const auto goesOn = [this] { return !ends; };
    const Entry asked = entries[path];
    lock.unlock();
    const auto sound = asked.sound != nullptr ? asked.sound : ReadSound(path, goesOn);
    const bool seeksPitch = asked.sound != nullptr && asked.wantsPitch && !asked.pitch;
    const Pitch pitch = seeksPitch ? ReadPitch(path, goesOn) : Pitch();
    lock.lock();
    Entry& entry = entries[path];
    if (ends || !(entry.key == asked.key)) {
        return;
    }
    entry.sound = sound;
    if (seeksPitch) {
        entry.pitch = pitch;
    } else if (entry.wantsPitch && !entry.pitch) {
        Order(path);
    }
}

} // namespace orphia::panel
