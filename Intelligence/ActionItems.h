// Action items: who was in the meeting (the roster), what kind of meeting it was, the prompt that asks the
// model for the items, the filter that drops what is not an item, and the reconciler that stores the list.
// All pure but `reconcile`, which writes through the Database interface (blocking: call it off the main
// loop).
#pragma once

#include "Database/DatabaseManager.h"

#include <string>
#include <vector>

namespace Intelligence {

/// The people of a meeting in the order they appeared: calendar participants first (at time 0), then
/// named transcript speakers by the time they first spoke.
struct MeetingRosterTimeline {
    struct Entry {
        std::string name{};
        double firstHeard = 0;
        bool isFromCalendar = false;
        bool operator==(const Entry&) const = default;
    };
    std::vector<Entry> entries{};

    static MeetingRosterTimeline
    build(const Database::DatabaseManager::Recording& recording,
          const std::vector<Database::DatabaseManager::TranscriptSegment>& segments);
    bool operator==(const MeetingRosterTimeline&) const = default;
};

enum class ActionItemMeetingKindValue { general, oneOnOne, standup, interview, presentation };

struct ActionItemMeetingKind {
    /// Decided from the title first, then the summary, then the transcript sample, by the words that name
    /// a kind of meeting ("1:1", "standup", "interview", "webinar"...); general when nothing names one.
    static ActionItemMeetingKindValue classify(const std::string& title, const std::string& summary,
                                               const std::string& transcriptSample);
    static std::string name(ActionItemMeetingKindValue kind);
};

struct ActionItemPrompt {
    /// Real names of the roster, once each (case-insensitive), without generic labels ("Speaker 2", "Me").
    static std::vector<std::string> peopleNames(const MeetingRosterTimeline& roster);
    /// The request for the action-item list.
    static std::string query(const std::vector<std::string>& peopleInMeeting,
                             ActionItemMeetingKindValue kind);
};

inline constexpr const char* actionItemsSystemPrompt =
    "You extract action items from meeting transcripts.\n"
    "List only tasks someone committed to or was asked to do. One item per line, starting with \"- \".\n"
    "Do not add headings, explanations or items the transcript does not support.";

struct ActionItemFilter {
    struct Context {
        std::vector<std::string> people{};
        ActionItemMeetingKindValue kind = ActionItemMeetingKindValue::general;
    };
    static constexpr size_t maximumItems = 30;
    /// One item per line (bullets and numbers removed), duplicates (ignoring case) and fragments shorter
    /// than three characters dropped, at most `maximumItems`.
    static std::string filter(const std::string& text, const Context& context);
};

struct ActionItemsReconciler {
    /// Stores the items of `text` (one per line) as the recording's list and returns the stored list;
    /// items already stored keep their completion.
    static std::vector<Database::DatabaseManager::ActionItem> reconcile(Database::RecordingId recordingId,
                                                                        const std::string& text,
                                                                        Database::DatabaseManager& database);
};

} // namespace Intelligence
