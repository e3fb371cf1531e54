#include "Desktop/settings/SettingsPages.h"

namespace Desktop {

std::string_view SettingsPages::title(Page page) {
    switch (page) {
    case Page::calendars:
        return "Calendars";
    case Page::recording:
        return "Recording";
    case Page::transcription:
        return "Transcription";
    case Page::ai:
        return "AI";
    case Page::hotKeys:
        return "Hot Keys";
    case Page::aiApps:
        return "AI Apps";
    case Page::video:
        return "Screen Video";
    case Page::updates:
        return "Updates";
    }
    return "";
}

SettingsPages::Page SettingsPages::firstNeedingAttention(const Facts& facts) {
    if (!facts.hasCalendars || !facts.remindersEnabled) {
        return Page::calendars;
    }
    if (!facts.hasSpeechEngine) {
        return Page::transcription;
    }
    if (!facts.hasAIProvider) {
        return Page::ai;
    }
    return Page::calendars;
}

} // namespace Desktop
