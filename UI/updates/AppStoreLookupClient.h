// Asks the store's public lookup service for the latest release of the application.
//
// The request is GET <endpoint>?id=<store id>&entity=macSoftware[&country=<code>] with the configured
// time-out. The endpoint and the store id are user defaults ("updateCheck.lookupEndpoint",
// "updateCheck.storeID") so that a build for another store, or a test server, needs no code change.
//
// Outcomes: a result count of 0 or an empty result list is `noResults`; a transport failure, a status
// outside 200-299 or an answer that does not decode is `failed` (with a reason for the log and the command
// line); otherwise the first result is the `release`.
#pragma once

#include "Platform/HttpClient.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"
#include "UI/updates/AppStoreRelease.h"
#include "UI/updates/UpdateCheckConfiguration.h"

#include <optional>
#include <string>
#include <string_view>

namespace UI {

class AppStoreLookupClient {
public:
    struct Endpoint {
        static constexpr const char* lookupEndpointKey = "updateCheck.lookupEndpoint";
        static constexpr const char* storeIDKey = "updateCheck.storeID";
        static constexpr const char* defaultLookupEndpoint = "https://updates.tessadine.dev/lookup";
        static constexpr const char* defaultStoreID = "6741523980";

        std::string lookupEndpoint = defaultLookupEndpoint;
        std::string storeID = defaultStoreID;

        /// The stored values, each falling back to its default when absent or empty.
        static Endpoint load(const Support::UserDefaults& defaults);
    };

    struct Outcome {
        enum class Kind { release, noResults, failed };
        Kind kind = Kind::failed;
        std::optional<AppStoreRelease> release;
        /// Why a lookup failed (not shown in the menu; logged and printed by the command line).
        std::string failureReason;

        static Outcome found(AppStoreRelease r) { return {Kind::release, std::move(r), {}}; }
        static Outcome none() { return {Kind::noResults, std::nullopt, {}}; }
        static Outcome failure(std::string why) { return {Kind::failed, std::nullopt, std::move(why)}; }
    };

    AppStoreLookupClient(Platform::HttpClient& session, Endpoint endpoint,
                         Support::Duration timeout = UpdateCheckConfiguration::standard.requestTimeout);

    Platform::HttpClient& session;
    Support::Duration timeout;
    const Endpoint& endpoint() const { return endpoint_; }

    /// The request address; nothing when the configured endpoint is not an http(s) URL.
    std::optional<std::string> lookupURL(const std::optional<std::string>& country) const;
    /// One lookup. Never throws but `Support::Cancelled`.
    Support::Task<Outcome> latestRelease(std::optional<std::string> country) const;

    /// The lower-case region of an ICU locale id ("en_GB" → "gb", "de-AT" → "at"); nothing without one.
    static std::optional<std::string> storefrontCountry(std::string_view localeID);
    /// Maps a lookup answer (status and body) to its outcome.
    static Outcome outcome(const Platform::HttpResponse& response);

private:
    Endpoint endpoint_;
};

} // namespace UI
