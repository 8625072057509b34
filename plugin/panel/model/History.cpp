// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/History.h"

#include "plugin/panel/model/ControlModel.h"

#include <algorithm>
#include <chrono>

namespace orphia::panel {

namespace {

constexpr std::size_t unreachable = static_cast<std::size_t>(-1);

double SystemSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

History::History(plugin::PluginInstrument& ofInstrument, Clock ofTime)
    : instrument(ofInstrument), clock(ofTime ? std::move(ofTime) : Clock(SystemSeconds)) {}

void History::FollowOthers() const {
    if (depth == 0 && followOthers) {
        followOthers();
    }
}

void History::Begin(std::string name) {
    FollowOthers();
    if (depth++ == 0) {
        open = {};
        open.name = std::move(name);
    }
}

void History::End() {
    if (depth == 0 || --depth > 0 || open.IsEmpty()) {
        return;
    }
    std::erase_if(open.moves, [](const Move& move) { return !move.isByMacro && move.from == move.to; });
    if (std::ranges::all_of(open.moves, &Move::isByMacro)) {
        open.moves.clear();
    }
    if (!open.IsEmpty()) {
        Add(std::exchange(open, {}));
        lastSet = -1e9;
    }
}

bool History::GoesOn(std::uint32_t id, double now) const {
    return done > 0 && done == steps.size() && done != saved && now - lastSet < mergeSeconds &&
           steps.back().assignments.empty() && !steps.back().states && !steps.back().moves.empty() &&
           steps.back().moves.back().id == id &&
           std::ranges::count(steps.back().moves, false, &Move::isByMacro) == 1;
}

void History::Set(std::uint32_t id, float position, const std::string& name) {
    FollowOthers();
    const float before = instrument.Position(id);
    position = std::clamp(position, 0.0F, 1.0F);
    if (before == position) {
        return;
    }
    Apply(id, position);
    if (depth > 0) {
        const auto found = std::ranges::find(open.moves, id, &Move::id);
        if (found != open.moves.end()) {
            found->to = position;
        } else {
            AddMove(open, id, before, position);
        }
        ++changes;
        return;
    }
    const double now = clock();
    if (GoesOn(id, now)) {
        steps.back().moves.back().to = position;
        ++changes;
    } else {
        Step step;
        step.name = name.empty() ? LabelOf(id) : name;
        AddMove(step, id, before, position);
        Add(std::move(step));
    }
    lastSet = now;
}

void History::SetMacro(unsigned macro, const plugin::Macro& assignment) {
    const plugin::Macro before = instrument.MacroOf(macro);
    if (before == assignment) {
        return;
    }
    instrument.AssignMacro(macro, assignment);
    ++changes;
    const Gesture gesture(*this, "Macro " + std::to_string(macro + 1));
    open.assignments.push_back({macro, before, assignment});
}

bool History::ChangeAll(std::string name, const std::function<bool()>& change) {
    FollowOthers();
    std::string before = instrument.SaveState();
    if (!change()) {
        return false;
    }
    AddChange(std::move(name), std::move(before), instrument.SaveState());
    return true;
}

void History::AddChange(std::string name, std::string before, std::string after) {
    Step step;
    step.name = std::move(name);
    step.states = {std::move(before), std::move(after)};
    Add(std::move(step));
    lastSet = -1e9;
}

/// A macro forgets where its targets were before it moved them.
void History::AddMove(Step& step, std::uint32_t id, float from, float to) const {
    const std::uint32_t macro = id - plugin::PluginParameters::firstMacro;
    if (macro < plugin::PluginParameters::macroCount) {
        for (const plugin::MacroTarget& target : instrument.MacroOf(macro).targets) {
            if (std::ranges::find(step.moves, target.id, &Move::id) == step.moves.end()) {
                step.moves.push_back({target.id, instrument.Position(target.id), 0.0F, true});
            }
        }
    }
    step.moves.push_back({id, from, to, false});
}

void History::Add(Step step) {
    if (saved != unreachable && saved > done) {
        saved = unreachable;
    }
    steps.resize(done);
    steps.push_back(std::move(step));
    if (steps.size() > mostSteps) {
        steps.erase(steps.begin());
        saved = saved == unreachable || saved == 0 ? unreachable : saved - 1;
    }
    done = steps.size();
    ++changes;
}

void History::Undo() {
    FollowOthers();
    if (!CanUndo() || depth > 0) {
        return;
    }
    const Step& step = steps[--done];
    if (step.states) {
        instrument.BeginState(step.states->first);
    }
    for (auto each = step.assignments.rbegin(); each != step.assignments.rend(); ++each) {
        instrument.AssignMacro(each->macro, each->from);
    }
    for (auto each = step.moves.rbegin(); each != step.moves.rend(); ++each) {
        Apply(each->id, each->from);
    }
    lastSet = -1e9;
    ++changes;
}

void History::Redo() {
    FollowOthers();
    if (!CanRedo() || depth > 0) {
        return;
    }
    const Step& step = steps[done++];
    if (step.states) {
        instrument.BeginState(step.states->second);
    }
    for (const Assignment& each : step.assignments) {
        instrument.AssignMacro(each.macro, each.to);
    }
    for (const Move& each : step.moves) {
        if (!each.isByMacro) {
            Apply(each.id, each.to);
        }
    }
    lastSet = -1e9;
    ++changes;
}

} // namespace orphia::panel
