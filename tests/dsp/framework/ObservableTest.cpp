// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/Observable.h"

#include "rigs/ProbeModule.h"
#include "support/NonBlocking.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace Velmora::dsp {
namespace {

/// A module of three parameters that refuses ids beyond them, as a container does.
class Refusing : public Velmora::Test::ProbeModule<3> {
public:
    bool SetParameterNormalized(u32 id, float value) override {
        return id < parameterCount && UnitModule::SetParameterNormalized(id, value);
    }
    bool SetParameterValue(u32 id, float value) override {
        return id < parameterCount && UnitModule::SetParameterValue(id, value);
    }
};

using Subject = Observable<Refusing>;
using Told = std::tuple<std::string, u32, float>;
using Story = std::vector<Told>;

struct Listener : IModuleObserver {
    Listener(std::string listenerName, Story& sharedStory)
        : name(std::move(listenerName)), story(sharedStory) {}
    void OnParameterChanged(u32 id, float normalizedValue) override {
        const Velmora::MayBlock exception;
        story.emplace_back(name, id, normalizedValue);
        if (afterwards) {
            afterwards();
        }
    }
    std::string name;
    Story& story;
    std::function<void()> afterwards;
};

TEST(ObservableTest, TellsAllObserversOfEveryAcceptedWriteLatestAttachedFirst) {
    Story story;
    Subject subject;
    Listener first("first", story);
    Listener second("second", story);
    for (Listener* listener : {&first, &second, &first}) {
        subject.Attach(*listener); // a second time changes nothing
    }
    float seen = -1.0F;
    second.afterwards = [&] { seen = subject.GetParameterNormalized(1); };
    for (int time = 0; time < 2; ++time) { // also when the value did not change
        EXPECT_TRUE(subject.SetParameterNormalized(1, 3.0F));
        EXPECT_EQ(story, (Story{{"second", 1, 3.0F}, {"first", 1, 3.0F}})) << "the position as given";
        EXPECT_EQ(seen, 3.0F) << "the module is up to date when an observer hears";
        story.clear();
    }
    EXPECT_TRUE(subject.SetParameterValue(2, 7.5F));
    EXPECT_EQ(story, (Story{{"second", 2, 0.75F}, {"first", 2, 0.75F}}));
    story.clear();
    EXPECT_FALSE(subject.SetParameterNormalized(3, 0.5F));
    EXPECT_FALSE(subject.SetParameterValue(3, 0.5F));
    EXPECT_TRUE(story.empty()) << "a refused write is not told";
}

TEST(ObservableTest, ObserversMayEndBeforeTheirSubjectInAnyOrderAndOutliveIt) {
    for (int gone = 0; gone < 3; ++gone) {
        Story story;
        std::vector<std::unique_ptr<Listener>> listeners;
        {
            Subject subject;
            for (const char* listenerName : {"0", "1", "2"}) {
                listeners.push_back(std::make_unique<Listener>(listenerName, story));
                subject.Attach(*listeners.back());
            }
            listeners.erase(listeners.begin() + gone);
            subject.SetParameterNormalized(0, 0.5F);
            Story expected = {{"2", 0, 0.5F}, {"1", 0, 0.5F}, {"0", 0, 0.5F}};
            expected.erase(expected.begin() + (2 - gone));
            EXPECT_EQ(story, expected) << "without " << gone;
        }
        Subject following;
        following.Attach(*listeners[1]);
        following.SetParameterNormalized(0, 0.75F);
        EXPECT_EQ(story.size(), 3U) << "only the one that was attached anew hears";
    }
}

TEST(ObservableTest, AnObserverMayEndWhileItIsToldAndMoveToAnotherSubject) {
    Story story;
    Subject subject;
    Subject other;
    Listener steady("steady", story);
    auto passing = std::make_unique<Listener>("passing", story);
    subject.Attach(steady);
    subject.Attach(*passing);
    passing->afterwards = [&passing] { const std::unique_ptr<Listener> ended = std::move(passing); };
    subject.SetParameterNormalized(0, 0.5F);
    subject.SetParameterNormalized(1, 0.5F);
    EXPECT_EQ(story, (Story{{"passing", 0, 0.5F}, {"steady", 0, 0.5F}, {"steady", 1, 0.5F}}));

    other.Attach(steady);
    story.clear();
    subject.SetParameterNormalized(0, 0.1F);
    EXPECT_TRUE(story.empty());
    other.SetParameterNormalized(0, 0.1F);
    EXPECT_EQ(story.size(), 1U);
}

} // namespace
} // namespace Velmora::dsp
