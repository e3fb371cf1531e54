// A scripted calendar store for tests: calendars and event occurrences are set by the test (they are
// returned as given, filtered by time range and calendar), `emitChange()` plays a store-changed
// notification, and `holdFetches` keeps `events` suspended until `releaseFetches()` (to test serialisation
// and staleness). `fetchCount` counts `events` calls.
#pragma once

#include "Platform/CalendarStore.h"
#include "Support/Task.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Fakes {

class FakeCalendarStore final : public Platform::CalendarStore {
public:
    Platform::CalendarAuthorization authorization = Platform::CalendarAuthorization::fullAccess;
    /// What `requestFullAccess` grants (and then sets `authorization` to).
    bool grantsAccess = true;
    std::vector<Platform::CalendarDescriptor> calendarList;
    std::vector<Platform::CalendarEvent> eventList;
    bool holdFetches = false;
    int fetchCount = 0;

    Platform::CalendarAuthorization authorizationStatus() const override { return authorization; }
    Support::Task<bool> requestFullAccess() override {
        authorization = grantsAccess ? Platform::CalendarAuthorization::fullAccess
                                     : Platform::CalendarAuthorization::denied;
        co_return grantsAccess;
    }
    std::vector<Platform::CalendarDescriptor> calendars() const override { return calendarList; }
    Support::Task<std::vector<Platform::CalendarEvent>>
    events(Support::Date start, Support::Date end, std::vector<std::string> calendarIDs) override {
        ++fetchCount;
        if (holdFetches) {
            co_await Support::withContinuation<void>(
                [this](Support::Continuation<void> c) { held_.push_back(std::move(c)); });
        }
        std::vector<Platform::CalendarEvent> out;
        for (const auto& e : eventList) {
            bool inCalendars = calendarIDs.empty() || std::find(calendarIDs.begin(), calendarIDs.end(),
                                                                e.calendarID) != calendarIDs.end();
            if (inCalendars && e.start < end && e.end > start) {
                out.push_back(e);
            }
        }
        co_return out;
    }
    Support::Subscription observeChanges(std::function<void()> onChange) override {
        return changed_.connect([onChange = std::move(onChange)] { onChange(); });
    }

    void emitChange() { changed_.emit(); }
    void releaseFetches() {
        holdFetches = false;
        auto held = std::move(held_);
        held_.clear();
        for (auto& c : held) {
            c.resume();
        }
    }
    std::size_t observerCount() const { return changed_.observerCount(); }

private:
    Support::Signal<> changed_;
    std::vector<Support::Continuation<void>> held_;
};

} // namespace Fakes
