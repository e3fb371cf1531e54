#include "Platform/Linux/EdsSourceDescription.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace Platform {

namespace {

bool isStub(std::string_view backend) {
    return backend.size() > 5 && backend.substr(backend.size() - 5) == "-stub";
}

bool endsWith(std::string_view s, std::string_view suffix) {
    return s.size() >= suffix.size() && s.substr(s.size() - suffix.size()) == suffix;
}

bool isLocal(const EdsSourceFacts& f) {
    return f.backend == "local" || f.parentBackend == "local-stub";
}

} // namespace

std::string EdsSourceDescription::providerName(std::string_view backend) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 13> names = {{
        {"google", "Google"},
        {"gmail", "Google"},
        {"ews", "Microsoft"},
        {"microsoft365", "Microsoft"},
        {"outlook", "Microsoft"},
        {"exchange", "Microsoft"},
        {"yahoo", "Yahoo"},
        {"icloud", "iCloud"},
        {"caldav", "CalDAV"},
        {"webdav", "CalDAV"},
        {"owncloud", "Nextcloud"},
        {"nextcloud", "Nextcloud"},
        {"webcal", "On The Web"},
    }};
    auto lower = Support::Text::asciiLowercased(backend);
    if (isStub(lower)) {
        lower.resize(lower.size() - 5);
    }
    for (const auto& [key, name] : names) {
        if (lower == key) {
            return std::string(name);
        }
    }
    return "";
}

CalendarSourceType EdsSourceDescription::sourceType(const EdsSourceFacts& f) {
    auto backend = Support::Text::asciiLowercased(f.backend);
    auto host = Support::Text::asciiLowercased(f.host);
    if (isLocal(f)) {
        return CalendarSourceType::local;
    }
    if (backend == "caldav" || backend == "google" || backend == "webdav") {
        if (endsWith(host, "icloud.com") || f.parentBackend == "icloud") {
            return CalendarSourceType::mobileMe;
        }
        return CalendarSourceType::calDAV;
    }
    if (backend == "ews" || backend == "microsoft365" || backend == "mapi" || backend == "exchange-mapi") {
        return CalendarSourceType::exchange;
    }
    if (backend == "webcal") {
        return CalendarSourceType::subscribed;
    }
    if (backend == "contacts") {
        return CalendarSourceType::birthdays;
    }
    return CalendarSourceType::unknown;
}

std::string EdsSourceDescription::accountTitle(const EdsSourceFacts& f) {
    if (isLocal(f)) {
        return std::string(localAccountTitle);
    }
    auto parentName = Support::Text::trimmed(f.parentDisplayName);
    if (!f.parentBackend.empty() && !isStub(f.parentBackend)) {
        // A collection: an online account, named by its address.
        auto provider = providerName(f.parentBackend);
        if (provider.empty()) {
            provider = providerName(f.backend);
        }
        if (provider.empty() || parentName.empty()) {
            return parentName.empty() ? provider : parentName;
        }
        return provider + " — " + parentName;
    }
    auto provider = providerName(f.backend);
    if (provider.empty()) {
        provider = parentName;
    }
    auto who = f.user.find('@') != std::string::npos ? f.user : (f.host.empty() ? f.user : f.host);
    if (who.empty()) {
        return provider.empty() ? parentName : provider;
    }
    return provider.empty() ? who : provider + " — " + who;
}

std::string EdsSourceDescription::accountID(const EdsSourceFacts& f) {
    if (f.parentUID.empty()) {
        return f.uid;
    }
    if (isStub(f.parentBackend) && !isLocal(f)) {
        return f.parentUID + ":" + accountTitle(f);
    }
    return f.parentUID;
}

std::string EdsSourceDescription::normalisedColor(std::string_view color) {
    auto value = Support::Text::trimmed(color);
    if (value.empty() || value[0] != '#') {
        return "";
    }
    value.erase(0, 1);
    if (!std::all_of(value.begin(), value.end(),
                     [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); })) {
        return "";
    }
    std::string rgb;
    if (value.size() == 3) {
        for (char c : value) {
            rgb += {c, c};
        }
    } else if (value.size() == 6) {
        rgb = value;
    } else if (value.size() == 12) {
        rgb = value.substr(0, 2) + value.substr(4, 2) + value.substr(8, 2);
    } else {
        return "";
    }
    std::string out = "#";
    for (char c : rgb) {
        out.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
    }
    return out;
}

CalendarDescriptor EdsSourceDescription::describe(const EdsSourceFacts& f) {
    CalendarDescriptor d;
    d.id = f.uid;
    d.title = f.displayName.empty() ? f.uid : f.displayName;
    d.sourceID = accountID(f);
    d.sourceTitle = accountTitle(f);
    d.sourceType = sourceType(f);
    d.colorHex = normalisedColor(f.color);
    return d;
}

} // namespace Platform
