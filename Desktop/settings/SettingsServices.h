// What the settings window works on: the user defaults and notification centre every setting goes through,
// and the models and platform seams of its pages. The host (or `DesktopWindows`) gives the live ones; tests
// give fakes with the same shape. Every function may be empty: its page then says the part is not there.
#pragma once

#include "AudioEngine/PulseCapture.h"
#include "AudioEngine/PulseDevices.h"
#include "Desktop/settings/CalendarSettingsModel.h"
#include "Intelligence/AIProviderSettings.h"
#include "Support/NotificationCenter.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"
#include "UI/ai/AIServiceObservable.h"
#include "UI/aiapps/AIAppsSettingsModel.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Desktop {

class SpeechModelDownloads;

struct SettingsServices {
    Support::UserDefaults& defaults;
    Support::NotificationCenter& center;
    /// The calendars reminders read.
    CalendarSettingsModel::CalendarSource calendars;
    /// Blocking (run on the blocking pool): the sound server's devices; throws with the reason.
    std::function<AudioEngine::PulseDevices()> devices;
    /// Records a few seconds of both tracks and reports their levels; throws with the reason.
    std::function<Support::Task<std::vector<AudioEngine::PulseCapture::TrackReport>>()> levelTest;
    SpeechModelDownloads& speechModels;
    UI::AIServiceObservable& ai;
    /// Where the provider keys are kept.
    std::filesystem::path keyFile;
    UI::AIAppsSettingsModel& aiApps;
    std::string version;
    /// "Check Now" on the updates page.
    std::function<void()> checkForUpdates;
};

} // namespace Desktop
