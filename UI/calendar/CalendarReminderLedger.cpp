#include "UI/calendar/CalendarReminderLedger.h"

#include <nlohmann/json.hpp>

namespace UI {

namespace {

using nlohmann::json;

std::optional<Support::Date> dateField(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_string()) {
        return std::nullopt;
    }
    return Support::parseISO8601(it->get<std::string>());
}

/// A missing flag reads as false; a flag of another type makes the entry unreadable.
std::optional<bool> flagField(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || it->is_null()) {
        return false;
    }
    if (!it->is_boolean()) {
        return std::nullopt;
    }
    return it->get<bool>();
}

std::optional<CalendarReminderLedger::Entry> entryFromJson(const json& object) {
    if (!object.is_object()) {
        return std::nullopt;
    }
    CalendarReminderLedger::Entry entry;
    auto start = dateField(object, "start");
    auto headsUp = flagField(object, "headsUpShown");
    auto overlay = flagField(object, "overlayShown");
    auto dismissed = flagField(object, "dismissed");
    if (!start || !headsUp || !overlay || !dismissed) {
        return std::nullopt;
    }
    entry.start = *start;
    entry.headsUpShown = *headsUp;
    entry.overlayShown = *overlay;
    entry.dismissed = *dismissed;
    if (auto it = object.find("snoozedUntil"); it != object.end() && !it->is_null()) {
        entry.snoozedUntil = dateField(object, "snoozedUntil");
        if (!entry.snoozedUntil) {
            return std::nullopt;
        }
    }
    if (auto it = object.find("snoozedStage"); it != object.end() && !it->is_null()) {
        if (!it->is_string()) {
            return std::nullopt;
        }
        entry.snoozedStage = calendarReminderStageFromRaw(it->get<std::string>());
        if (!entry.snoozedStage) {
            return std::nullopt;
        }
    }
    return entry;
}

json toJson(const CalendarReminderLedger::Entry& entry) {
    json object = {{"start", Support::formatISO8601(entry.start)},
                   {"headsUpShown", entry.headsUpShown},
                   {"overlayShown", entry.overlayShown},
                   {"dismissed", entry.dismissed}};
    if (entry.snoozedUntil) {
        object["snoozedUntil"] = Support::formatISO8601(*entry.snoozedUntil);
    }
    if (entry.snoozedStage) {
        object["snoozedStage"] = std::string(rawValue(*entry.snoozedStage));
    }
    return object;
}

} // namespace

CalendarReminderLedger CalendarReminderLedger::load(const Support::UserDefaults& defaults) {
    auto bytes = defaults.data(defaultsKey);
    if (!bytes) {
        return {};
    }
    std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    return decode(text).value_or(CalendarReminderLedger{});
}

void CalendarReminderLedger::save(Support::UserDefaults& defaults) const {
    auto text = encoded();
    defaults.set(defaultsKey, Support::DefaultsValue(Support::Bytes(text.begin(), text.end())));
}

CalendarReminderLedger::Entry CalendarReminderLedger::entry(const CalendarMeeting& meeting) const {
    auto it = entries.find(meeting.occurrenceKey);
    if (it != entries.end() && it->second.start == meeting.start) {
        return it->second;
    }
    Entry fresh;
    fresh.start = meeting.start;
    return fresh;
}

void CalendarReminderLedger::markShown(CalendarReminderStage stage, const CalendarMeeting& meeting) {
    auto updated = entry(meeting);
    (stage == CalendarReminderStage::headsUp ? updated.headsUpShown : updated.overlayShown) = true;
    if (updated.snoozedStage == stage) {
        updated.snoozedStage.reset();
        updated.snoozedUntil.reset();
    }
    entries[meeting.occurrenceKey] = updated;
}

void CalendarReminderLedger::snooze(CalendarReminderStage stage, const CalendarMeeting& meeting,
                                    Support::Date until) {
    auto updated = entry(meeting);
    updated.snoozedUntil = until;
    updated.snoozedStage = stage;
    entries[meeting.occurrenceKey] = updated;
}

void CalendarReminderLedger::dismiss(const CalendarMeeting& meeting) {
    auto updated = entry(meeting);
    updated.dismissed = true;
    entries[meeting.occurrenceKey] = updated;
}

void CalendarReminderLedger::forget(const std::set<std::string>& keys) {
    for (const auto& key : keys) {
        entries.erase(key);
    }
}

void CalendarReminderLedger::prune(Support::Date now) {
    auto oldest = now - Support::seconds(retention);
    std::erase_if(entries, [&](const auto& item) { return item.second.start < oldest; });
}

std::string CalendarReminderLedger::encoded() const {
    json entriesObject = json::object();
    for (const auto& [key, entry] : entries) {
        entriesObject[key] = toJson(entry);
    }
    return json{{"entries", entriesObject}}.dump();
}

std::optional<CalendarReminderLedger> CalendarReminderLedger::decode(std::string_view text) {
    auto document = json::parse(text, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }
    auto it = document.find("entries");
    if (it == document.end() || !it->is_object()) {
        return std::nullopt;
    }
    CalendarReminderLedger ledger;
    for (const auto& [key, value] : it->items()) {
        auto entry = entryFromJson(value);
        if (!entry) {
            return std::nullopt;
        }
        ledger.entries.emplace(key, *entry);
    }
    return ledger;
}

} // namespace UI
