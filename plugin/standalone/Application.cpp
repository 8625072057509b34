// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Application.h"

#include "host/common/Errors.h"
#include "plugin/standalone/Window.h"

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

namespace orphia::standalone {

namespace {

/// What the application starts with, as JUCE makes it.
std::string& FirstState() {
    static std::string state;
    return state;
}

volatile std::sig_atomic_t stopSignal = 0;

/// Who asks it to end gets what was played last remembered.
class Application final : public juce::JUCEApplication, private juce::Timer {
public:
    const juce::String getApplicationName() override { return "Orphia VX"; }
    const juce::String getApplicationVersion() override { return ORPHIA_VERSION; }
    bool moreThanOneInstanceAllowed() override { return true; }
    void initialise(const juce::String&) override {
        window = std::make_unique<Window>(FirstState());
        for (const int number : {SIGTERM, SIGHUP}) {
            std::signal(number, [](int received) { stopSignal = received; });
        }
        startTimer(100);
    }
    void shutdown() override { window.reset(); }
    void systemRequestedQuit() override { quit(); }

private:
    void timerCallback() override {
        if (stopSignal != 0) {
            quit();
        }
    }

    std::unique_ptr<Window> window;
};

} // namespace

int RunWindow(const Job& job) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet
    const char* const display = std::getenv("DISPLAY");
    if (display == nullptr || display[0] == '\0') {
        throw host::FileError("there is no screen; orphia-vx --headless plays without one");
    }
    if (!job.preset.empty()) {
        FirstState() = StateOfPreset(job.preset);
    }
    juce::JUCEApplicationBase::createInstance = []() -> juce::JUCEApplicationBase* {
        return new Application;
    };
    const char* arguments[] = {"orphia-vx"};
    return juce::JUCEApplicationBase::main(1, arguments);
}

} // namespace orphia::standalone
