#include "Platform/CompositeCalendarStore.h"

#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace Platform;

namespace {

/// A store of fixed calendars, one event per calendar asked for; it records what it was asked.
struct ListStore final : CalendarStore {
    std::vector<CalendarDescriptor> list;
    CalendarAuthorization access = CalendarAuthorization::fullAccess;
    bool fails = false;
    std::vector<std::vector<std::string>> asked;
    Support::Signal<> changed;

    explicit ListStore(std::vector<std::string> ids) {
        for (auto& id : ids) {
            CalendarDescriptor d;
            d.id = id;
            d.title = id + " title";
            list.push_back(d);
        }
    }
    CalendarAuthorization authorizationStatus() const override { return access; }
    Support::Task<bool> requestFullAccess() override {
        co_return access == CalendarAuthorization::fullAccess;
    }
    std::vector<CalendarDescriptor> calendars() const override { return list; }
    Support::Task<std::vector<CalendarEvent>> events(Support::Date, Support::Date,
                                                     std::vector<std::string> ids) override {
        asked.push_back(ids);
        if (fails) {
            throw std::runtime_error("offline");
        }
        std::vector<CalendarEvent> out;
        for (auto& id : ids) {
            CalendarEvent e;
            e.calendarID = id;
            out.push_back(e);
        }
        co_return out;
    }
    Support::Subscription observeChanges(std::function<void()> f) override {
        return changed.connect(std::move(f));
    }
};

template <typename T> T runToEnd(Support::MainLoop& loop, Support::Task<T> task) {
    while (!task.isDone()) {
        loop.runOne(10);
    }
    return task.get();
}

std::vector<std::string> calendarIDs(const std::vector<CalendarEvent>& events) {
    std::vector<std::string> out;
    for (const auto& e : events) {
        out.push_back(e.calendarID);
    }
    return out;
}

TEST(CompositeCalendarStore, ListsEachCalendarOnceInStoreOrder) {
    ListStore desktop({"a", "b"}), files({"b", "c"});
    CompositeCalendarStore both({&desktop, &files});
    std::vector<std::string> ids;
    for (const auto& c : both.calendars()) {
        ids.push_back(c.id);
    }
    EXPECT_EQ(ids, (std::vector<std::string>{"a", "b", "c"}));
}

TEST(CompositeCalendarStore, AsksEachStoreOnlyForItsOwnCalendarsAndEachCalendarOnce) {
    Support::MainLoop loop;
    ListStore desktop({"a", "b"}), files({"b", "c"});
    CompositeCalendarStore both({&desktop, &files});
    auto events = runToEnd(loop, both.events({}, {}, {}));
    EXPECT_EQ(calendarIDs(events), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(files.asked.back(), (std::vector<std::string>{"c"}));

    events = runToEnd(loop, both.events({}, {}, {"c"}));
    EXPECT_EQ(calendarIDs(events), (std::vector<std::string>{"c"}));
    EXPECT_EQ(desktop.asked.size(), 1u) << "a store with none of the asked calendars is not asked";
}

TEST(CompositeCalendarStore, AFailingOrClosedStoreLeavesTheOthersServing) {
    Support::MainLoop loop;
    ListStore desktop({"a"}), files({"c"}), closed({"z"});
    desktop.fails = true;
    closed.access = CalendarAuthorization::denied;
    CompositeCalendarStore all({&desktop, &closed, &files});
    EXPECT_EQ(all.authorizationStatus(), CalendarAuthorization::fullAccess);
    EXPECT_EQ(calendarIDs(runToEnd(loop, all.events({}, {}, {}))), (std::vector<std::string>{"c"}));
    EXPECT_EQ(all.calendars().size(), 2u);
    CompositeCalendarStore none({&closed});
    EXPECT_EQ(none.authorizationStatus(), CalendarAuthorization::denied);
}

TEST(CompositeCalendarStore, AChangeInAnyStoreReachesTheObserverUntilTheSubscriptionEnds) {
    ListStore desktop({"a"}), files({"c"});
    CompositeCalendarStore both({&desktop, &files});
    int changes = 0;
    auto subscription = both.observeChanges([&] { ++changes; });
    desktop.changed.emit();
    files.changed.emit();
    EXPECT_EQ(changes, 2);
    subscription.reset();
    files.changed.emit();
    EXPECT_EQ(changes, 2);
}

} // namespace
