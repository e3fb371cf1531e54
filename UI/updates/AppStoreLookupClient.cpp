#include "UI/updates/AppStoreLookupClient.h"

#include "Support/Log.h"
#include "Support/Text.h"
#include "Support/Url.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <unicode/locid.h>

namespace UI {

namespace {

const Support::Logger& logger() {
    static const Support::Logger log("updates");
    return log;
}

/// An optional text field: absent or null is nothing; any other type makes the answer undecodable.
std::optional<std::string> optionalText(const nlohmann::json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || it->is_null()) {
        return std::nullopt;
    }
    if (!it->is_string()) {
        throw std::runtime_error(std::string("the field ") + key + " is not text");
    }
    return it->get<std::string>();
}

} // namespace

AppStoreLookupClient::Endpoint AppStoreLookupClient::Endpoint::load(const Support::UserDefaults& defaults) {
    Endpoint e;
    if (auto v = defaults.string(lookupEndpointKey); v && !Support::Text::isBlank(*v)) {
        e.lookupEndpoint = Support::Text::trimmed(*v);
    }
    if (auto v = defaults.string(storeIDKey); v && !Support::Text::isBlank(*v)) {
        e.storeID = Support::Text::trimmed(*v);
    }
    return e;
}

AppStoreLookupClient::AppStoreLookupClient(Platform::HttpClient& s, Endpoint endpoint, Support::Duration t)
    : session(s), timeout(t), endpoint_(std::move(endpoint)) {}

std::optional<std::string> AppStoreLookupClient::lookupURL(const std::optional<std::string>& country) const {
    auto base = Support::Url::parse(endpoint_.lookupEndpoint);
    if (!base || (base->scheme() != "https" && base->scheme() != "http") || base->host().empty()) {
        return std::nullopt;
    }
    auto items = base->queryItems();
    items.push_back({"id", endpoint_.storeID});
    items.push_back({"entity", "macSoftware"});
    if (country && !country->empty()) {
        items.push_back({"country", *country});
    }
    return base->withQueryItems(items).string();
}

Support::Task<AppStoreLookupClient::Outcome>
AppStoreLookupClient::latestRelease(std::optional<std::string> country) const {
    auto url = lookupURL(country);
    if (!url) {
        co_return Outcome::failure("The update lookup address \"" + endpoint_.lookupEndpoint +
                                   "\" is not valid.");
    }
    Platform::HttpRequest request;
    request.url = *url;
    request.headers.emplace_back("Accept", "application/json");
    request.timeout = timeout;
    Platform::HttpResponse response;
    try {
        auto transfer = session.send(std::move(request));
        response = co_await Support::awaitOwned(transfer);
    } catch (const Platform::HttpTransportError& error) {
        logger().notice("Update lookup failed: {}", error.description());
        co_return Outcome::failure(error.description());
    }
    auto result = outcome(response);
    if (result.kind == Outcome::Kind::failed) {
        logger().notice("Update lookup failed: {}", result.failureReason);
    }
    co_return result;
}

std::optional<std::string> AppStoreLookupClient::storefrontCountry(std::string_view localeID) {
    // POSIX locale names carry an encoding and a modifier ("fr_FR.UTF-8@euro"); tags use hyphens.
    std::string id(localeID.substr(0, localeID.find_first_of(".@")));
    std::replace(id.begin(), id.end(), '-', '_');
    if (id.empty()) {
        return std::nullopt; // ICU would take the process's default locale
    }
    icu::Locale locale(id.c_str());
    std::string country = locale.getCountry();
    if (locale.isBogus() || country.empty()) {
        return std::nullopt;
    }
    return Support::Text::asciiLowercased(country);
}

AppStoreLookupClient::Outcome AppStoreLookupClient::outcome(const Platform::HttpResponse& response) {
    if (!response.isSuccess()) {
        return Outcome::failure("The store answered with HTTP status " + std::to_string(response.status) +
                                ".");
    }
    try {
        auto answer = nlohmann::json::parse(response.body);
        if (!answer.is_object()) {
            return Outcome::failure("The store's answer is not a JSON object.");
        }
        // Only a whole number: converting 1e300 to an integer would be undefined behaviour.
        const auto& countValue = answer.at("resultCount");
        if (!countValue.is_number_integer()) {
            return Outcome::failure("The store's answer has no whole result count.");
        }
        const auto count = countValue.get<std::int64_t>();
        const auto& results = answer.at("results");
        if (!results.is_array()) {
            return Outcome::failure("The store's answer has no result list.");
        }
        if (count == 0 || results.empty()) {
            return Outcome::none();
        }
        const auto& first = results.front();
        if (!first.is_object()) {
            return Outcome::failure("The store's first result is not an object.");
        }
        AppStoreRelease release;
        release.version = first.at("version").get<std::string>();
        release.minimumOSVersion = optionalText(first, "minimumOsVersion");
        if (auto date = optionalText(first, "currentVersionReleaseDate")) {
            release.releaseDate = Support::parseISO8601(*date);
            if (!release.releaseDate) {
                return Outcome::failure("The release date \"" + *date + "\" is not a date.");
            }
        }
        release.releaseNotes = optionalText(first, "releaseNotes");
        release.storeURL = optionalText(first, "trackViewUrl");
        return Outcome::found(std::move(release));
    } catch (const std::exception& error) {
        return Outcome::failure(std::string("The store's answer could not be read: ") + error.what());
    }
}

} // namespace UI
