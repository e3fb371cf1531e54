// The join intents of the running app: registered when the user joins from a reminder, consulted when the
// call detector reports a call, nudged ("not recording yet") when a Join & Record call has not started
// recording two minutes after the start, and taken back with their meetings.
//
// Thread-safe: every access to the list goes through one lock, and decisions are taken on a copied
// snapshot, so that the detector may ask from any thread and no lock is held while deciding. The
// `hasLiveRecord` value is published to observers on the main loop (posted there when a change comes from
// another thread). Intents that ended (consumed or expired) are kept for an hour after their expiry, so a
// late "record now" answer can still name one, then dropped.
#pragma once

#include "Support/Log.h"
#include "Support/Signal.h"
#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/JoinDirective.h"
#include "UI/calendar/JoinIntent.h"
#include "UI/calendar/JoinIntentSnapshot.h"

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

class JoinIntentStore {
public:
    /// How far before its start a meeting is taken as the one a detected call belongs to.
    static constexpr double timeMatchLead = 600;
    /// How long ended intents are kept after their expiry.
    static constexpr double endedRetention = 3600;

    JoinIntentStore();
    ~JoinIntentStore();
    JoinIntentStore(const JoinIntentStore&) = delete;
    JoinIntentStore& operator=(const JoinIntentStore&) = delete;

    /// Adds an armed intent. A newer click on the same meeting replaces that meeting's armed intents.
    void registerIntent(JoinIntent intent, Support::Date now);
    /// Marks armed intents whose expiry has passed as expired, and drops long-ended ones.
    void expire(Support::Date now);
    /// Marks the intent consumed (its call was detected and handled); false when it was not armed.
    bool consume(const std::string& id, Support::Date now);
    /// A "skip" intent left its call unrecorded: consumed, and logged as such.
    bool skipMatched(const JoinIntent& intent, Support::Date now);
    /// Takes back the armed intents of these meetings (the reminder coordinator withdrew them).
    void withdraw(const std::set<std::string>& occurrenceKeys, Support::Date now);

    std::optional<JoinIntent> intent(const std::string& id) const;
    JoinIntentSnapshot snapshot() const;
    JoinDirective directive(std::string_view bundleID, bool isBrowser, Support::Date now) const;
    bool hasLiveRecord(Support::Date now) const;
    /// The published flag, for observers (main loop).
    Support::Published<bool>& hasLiveRecordValue() { return hasLiveRecord_; }

    /// Live "record" intents whose nudge time has come and that were not nudged yet; none while recording.
    std::vector<JoinIntent> nudgesDue(Support::Date now, bool isRecording) const;
    void markNudged(const std::string& id);
    /// The earliest moment after `after` at which a nudge falls due or an intent expires.
    std::optional<Support::Date> nextEvent(Support::Date after) const;

    /// The apps holding the microphone now, as the detector last reported them.
    void microphoneHoldersChanged(std::set<std::string> holders);
    std::set<std::string> microphoneHolders() const;

    /// For a call no intent names: the meeting on the detector's platform ("zoom", "teams", or "meet" for
    /// any browser call) that is in progress or starts within `timeMatchLead`, the one whose start is
    /// nearest to now.
    static std::optional<CalendarMeeting> linkCandidate(const std::vector<CalendarMeeting>& meetings,
                                                        std::string_view detectorAppID, Support::Date now);
    /// The same without the platform: the meeting whose start is nearest to now, within `timeMatchLead`
    /// either side, that is not over.
    static std::optional<CalendarMeeting> timeMatch(const std::vector<CalendarMeeting>& meetings,
                                                    Support::Date now);

private:
    /// Runs `change` under the lock, then republishes the flag.
    template <typename F> auto mutate(Support::Date now, F change);
    void publish(bool live);

    mutable std::mutex mutex_;
    std::vector<JoinIntent> intents_;
    std::set<std::string> microphoneHolders_;
    Support::Published<bool> hasLiveRecord_{false};
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    Support::Logger log_{"joinIntents"};
};

} // namespace UI
