#include "UI/updates/AppStoreLookupClient.h"

#include "Fakes/FakeHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Url.h"

#include <gtest/gtest.h>

using UI::AppStoreLookupClient;
using Outcome = AppStoreLookupClient::Outcome;

namespace {

Outcome outcomeOf(int status, const std::string& body) {
    return AppStoreLookupClient::outcome({status, {}, body});
}

TEST(AppStoreLookupClient, BuildsTheLookupRequestFromTheConfiguredEndpointAndStoreId) {
    Fakes::FakeHttpClient http;
    AppStoreLookupClient client(http, {"https://store.example/api/lookup?lang=en", "12345"});
    auto url = Support::Url::parse(*client.lookupURL("gb"));
    ASSERT_TRUE(url);
    EXPECT_EQ(url->host(), "store.example");
    EXPECT_EQ(url->path(), "/api/lookup");
    EXPECT_EQ(url->queryValue("lang"), "en") << "the endpoint's own query is kept";
    EXPECT_EQ(url->queryValue("id"), "12345");
    EXPECT_EQ(url->queryValue("entity"), "macSoftware");
    EXPECT_EQ(url->queryValue("country"), "gb");

    auto withoutCountry = Support::Url::parse(*client.lookupURL(std::nullopt));
    EXPECT_FALSE(withoutCountry->queryValue("country").has_value());

    AppStoreLookupClient broken(http, {"not a url", "1"});
    EXPECT_FALSE(broken.lookupURL("us").has_value());
}

TEST(AppStoreLookupClient, ReadsTheEndpointFromUserDefaultsWithDefaultsForBlankValues) {
    Support::InMemoryUserDefaults defaults;
    auto standard = AppStoreLookupClient::Endpoint::load(defaults);
    EXPECT_EQ(standard.lookupEndpoint, AppStoreLookupClient::Endpoint::defaultLookupEndpoint);
    EXPECT_EQ(standard.storeID, AppStoreLookupClient::Endpoint::defaultStoreID);

    defaults.setString("updateCheck.lookupEndpoint", " http://127.0.0.1:8080/lookup ");
    defaults.setString("updateCheck.storeID", "  ");
    auto custom = AppStoreLookupClient::Endpoint::load(defaults);
    EXPECT_EQ(custom.lookupEndpoint, "http://127.0.0.1:8080/lookup");
    EXPECT_EQ(custom.storeID, AppStoreLookupClient::Endpoint::defaultStoreID);
}

TEST(AppStoreLookupClient, MapsTheFirstResultToARelease) {
    auto outcome = outcomeOf(200, R"({"resultCount": 2, "results": [
        {"version": "2.4.1", "minimumOsVersion": "13.0", "currentVersionReleaseDate": "2026-11-01T08:00:00Z",
         "trackViewUrl": "https://store.example/app/id12345", "releaseNotes": "Faster.", "price": 0},
        {"version": "9.9"}]})");
    ASSERT_EQ(outcome.kind, Outcome::Kind::release);
    EXPECT_EQ(outcome.release->version, "2.4.1");
    EXPECT_EQ(outcome.release->minimumOSVersion, "13.0");
    EXPECT_EQ(outcome.release->releaseDate, Support::parseISO8601("2026-11-01T08:00:00Z"));
    EXPECT_EQ(outcome.release->storeURL, "https://store.example/app/id12345");
    EXPECT_EQ(outcome.release->releaseNotes, "Faster.");

    auto minimal =
        outcomeOf(200, R"({"resultCount": 1, "results": [{"version": "1.0", "releaseNotes": null}]})");
    ASSERT_EQ(minimal.kind, Outcome::Kind::release);
    EXPECT_FALSE(minimal.release->releaseDate.has_value());
    EXPECT_FALSE(minimal.release->releaseNotes.has_value());
}

TEST(AppStoreLookupClient, TellsNoResultsFromFailures) {
    struct Case {
        int status;
        const char* body;
        Outcome::Kind kind;
    };
    const Case cases[] = {
        {200, R"({"resultCount": 0, "results": []})", Outcome::Kind::noResults},
        {200, R"({"resultCount": 3, "results": []})", Outcome::Kind::noResults},
        {200, R"({"resultCount": 0, "results": [{"version": "1.0"}]})", Outcome::Kind::noResults},
        {404, R"({"resultCount": 1, "results": [{"version": "1.0"}]})", Outcome::Kind::failed},
        {500, "", Outcome::Kind::failed},
        {200, "<html>maintenance</html>", Outcome::Kind::failed},
        {200, R"({"results": [{"version": "1.0"}]})", Outcome::Kind::failed},
        {200, R"({"resultCount": 1, "results": [{"name": "no version"}]})", Outcome::Kind::failed},
        {200, R"({"resultCount": 1, "results": [{"version": 2}]})", Outcome::Kind::failed},
        {200, R"({"resultCount": 1, "results": [{"version": "1.0", "currentVersionReleaseDate": "soon"}]})",
         Outcome::Kind::failed},
        {200, R"([1, 2])", Outcome::Kind::failed},
        {200, R"({"resultCount": 1e300, "results": [{"version": "1.0"}]})", Outcome::Kind::failed},
        {200, R"({"resultCount": -1e300, "results": [{"version": "1.0"}]})", Outcome::Kind::failed},
        {200, R"({"resultCount": 1.5, "results": [{"version": "1.0"}]})", Outcome::Kind::failed},
        {200, R"({"resultCount": "1", "results": [{"version": "1.0"}]})", Outcome::Kind::failed},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(outcomeOf(c.status, c.body).kind, c.kind) << c.status << " " << c.body;
    }
}

TEST(AppStoreLookupClient, SendsOneRequestWithItsTimeoutAndTurnsATransportErrorIntoFailed) {
    Support::MainLoop loop;
    Fakes::FakeHttpClient http;
    AppStoreLookupClient client(http, {"https://store.example/lookup", "77"}, Support::seconds(15));
    http.enqueue(Fakes::FakeHttpClient::Answer::ok(R"({"resultCount":1,"results":[{"version":"3.0"}]})"));
    http.enqueue(Fakes::FakeHttpClient::Answer::failure(Platform::HttpTransportError::Kind::timedOut));

    auto found = client.latestRelease("de");
    auto failed = client.latestRelease("de");
    loop.runUntilIdle();
    ASSERT_TRUE(found.isDone() && failed.isDone());
    EXPECT_EQ(found.get().release->version, "3.0");
    EXPECT_EQ(failed.get().kind, Outcome::Kind::failed);
    ASSERT_EQ(http.requests.size(), 2u);
    EXPECT_EQ(http.requests[0].method, "GET");
    EXPECT_EQ(http.requests[0].timeout, Support::seconds(15));
    EXPECT_EQ(Support::Url::parse(http.requests[0].url)->queryValue("country"), "de");
}

TEST(AppStoreLookupClient, TakesTheStorefrontCountryFromTheLocaleRegion) {
    EXPECT_EQ(AppStoreLookupClient::storefrontCountry("en_GB"), "gb");
    EXPECT_EQ(AppStoreLookupClient::storefrontCountry("de-AT"), "at");
    EXPECT_EQ(AppStoreLookupClient::storefrontCountry("fr_FR.UTF-8"), "fr");
    EXPECT_EQ(AppStoreLookupClient::storefrontCountry("ja"), std::nullopt);
    EXPECT_EQ(AppStoreLookupClient::storefrontCountry(""), std::nullopt);
}

} // namespace
