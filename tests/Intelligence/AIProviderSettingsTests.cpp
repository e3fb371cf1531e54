#include "Intelligence/AIProviderSettings.h"

#include "Fakes/TempFolder.h"
#include "Support/Files.h"
#include "Support/UserDefaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sys/stat.h>

using namespace Intelligence;

namespace {} // namespace

TEST(AIProviderSettings, ReadsDefaultsForMissingBlankOrUnknownValues) {
    Support::InMemoryUserDefaults defaults;
    defaults.setString(AIProviderSettings::providerKey, "llama");
    defaults.setString(AIProviderSettings::openAIBaseURLKey, "   ");
    const auto s = AIProviderSettings::load(defaults);
    EXPECT_EQ(s.provider, AIProvider::none);
    EXPECT_EQ(s.openAIBaseURL, "https://api.openai.com");
    EXPECT_EQ(s.geminiBaseURL, "https://generativelanguage.googleapis.com");
    EXPECT_EQ(s.modelName(), "");
}

TEST(AIProviderSettings, SurvivesARoundTripThroughTheDefaults) {
    Support::InMemoryUserDefaults defaults;
    AIProviderSettings s;
    s.provider = AIProvider::gemini;
    s.geminiModel = "gemini-test";
    s.openAIBaseURL = "http://localhost:11434";
    s.save(defaults);
    EXPECT_EQ(AIProviderSettings::load(defaults), s);
    EXPECT_EQ(AIProviderSettings::load(defaults).modelName(), "gemini-test");
}

TEST(AIKeyStore, WritesKeysReadableOnlyByTheUser) {
    Fakes::TempFolder folder;
    AIKeyStore store(folder.path / "sub" / "ai-keys.json");
    EXPECT_EQ(store.load(), AIKeys{});
    store.save({"sk-openai", "gemini-key"});
    struct stat info {};
    ASSERT_EQ(::stat(store.path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600);
    EXPECT_EQ(store.load(), (AIKeys{"sk-openai", "gemini-key"}));
}

TEST(AIKeyStore, ReportsADamagedFileAndLeavesItAsItWas) {
    Fakes::TempFolder folder;
    const auto path = folder.path / "ai-keys.json";
    std::ofstream(path) << "{not json";
    AIKeyStore store(path);
    EXPECT_THROW(store.load(), Support::UserFacingError);
    EXPECT_EQ(Support::Files::readIfExists(path).value_or(""), "{not json");
}
