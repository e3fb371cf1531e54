#include "UI/feedback/DiagnosticRedaction.h"
#include "UI/feedback/FeedbackLimits.h"
#include "UI/feedback/FeedbackSendOutcome.h"

#include <gtest/gtest.h>

using UI::DiagnosticRedaction::redactingUserPaths;

TEST(DiagnosticRedaction, ReplacesOnlyTheUserNameOfEveryUserPath) {
    struct Case {
        const char* input;
        const char* expected;
    };
    const Case cases[] = {
        {"no paths here", "no paths here"},
        {"open /Users/jane/Library/Logs/x.log failed", "open /Users/<redacted>/Library/Logs/x.log failed"},
        {"at /Users/jane", "at /Users/<redacted>"},
        {"/USERS/jane/a and /users/bob/b", "/Users/<redacted>/a and /Users/<redacted>/b"},
        {"/Users//jane", "/Users//jane"},
        {"/Users/", "/Users/"},
        {"/Users/Jane Doe/Documents", "/Users/<redacted> Doe/Documents"},
        {R"({"path":"/Users/jane"})", R"({"path":"/Users/<redacted>"})"},
        {"(/Users/jane),[/Users/bob];/Users/eve:1|/Users/x\\y",
         "(/Users/<redacted>),[/Users/<redacted>];/Users/<redacted>:1|/Users/<redacted>\\y"},
        {"/Users/zoë/Music", "/Users/<redacted>/Music"},
        {"/home/jane/.config/vellmora", "/home/<redacted>/.config/vellmora"},
        {"/srv/Users/jane", "/srv/Users/<redacted>"},
        {"/Userss/jane", "/Userss/jane"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(redactingUserPaths(c.input), c.expected) << c.input;
    }
}

TEST(DiagnosticRedaction, KeepsInvalidUtf8AndRedactsAroundIt) {
    const std::string input = "\xff\xfe /Users/jane/\xc3 end";
    EXPECT_EQ(redactingUserPaths(input), "\xff\xfe /Users/<redacted>/\xc3 end");
}

TEST(FeedbackSendOutcome, MapsStatusesToTheSheetsSentences) {
    using Outcome = UI::FeedbackSendOutcome;
    EXPECT_EQ(Outcome::forStatus(200).message(), "Thanks — your report was sent.");
    EXPECT_EQ(Outcome::forStatus(413).message(), "This report is too large to send. Email us instead.");
    EXPECT_EQ(Outcome::forStatus(429).message(),
              "Too many reports from this Mac right now. Try again in a minute, or email us.");
    const std::string generic =
        "Vellmora couldn't send the report. Check your internet connection, or email us instead.";
    EXPECT_EQ(Outcome::forStatus(500).message(), generic);
    EXPECT_EQ(Outcome::forStatus(400).message(), generic);
    EXPECT_EQ((Outcome{Outcome::Kind::networkFailure}).message(), generic);
    EXPECT_EQ((Outcome{Outcome::Kind::undecodableAnswer, 200}).message(), generic);
}

TEST(CrashReportTexts, SaysHowManyReportsWaitOnlyWhenThereAreSeveral) {
    EXPECT_EQ(UI::CrashReportTexts::waitingText(0), "");
    EXPECT_EQ(UI::CrashReportTexts::waitingText(1), "");
    EXPECT_EQ(UI::CrashReportTexts::waitingText(3), "3 crash reports are waiting. They'll be sent together.");
    EXPECT_EQ(UI::CrashReportTexts::couldNotKeepLogMessage("disk full"),
              "Could not keep a crash report: disk full");
    EXPECT_EQ(UI::FeedbackLimits::logBytesMax, 200u * 1024u);
    EXPECT_EQ(UI::FeedbackLimits::reportBytesMax, 256u * 1024u);
}
