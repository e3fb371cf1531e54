#include "Fakes/TempFolder.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;
using namespace Support;

namespace {

std::vector<fs::path> filesStartingWith(const fs::path& folder, const std::string& prefix) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().filename().string().rfind(prefix, 0) == 0) {
            found.push_back(entry.path());
        }
    }
    return found;
}

const Date sampleDate = dateFromUnix(1'795'000'000.25);

// Every value type, set through `set` and read back through the matching getter.
void expectEveryTypeRoundTrips(UserDefaults& defaults, const std::function<UserDefaults&()>& reader) {
    defaults.set("bool", DefaultsValue(true));
    defaults.setInteger("int", -9'007'199'254'740'993);
    defaults.set("double", DefaultsValue(2.5));
    defaults.set("wholeDouble", DefaultsValue(3.0));
    defaults.set("string", "Caf\xC3\xA9 \"quoted\"");
    defaults.set("array", DefaultsValue(std::vector<std::string>{"a", "", "\xE2\x82\xAC"}));
    defaults.set("emptyArray", DefaultsValue(std::vector<std::string>{}));
    defaults.set("bytes", DefaultsValue(Bytes{0, 1, 2, 0xFF, 0xFE}));
    defaults.set("emptyBytes", DefaultsValue(Bytes{}));
    defaults.set("date", DefaultsValue(sampleDate));

    UserDefaults& r = reader();
    EXPECT_EQ(r.boolean("bool"), true);
    EXPECT_EQ(r.integer("int"), -9'007'199'254'740'993);
    EXPECT_EQ(r.number("double"), 2.5);
    EXPECT_TRUE(std::holds_alternative<double>(*r.value("wholeDouble")));
    EXPECT_EQ(r.string("string"), "Caf\xC3\xA9 \"quoted\"");
    EXPECT_EQ(r.stringArray("array"), (std::vector<std::string>{"a", "", "\xE2\x82\xAC"}));
    EXPECT_EQ(r.stringArray("emptyArray"), std::vector<std::string>{});
    EXPECT_EQ(r.data("bytes"), (Bytes{0, 1, 2, 0xFF, 0xFE}));
    EXPECT_EQ(r.data("emptyBytes"), Bytes{});
    EXPECT_EQ(r.date("date"), sampleDate);
    EXPECT_EQ(r.dictionaryRepresentation().size(), 10u);
}

} // namespace

TEST(UserDefaults, InMemoryRoundTripsEveryType) {
    InMemoryUserDefaults defaults;
    expectEveryTypeRoundTrips(defaults, [&]() -> UserDefaults& { return defaults; });
}

TEST(UserDefaults, CoercesBetweenCompatibleTypesAndGivesNothingOtherwise) {
    InMemoryUserDefaults d;
    d.setBool("flag", true);
    d.setInteger("zero", 0);
    d.setInteger("fifteen", 15);
    d.setString("numericText", " 15 ");
    d.setString("decimalText", "2.75");
    d.setString("yes", "YES");
    d.setString("word", "hello");
    d.set("double", DefaultsValue(-7.9));
    d.set("huge", DefaultsValue(1e300));
    d.set("list", DefaultsValue(std::vector<std::string>{"1"}));
    d.setString("isoText", "2026-11-22T09:45:00Z");

    struct Case {
        const char* key;
        std::optional<bool> boolean;
        std::optional<std::int64_t> integer;
        std::optional<double> number;
        std::optional<std::string> string;
    } cases[] = {
        {"flag", true, 1, 1.0, std::nullopt},
        {"zero", false, 0, 0.0, "0"},
        {"fifteen", true, 15, 15.0, "15"},
        {"numericText", true, 15, 15.0, " 15 "},
        {"decimalText", true, 2, 2.75, "2.75"},
        {"yes", true, std::nullopt, std::nullopt, "YES"},
        {"word", std::nullopt, std::nullopt, std::nullopt, "hello"},
        {"double", true, -7, -7.9, "-7.9"},
        {"huge", true, std::nullopt, 1e300, "1e+300"},
        {"list", std::nullopt, std::nullopt, std::nullopt, std::nullopt},
        {"missing", std::nullopt, std::nullopt, std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(d.boolean(c.key), c.boolean) << c.key;
        EXPECT_EQ(d.integer(c.key), c.integer) << c.key;
        EXPECT_EQ(d.number(c.key), c.number) << c.key;
        EXPECT_EQ(d.string(c.key), c.string) << c.key;
    }
    EXPECT_EQ(d.data("word"), (Bytes{'h', 'e', 'l', 'l', 'o'}));
    EXPECT_EQ(d.data("fifteen"), std::nullopt);
    EXPECT_EQ(d.stringArray("word"), std::nullopt);
    EXPECT_EQ(d.date("isoText"), parseISO8601("2026-11-22T09:45:00Z"));
    EXPECT_EQ(d.date("word"), std::nullopt);
    EXPECT_TRUE(d.has("flag"));
    EXPECT_FALSE(d.has("missing"));
}

TEST(UserDefaults, InMemoryEmitsChangedAfterSetAndRemove) {
    InMemoryUserDefaults d;
    std::vector<std::pair<std::string, bool>> seen;
    auto subscription =
        d.changed.connect([&](const std::string& key) { seen.emplace_back(key, d.has(key)); });
    d.setInteger("a", 1);
    d.remove("a");
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, bool>>{{"a", true}, {"a", false}}));
}

TEST(JsonFileUserDefaults, RoundTripsEveryTypeThroughTheFile) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    JsonFileUserDefaults writer(file);
    std::unique_ptr<JsonFileUserDefaults> reader;
    expectEveryTypeRoundTrips(writer, [&]() -> UserDefaults& {
        reader = std::make_unique<JsonFileUserDefaults>(file);
        return *reader;
    });
    auto json = nlohmann::json::parse(*Files::readIfExists(file));
    EXPECT_EQ(json["bool"], true);
    EXPECT_EQ(json["bytes"], nlohmann::json({{"$data", "AAEC//4="}}));
    EXPECT_TRUE(json["date"].contains("$date"));
    EXPECT_EQ(json["array"][2], "\xE2\x82\xAC");
}

TEST(JsonFileUserDefaults, EmitsChangedAfterTheFileIsWritten) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    JsonFileUserDefaults d(file);
    std::vector<std::string> seen;
    auto subscription = d.changed.connect([&](const std::string& key) {
        JsonFileUserDefaults other(file);
        seen.push_back(key + "=" + other.string(key).value_or("<none>"));
    });
    d.setString("theme", "dark");
    d.remove("theme");
    EXPECT_EQ(seen, (std::vector<std::string>{"theme=dark", "theme=<none>"}));
}

TEST(JsonFileUserDefaults, TwoInstancesOnOneFileKeepEachOthersKeys) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    JsonFileUserDefaults host(file);
    JsonFileUserDefaults command(file);
    host.setInteger("leadMinutes", 5);
    command.setBool("recordAutomatically", true); // `command` never saw leadMinutes
    command.remove("missing");
    host.setString("theme", "dark"); // `host` never saw recordAutomatically

    JsonFileUserDefaults fresh(file);
    EXPECT_EQ(fresh.integer("leadMinutes"), 5);
    EXPECT_EQ(fresh.boolean("recordAutomatically"), true);
    EXPECT_EQ(fresh.string("theme"), "dark");
    EXPECT_EQ(host.boolean("recordAutomatically"), true); // a write refreshes the whole cache
    EXPECT_EQ(command.has("theme"), false);               // until it writes or reloads
    command.reload();
    EXPECT_EQ(command.string("theme"), "dark");
}

TEST(JsonFileUserDefaults, KeepsKeysItCannotReadWhenWriting) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    Files::writeAtomically(file, R"({"nested": {"a": [1, 2]}, "nothing": null, "mixed": [1, "a"]})");
    JsonFileUserDefaults d(file);
    EXPECT_FALSE(d.has("nested"));
    d.setInteger("n", 1);
    auto json = nlohmann::json::parse(*Files::readIfExists(file));
    EXPECT_EQ(json["nested"]["a"][1], 2);
    EXPECT_TRUE(json.contains("nothing"));
    EXPECT_EQ(json["mixed"].size(), 2u);
    EXPECT_EQ(json["n"], 1);
}

TEST(JsonFileUserDefaults, MovesACorruptFileAsideAndNeverOverwritesIt) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    const std::string cases[] = {"{\"truncated\": ", "[1, 2]", "\"just text\"", "\xFF\xFE"};
    std::size_t expectedCorrupt = 0;
    for (const auto& contents : cases) {
        Files::writeAtomically(file, contents);
        LogCapture capture;
        JsonFileUserDefaults d(file);
        ++expectedCorrupt;
        ASSERT_TRUE(d.movedAsideTo()) << contents;
        EXPECT_EQ(Files::readIfExists(*d.movedAsideTo()), contents);
        EXPECT_EQ(d.movedAsideTo()->filename().string().rfind("defaults.json.corrupt-", 0), 0u);
        EXPECT_FALSE(fs::exists(file));
        EXPECT_TRUE(d.dictionaryRepresentation().empty());
        EXPECT_EQ(capture.messages("defaults").size(), 1u) << contents;
        d.setInteger("fresh", 1);
        // Files moved aside within the same second get distinct names; none is ever replaced.
        EXPECT_EQ(filesStartingWith(tmp.path, "defaults.json.corrupt-").size(), expectedCorrupt);
    }
    JsonFileUserDefaults reopened(file);
    EXPECT_FALSE(reopened.movedAsideTo());
    EXPECT_EQ(reopened.integer("fresh"), 1);
}

TEST(JsonFileUserDefaults, IgnoresATemporaryFileLeftByAnInterruptedWrite) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    {
        JsonFileUserDefaults d(file);
        d.setString("kept", "yes");
    }
    // A crash between writing the temporary file and renaming it leaves this behind.
    fs::path stray = tmp.path / ".defaults.json.tmp-AbC123";
    Files::writeAtomically(stray, "{\"kept\": \"half-writ");
    JsonFileUserDefaults d(file);
    EXPECT_FALSE(d.movedAsideTo());
    EXPECT_EQ(d.string("kept"), "yes");
    d.setString("other", "1");
    EXPECT_EQ(JsonFileUserDefaults(file).string("kept"), "yes");
    EXPECT_EQ(Files::readIfExists(stray), "{\"kept\": \"half-writ");
}

TEST(JsonFileUserDefaults, ReportsAnUnwritableFolderOnWriteWithoutLosingTheCache) {
    Fakes::TempFolder tmp;
    fs::path notAFolder = tmp.path / "file";
    Files::writeAtomically(notAFolder, "x");
    JsonFileUserDefaults d(notAFolder / "defaults.json");
    EXPECT_FALSE(d.has("a"));
    try {
        d.setInteger("a", 1);
        FAIL() << "expected an error";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find((notAFolder / "defaults.json").string()), std::string::npos)
            << e.what();
    }
    EXPECT_FALSE(d.has("a"));
    EXPECT_EQ(Files::readIfExists(notAFolder), "x");
}

TEST(JsonFileUserDefaults, WritesInvalidUTF8TextAsReplacementCharacters) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "defaults.json";
    JsonFileUserDefaults d(file);
    d.setString("name", "a\xFF"
                        "b");
    EXPECT_EQ(JsonFileUserDefaults(file).string("name"), "a\xEF\xBF\xBD"
                                                         "b");
}

TEST(JsonFileUserDefaults, DefaultPathFollowsTheConfigFolder) {
    const char* old = std::getenv("VELLMORA_CONFIG_HOME");
    std::optional<std::string> saved = old ? std::optional<std::string>(old) : std::nullopt;
    ::setenv("VELLMORA_CONFIG_HOME", "/tmp/vellmora-config-test", 1);
    EXPECT_EQ(JsonFileUserDefaults::defaultPath(), fs::path("/tmp/vellmora-config-test/defaults.json"));
    if (saved) {
        ::setenv("VELLMORA_CONFIG_HOME", saved->c_str(), 1);
    } else {
        ::unsetenv("VELLMORA_CONFIG_HOME");
    }
}
