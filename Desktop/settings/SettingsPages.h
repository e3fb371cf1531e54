// The settings window's pages, in the order of its list, with their titles, and which page "Set Up
// Vellmora..." opens: the first one that still needs the user (no calendar read or reminders off, no speech
// engine, no AI provider), else the first page. Pure; used by `SettingsWindow`.
#pragma once

#include <array>
#include <string_view>

namespace Desktop {

struct SettingsPages {
    enum class Page { calendars, recording, transcription, ai, hotKeys, aiApps, video, updates };
    static constexpr std::array<Page, 8> all = {Page::calendars, Page::recording, Page::transcription,
                                                Page::ai,        Page::hotKeys,   Page::aiApps,
                                                Page::video,     Page::updates};

    /// "Calendars", "Recording", "Transcription", "AI", "Hot Keys", "AI Apps", "Screen Video", "Updates".
    static std::string_view title(Page page);

    /// What the setup looks at.
    struct Facts {
        bool hasCalendars = false;
        bool remindersEnabled = false;
        bool hasSpeechEngine = false;
        bool hasAIProvider = false;
    };
    static Page firstNeedingAttention(const Facts& facts);
};

} // namespace Desktop
