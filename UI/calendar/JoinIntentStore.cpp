#include "UI/calendar/JoinIntentStore.h"

#include "Support/MainLoop.h"

#include <algorithm>

namespace UI {

using Support::Date;
using Support::seconds;

JoinIntentStore::JoinIntentStore() = default;
JoinIntentStore::~JoinIntentStore() {
    *alive_ = false;
}

template <typename F> auto JoinIntentStore::mutate(Date now, F change) {
    bool live = false;
    if constexpr (std::is_void_v<decltype(change())>) {
        {
            std::lock_guard lock(mutex_);
            change();
            live = JoinIntentSnapshot{intents_}.hasLiveRecord(now);
        }
        publish(live);
    } else {
        decltype(change()) result;
        {
            std::lock_guard lock(mutex_);
            result = change();
            live = JoinIntentSnapshot{intents_}.hasLiveRecord(now);
        }
        publish(live);
        return result;
    }
}

void JoinIntentStore::publish(bool live) {
    if (!Support::MainLoop::hasCurrent() || Support::MainLoop::current().isLoopThread()) {
        hasLiveRecord_.setIfChanged(live);
        return;
    }
    Support::MainLoop::current().post([this, alive = alive_, live] {
        if (*alive) {
            hasLiveRecord_.setIfChanged(live);
        }
    });
}

void JoinIntentStore::registerIntent(JoinIntent intent, Date now) {
    log_.info("Join intent {} ({}) for {}", intent.id, rawValue(intent.mode), intent.occurrenceKey());
    mutate(now, [&] {
        for (auto& existing : intents_) {
            if (existing.state == JoinIntent::State::armed &&
                existing.occurrenceKey() == intent.occurrenceKey()) {
                existing.state = JoinIntent::State::expired;
            }
        }
        intents_.push_back(std::move(intent));
    });
}

void JoinIntentStore::expire(Date now) {
    mutate(now, [&] {
        for (auto& intent : intents_) {
            if (intent.state == JoinIntent::State::armed && now >= intent.expiresAt) {
                intent.state = JoinIntent::State::expired;
            }
        }
        std::erase_if(intents_, [&](const JoinIntent& intent) {
            return intent.state != JoinIntent::State::armed &&
                   intent.expiresAt + seconds(endedRetention) < now;
        });
    });
}

bool JoinIntentStore::consume(const std::string& id, Date now) {
    return mutate(now, [&] {
        for (auto& intent : intents_) {
            if (intent.id == id && intent.state == JoinIntent::State::armed) {
                intent.state = JoinIntent::State::consumed;
                return true;
            }
        }
        return false;
    });
}

bool JoinIntentStore::skipMatched(const JoinIntent& intent, Date now) {
    bool consumed = consume(intent.id, now);
    if (consumed) {
        log_.info("Join without recording: leaving the call of {} unrecorded", intent.occurrenceKey());
    }
    return consumed;
}

void JoinIntentStore::withdraw(const std::set<std::string>& occurrenceKeys, Date now) {
    mutate(now, [&] {
        for (auto& intent : intents_) {
            if (intent.state == JoinIntent::State::armed && occurrenceKeys.count(intent.occurrenceKey())) {
                intent.state = JoinIntent::State::expired;
            }
        }
    });
}

std::optional<JoinIntent> JoinIntentStore::intent(const std::string& id) const {
    std::lock_guard lock(mutex_);
    for (const auto& intent : intents_) {
        if (intent.id == id) {
            return intent;
        }
    }
    return std::nullopt;
}

JoinIntentSnapshot JoinIntentStore::snapshot() const {
    std::lock_guard lock(mutex_);
    return JoinIntentSnapshot{intents_};
}

JoinDirective JoinIntentStore::directive(std::string_view bundleID, bool isBrowser, Date now) const {
    return snapshot().directive(bundleID, isBrowser, now);
}

bool JoinIntentStore::hasLiveRecord(Date now) const {
    return snapshot().hasLiveRecord(now);
}

std::vector<JoinIntent> JoinIntentStore::nudgesDue(Date now, bool isRecording) const {
    std::vector<JoinIntent> due;
    if (isRecording) {
        return due;
    }
    for (const auto& intent : snapshot().intents) {
        if (intent.mode == JoinIntent::Mode::record && intent.isLive(now) && !intent.wasNudged &&
            now >= JoinIntent::nudgeTime(intent.createdAt, intent.meeting)) {
            due.push_back(intent);
        }
    }
    return due;
}

void JoinIntentStore::markNudged(const std::string& id) {
    std::lock_guard lock(mutex_);
    for (auto& intent : intents_) {
        if (intent.id == id) {
            intent.wasNudged = true;
        }
    }
}

std::optional<Date> JoinIntentStore::nextEvent(Date after) const {
    std::optional<Date> next;
    auto consider = [&](Date d) {
        if (d > after && (!next || d < *next)) {
            next = d;
        }
    };
    for (const auto& intent : snapshot().intents) {
        if (intent.state != JoinIntent::State::armed) {
            continue;
        }
        consider(intent.expiresAt);
        if (intent.mode == JoinIntent::Mode::record && !intent.wasNudged) {
            auto nudge = JoinIntent::nudgeTime(intent.createdAt, intent.meeting);
            if (nudge < intent.expiresAt) {
                consider(nudge);
            }
        }
    }
    return next;
}

void JoinIntentStore::microphoneHoldersChanged(std::set<std::string> holders) {
    std::lock_guard lock(mutex_);
    microphoneHolders_ = std::move(holders);
}

std::set<std::string> JoinIntentStore::microphoneHolders() const {
    std::lock_guard lock(mutex_);
    return microphoneHolders_;
}

namespace {

bool onPlatform(const CalendarMeeting& meeting, std::string_view detectorAppID) {
    if (detectorAppID == "zoom") {
        return meeting.link.service == MeetingService::zoom;
    }
    if (detectorAppID == "teams") {
        return meeting.link.service == MeetingService::teams;
    }
    return detectorAppID == "meet"; // any service can be joined in a browser
}

template <typename Pred>
std::optional<CalendarMeeting> nearest(const std::vector<CalendarMeeting>& meetings, Date now, Pred accept) {
    const CalendarMeeting* best = nullptr;
    auto distance = [&](const CalendarMeeting& m) { return m.start > now ? m.start - now : now - m.start; };
    for (const auto& meeting : meetings) {
        if (accept(meeting) && (!best || distance(meeting) < distance(*best))) {
            best = &meeting;
        }
    }
    return best ? std::optional<CalendarMeeting>(*best) : std::nullopt;
}

} // namespace

std::optional<CalendarMeeting> JoinIntentStore::linkCandidate(const std::vector<CalendarMeeting>& meetings,
                                                              std::string_view detectorAppID, Date now) {
    return nearest(meetings, now, [&](const CalendarMeeting& m) {
        return onPlatform(m, detectorAppID) && m.start - seconds(timeMatchLead) <= now && now < m.end;
    });
}

std::optional<CalendarMeeting> JoinIntentStore::timeMatch(const std::vector<CalendarMeeting>& meetings,
                                                          Date now) {
    return nearest(meetings, now, [&](const CalendarMeeting& m) {
        auto distance = m.start > now ? m.start - now : now - m.start;
        return distance <= seconds(timeMatchLead) && now < m.end;
    });
}

} // namespace UI
