// The desktop calendar store of a build without Evolution Data Server's headers: it never opens.
#include "Platform/Linux/EdsCalendarStore.h"

namespace Platform {

struct EdsCalendarStore::Impl {};

const bool EdsCalendarStore::isBuiltIn = false;

EdsCalendarStore::Opened EdsCalendarStore::open(Options) {
    return {nullptr, "desktop calendars are not available: this Vellmora was built without Evolution Data "
                     "Server (install libecal2.0-dev and libedataserver1.2-dev and build again)"};
}

Support::Task<EdsCalendarStore::Opened> EdsCalendarStore::connect(Options options) {
    co_return open(std::move(options));
}

EdsCalendarStore::EdsCalendarStore(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
EdsCalendarStore::~EdsCalendarStore() = default;

CalendarAuthorization EdsCalendarStore::authorizationStatus() const {
    return CalendarAuthorization::denied;
}

Support::Task<bool> EdsCalendarStore::requestFullAccess() {
    co_return false;
}

std::vector<CalendarDescriptor> EdsCalendarStore::calendars() const {
    return {};
}

Support::Task<std::vector<CalendarEvent>> EdsCalendarStore::events(Support::Date, Support::Date,
                                                                   std::vector<std::string>) {
    co_return std::vector<CalendarEvent>{};
}

Support::Subscription EdsCalendarStore::observeChanges(std::function<void()>) {
    return {};
}

} // namespace Platform
