// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/files/SampleData.h"
#include "support/CSingleton.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace Velmora::dsp {

/// Samples that were not decoded here, by the paths that slots ask for them with: where there are no files,
/// or where someone else reads their formats. From any thread; not for the audio path.
class SampleShelf : public CSingleton<SampleShelf> {
public:
    /// In place of an earlier one; null takes it away.
    void Put(const std::string& path, std::shared_ptr<const SampleData> sample) {
        const std::scoped_lock lock(mutex);
        if (sample == nullptr) {
            samples.erase(path);
        } else {
            samples[path] = std::move(sample);
        }
    }

    /// Null when there is none.
    std::shared_ptr<const SampleData> Find(const std::string& path) const {
        const std::scoped_lock lock(mutex);
        const auto found = samples.find(path);
        return found != samples.end() ? found->second : nullptr;
    }

private:
    mutable std::mutex mutex; // guards samples
    std::map<std::string, std::shared_ptr<const SampleData>> samples;
};

} // namespace Velmora::dsp
