#include "UI/calendar/CalendarAccounts.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>

namespace UI {

namespace {

struct KindRow {
    std::string_view raw;
    std::string_view name;
    std::string_view symbol;
};

constexpr std::array<KindRow, 7> kindRows = {{
    {"iCloud", "iCloud", "icloud"},
    {"microsoft", "Microsoft", "building.2"},
    {"google", "Google", "g.circle"},
    {"calDAV", "CalDAV", "server.rack"},
    {"yahoo", "Yahoo", "y.circle"},
    {"onMyMac", "On My Mac", "laptopcomputer"},
    {"other", "Other calendars", "calendar"},
}};

const KindRow& row(CalendarAccount::Kind kind) {
    return kindRows.at(static_cast<std::size_t>(kind));
}

bool containsAny(std::string_view text, std::initializer_list<std::string_view> needles) {
    return std::any_of(needles.begin(), needles.end(),
                       [&](std::string_view n) { return text.find(n) != std::string_view::npos; });
}

} // namespace

std::string_view rawValue(CalendarAccount::Kind kind) {
    return row(kind).raw;
}
std::string_view displayName(CalendarAccount::Kind kind) {
    return row(kind).name;
}
std::string_view symbolName(CalendarAccount::Kind kind) {
    return row(kind).symbol;
}

std::string CalendarAccount::caption() const {
    if (calendars.empty()) {
        return "No calendars";
    }
    auto count = std::to_string(calendars.size()) + (calendars.size() == 1 ? " calendar" : " calendars");
    return std::string(displayName(kind)) + " · " + count;
}

std::string CalendarAccount::detail() const {
    if (calendars.empty()) {
        return "No calendars turned on";
    }
    std::vector<std::string> titles;
    for (const auto& c : calendars) {
        titles.push_back(c.title);
    }
    return Support::Text::joined(titles, ", ");
}

bool CalendarAccounts::isEmail(std::string_view text) {
    auto at = text.find('@');
    if (at == std::string_view::npos || at == 0 || text.find('@', at + 1) != std::string_view::npos) {
        return false;
    }
    auto domain = text.substr(at + 1);
    auto dot = domain.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || domain.size() - dot - 1 < 2) {
        return false;
    }
    return std::none_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) <= 0x20 || c == '<' || c == '>' || c == ',' || c == ';';
    });
}

std::optional<CalendarAccount::Kind> CalendarAccounts::kind(CalendarSourceKind sourceKind,
                                                            std::string_view title) {
    auto lower = Support::Text::lowercased(title);
    auto byProvider = [&]() -> std::optional<CalendarAccount::Kind> {
        if (containsAny(lower, {"google", "gmail.com", "googlemail.com"})) {
            return CalendarAccount::Kind::google;
        }
        if (containsAny(lower, {"yahoo", "ymail.com"})) {
            return CalendarAccount::Kind::yahoo;
        }
        if (containsAny(lower, {"icloud", "@me.com", "@mac.com"})) {
            return CalendarAccount::Kind::iCloud;
        }
        if (containsAny(lower, {"microsoft", "outlook", "office 365", "office365", "exchange", "hotmail",
                                "@live.", "@msn."})) {
            return CalendarAccount::Kind::microsoft;
        }
        return std::nullopt;
    };
    switch (sourceKind) {
    case CalendarSourceKind::iCloud:
        return CalendarAccount::Kind::iCloud;
    case CalendarSourceKind::exchange:
        return CalendarAccount::Kind::microsoft;
    case CalendarSourceKind::calDAV:
        return byProvider().value_or(CalendarAccount::Kind::calDAV);
    case CalendarSourceKind::local:
        return CalendarAccount::Kind::onMyMac;
    case CalendarSourceKind::subscribed:
    case CalendarSourceKind::birthday:
    case CalendarSourceKind::unknown:
        // Subscriptions and the like belong to no account, unless they are named after one.
        if (isEmail(title)) {
            return byProvider();
        }
        return std::nullopt;
    }
    return std::nullopt;
}

std::vector<CalendarAccount> CalendarAccounts::accounts(const std::vector<CalendarInfo>& calendars) {
    std::vector<CalendarAccount> accounts;
    CalendarAccount other{std::string(otherID),
                          CalendarAccount::Kind::other,
                          std::string(displayName(CalendarAccount::Kind::other)),
                          std::nullopt,
                          {}};
    for (const auto& group : CalendarSourceGroup::grouping(calendars)) {
        auto accountKind = kind(group.sourceKind, group.sourceTitle);
        if (!accountKind) {
            other.calendars.insert(other.calendars.end(), group.calendars.begin(), group.calendars.end());
            continue;
        }
        auto label = Support::Text::trimmed(group.sourceTitle);
        if (label.empty()) {
            label = std::string(displayName(*accountKind));
        }
        std::optional<std::string> email;
        if (isEmail(label)) {
            email = label;
        }
        accounts.push_back(CalendarAccount{group.sourceID, *accountKind, label, email, group.calendars});
    }
    if (!other.calendars.empty()) {
        accounts.push_back(std::move(other));
    }
    return accounts;
}

} // namespace UI
