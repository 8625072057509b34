// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/Observable.h"

#include "reference/AllocationCounter.h"
#include "support/ProbeModule.h"

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

class Listener : public IModuleObserver {
public:
    Listener(std::string listenerName, Story& sharedStory)
        : name(std::move(listenerName)), story(sharedStory) {}
    void OnParameterChanged(u32 id, float normalizedValue) override {
        story.emplace_back(name, id, normalizedValue);
        if (afterwards) {
            afterwards();
        }
    }
    std::function<void()> afterwards;

private:
    std::string name;
    Story& story;
};

TEST(ObservableTest, TellsAllObserversOfEveryAcceptedWriteLatestAttachedFirst) {
    Story story;
    Subject subject;
    Listener first("first", story);
    Listener second("second", story);
    Listener third("third", story);
    for (Listener* listener : {&first, &second, &third, &first, &third}) {
        subject.Attach(*listener); // a second time changes nothing
    }
    EXPECT_TRUE(subject.SetParameterNormalized(1, 0.5F));
    const Story once = {{"third", 1, 0.5F}, {"second", 1, 0.5F}, {"first", 1, 0.5F}};
    EXPECT_EQ(story, once);
    EXPECT_EQ(subject.Value(1), 5.0F);

    story.clear();
    subject.SetParameterNormalized(1, 0.5F);
    EXPECT_EQ(story, once) << "also when the value did not change";

    story.clear();
    subject.SetParameterNormalized(1, 3.0F);
    EXPECT_EQ(story.at(0), Told("third", 1, 3.0F)) << "the position as given";

    story.clear();
    EXPECT_TRUE(subject.SetParameterValue(2, 7.5F));
    EXPECT_EQ(story, (Story{{"third", 2, 0.75F}, {"second", 2, 0.75F}, {"first", 2, 0.75F}}));

    story.clear();
    EXPECT_FALSE(subject.SetParameterNormalized(3, 0.5F));
    EXPECT_FALSE(subject.SetParameterValue(3, 0.5F));
    EXPECT_TRUE(story.empty()) << "a refused write is not told";
}

TEST(ObservableTest, TheModuleIsUpToDateWhenAnObserverHears) {
    Story story;
    Subject subject;
    Listener listener("listener", story);
    subject.Attach(listener);
    float seen = -1.0F;
    listener.afterwards = [&] { seen = subject.GetParameterNormalized(0); };
    Module& module = subject; // through the base, as the tree does it
    module.SetParameterNormalized(0, 0.25F);
    EXPECT_EQ(seen, 0.25F);
}

TEST(ObservableTest, ObserversMayEndBeforeTheirSubjectInAnyOrder) {
    for (int gone = 0; gone < 3; ++gone) {
        Story story;
        Subject subject;
        std::vector<std::unique_ptr<Listener>> listeners;
        for (const char* listenerName : {"0", "1", "2"}) {
            listeners.push_back(std::make_unique<Listener>(listenerName, story));
            subject.Attach(*listeners.back());
        }
        listeners.erase(listeners.begin() + gone);
        subject.SetParameterNormalized(0, 0.5F);
        Story expected = {{"2", 0, 0.5F}, {"1", 0, 0.5F}, {"0", 0, 0.5F}};
        expected.erase(expected.begin() + (2 - gone));
        EXPECT_EQ(story, expected) << "without " << gone;
        listeners.clear();
        EXPECT_TRUE(subject.SetParameterNormalized(0, 0.75F));
        EXPECT_EQ(story.size(), 2U);
    }
}

TEST(ObservableTest, ASubjectThatEndsLetsItsObserversGo) {
    Story story;
    Listener first("first", story);
    Listener second("second", story);
    auto subject = std::make_unique<Subject>();
    subject->Attach(first);
    subject->Attach(second);
    subject.reset();
    for (const Listener* listener : {&first, &second}) {
        EXPECT_EQ(listener->subject, nullptr);
        EXPECT_EQ(listener->next, nullptr);
    }
    Subject following;
    following.Attach(first);
    following.SetParameterNormalized(0, 0.5F);
    EXPECT_EQ(story, (Story{{"first", 0, 0.5F}}));
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

TEST(ObservableTest, AttachingAndTellingDoNotAllocate) {
    Subject subject;
    struct Silent : IModuleObserver {
        void OnParameterChanged(u32 /*id*/, float /*normalizedValue*/) override { ++count; }
        int count = 0;
    } silent;
    const orphia_reference::AllocationCounter counter;
    subject.Attach(silent);
    subject.SetParameterNormalized(0, 0.5F);
    subject.SetParameterValue(0, 0.5F);
    EXPECT_EQ(counter.Count(), 0U);
    EXPECT_EQ(silent.count, 2);
}

} // namespace
} // namespace Velmora::dsp
