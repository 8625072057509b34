// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orphia::panel {

/// All that a player does on the panel goes through here, so that all of it can be undone: turned controls,
/// patched cables, macros, samples, presets. For the message thread.
///
/// What happens between Begin and End is one step. Without them each Set is one, but a Set of the same
/// parameter within mergeSeconds of the last, a wheel that is turned, goes on with it.
class History {
public:
    static constexpr std::size_t mostSteps = 200;
    static constexpr double mergeSeconds = 0.7;
    using Clock = std::function<double()>;

    /// The instrument must outlive this. The clock, in seconds, is the system's when none is given.
    explicit History(plugin::PluginInstrument& instrument, Clock clock = {});

    /// Adds what has changed beside, by AddChange; asked in front of whatever is done, so that steps are in
    /// the order of the changes.
    std::function<void()> followOthers;

    /// A gesture, or several changes at once; may be nested, then the outermost is the step.
    void Begin(std::string name);
    void End();
    /// Named by the parameter where no name is given.
    void Set(std::uint32_t id, float position, const std::string& name = {});
    /// Assigns a macro.
    void SetMacro(unsigned macro, const plugin::Macro& assignment);
    /// Whatever else changes the instrument, and as a whole: presets. False, and nothing is kept, when
    /// `change` tells so.
    bool ChangeAll(std::string name, const std::function<bool()>& change);
    /// What has changed it beside: samples.
    void AddChange(std::string name, std::string before, std::string after);

    bool CanUndo() const { return done > 0; }
    bool CanRedo() const { return done < steps.size(); }
    /// What would be undone or done again, for a menu; empty for nothing.
    std::string UndoName() const { return CanUndo() ? steps[done - 1].name : std::string(); }
    std::string RedoName() const { return CanRedo() ? steps[done].name : std::string(); }
    /// Come back at once, see PluginInstrument::BeginState.
    void Undo();
    void Redo();

    /// Whether something was changed on the panel since MarkSaved.
    bool IsModified() const { return saved != done; }
    void MarkSaved() { saved = done; }

    /// How often something was changed, also by undo and redo: a part that shows it looks whether it is
    /// another number.
    std::uint64_t Changes() const { return changes; }

private:
    struct Move {
        std::uint32_t id = 0;
        float from = 0.0F;
        float to = 0.0F;
        /// What a macro moved along: it does so again by itself.
        bool isByMacro = false;
    };
    struct Assignment {
        unsigned macro = 0;
        plugin::Macro from;
        plugin::Macro to;
    };
    struct Step {
        std::string name;
        std::vector<Move> moves;
        std::vector<Assignment> assignments;
        /// The states before and after.
        std::optional<std::pair<std::string, std::string>> states;

        bool IsEmpty() const { return moves.empty() && assignments.empty() && !states; }
    };

    void FollowOthers() const;
    void Add(Step step);
    void AddMove(Step& step, std::uint32_t id, float from, float to) const;
    bool GoesOn(std::uint32_t id, double now) const;
    void Apply(std::uint32_t id, float position) { instrument.SetPosition(id, position); }

    plugin::PluginInstrument& instrument;
    Clock clock;
    std::vector<Step> steps;
    /// How many of them are in force.
    std::size_t done = 0;
    std::size_t saved = 0;
    unsigned depth = 0;
    std::uint64_t changes = 0;
    Step open;
    double lastSet = -1e9;
};

/// One step for as long as it lives.
class Gesture {
public:
    Gesture(History& ofHistory, std::string name) : history(ofHistory) { history.Begin(std::move(name)); }
    ~Gesture() { history.End(); }
    Gesture(const Gesture&) = delete;
    Gesture& operator=(const Gesture&) = delete;

private:
    History& history;
};

} // namespace orphia::panel
