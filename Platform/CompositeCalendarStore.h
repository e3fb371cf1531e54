// Several calendar stores served as one: the desktop's calendars (Evolution Data Server) beside the
// iCalendar folders, files and subscriptions of "calendar.sources". Used by the host and the calendar
// commands; `UI::CalendarSource` sees one store.
//
// Calendars are listed store by store in the order given; a calendar id that an earlier store already gave
// is left out, so each calendar appears once. `events` asks each store only for its own calendars (all of
// them when the list is empty) and concatenates the answers; a store that fails is logged and yields no
// events, the others still serve. Access is granted when any store grants it. A change in any store reaches
// the observers once.
#pragma once

#include "Platform/CalendarStore.h"
#include "Support/Log.h"

#include <exception>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace Platform {

class CompositeCalendarStore final : public CalendarStore {
public:
    /// The stores are not owned; they outlive the composite.
    explicit CompositeCalendarStore(std::vector<CalendarStore*> stores) : stores_(std::move(stores)) {}
    /// The same, owning the stores.
    static std::unique_ptr<CompositeCalendarStore>
    owning(std::vector<std::unique_ptr<CalendarStore>> stores) {
        std::vector<CalendarStore*> raw;
        for (auto& store : stores) {
            raw.push_back(store.get());
        }
        auto composite = std::make_unique<CompositeCalendarStore>(std::move(raw));
        composite->owned_ = std::move(stores);
        return composite;
    }

    CalendarAuthorization authorizationStatus() const override {
        auto best = CalendarAuthorization::denied;
        for (auto* store : stores_) {
            auto status = store->authorizationStatus();
            if (status == CalendarAuthorization::fullAccess) {
                return status;
            }
            if (status == CalendarAuthorization::notDetermined) {
                best = status;
            }
        }
        return best;
    }

    Support::Task<bool> requestFullAccess() override {
        bool any = false;
        for (auto* store : stores_) {
            if (co_await store->requestFullAccess()) {
                any = true;
            }
        }
        co_return any;
    }

    std::vector<CalendarDescriptor> calendars() const override {
        std::vector<CalendarDescriptor> out;
        std::set<std::string> seen;
        for (auto* store : stores_) {
            if (store->authorizationStatus() != CalendarAuthorization::fullAccess) {
                continue;
            }
            for (auto& c : store->calendars()) {
                if (seen.insert(c.id).second) {
                    out.push_back(std::move(c));
                }
            }
        }
        return out;
    }

    Support::Task<std::vector<CalendarEvent>> events(Support::Date start, Support::Date end,
                                                     std::vector<std::string> calendarIDs) override {
        std::vector<CalendarEvent> out;
        std::set<std::string> wanted(calendarIDs.begin(), calendarIDs.end());
        std::set<std::string> seen;
        for (auto* store : stores_) {
            if (store->authorizationStatus() != CalendarAuthorization::fullAccess) {
                continue;
            }
            std::vector<std::string> own;
            for (const auto& c : store->calendars()) {
                if ((wanted.empty() || wanted.count(c.id) > 0) && seen.insert(c.id).second) {
                    own.push_back(c.id);
                }
            }
            if (own.empty()) {
                continue; // an empty list would mean all of the store's calendars
            }
            try {
                auto events = co_await store->events(start, end, std::move(own));
                out.insert(out.end(), std::make_move_iterator(events.begin()),
                           std::make_move_iterator(events.end()));
            } catch (const std::exception& e) {
                Support::Logger("calendar").warning("a calendar store could not be read: {}", e.what());
            }
        }
        co_return out;
    }

    Support::Subscription observeChanges(std::function<void()> onChange) override {
        auto subscriptions = std::make_shared<std::vector<Support::Subscription>>();
        auto shared = std::make_shared<std::function<void()>>(std::move(onChange));
        for (auto* store : stores_) {
            subscriptions->push_back(store->observeChanges([shared] { (*shared)(); }));
        }
        return Support::Subscription([subscriptions] { subscriptions->clear(); });
    }

private:
    std::vector<std::unique_ptr<CalendarStore>> owned_;
    std::vector<CalendarStore*> stores_;
};

} // namespace Platform
