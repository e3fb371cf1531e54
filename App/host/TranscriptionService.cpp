#include "App/host/TranscriptionService.h"

#include "App/host/SpeechEngines.h"
#include "Intelligence/TranscriptionSettings.h"
#include "Platform/Linux/ICalendarStore.h"
#include "UI/recording/ProcessingNotifications.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace App {

namespace {

/// The user as the attendee names know them: the account's full name (the first field of its GECOS entry)
/// and the first of the addresses set in "calendar.userEmails".
std::optional<UI::CalendarAttendeeHints::User> userIdentity(const Support::UserDefaults& defaults) {
    UI::CalendarAttendeeHints::User user;
    std::vector<char> buffer(16384);
    struct passwd entry {};
    struct passwd* result = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 && result &&
        result->pw_gecos) {
        std::string name(result->pw_gecos);
        name = name.substr(0, name.find(','));
        if (!name.empty()) {
            user.name = std::move(name);
        }
    }
    if (auto emails = Platform::ICalendarStore::optionsFromDefaults(defaults, "").userEmails;
        !emails.empty()) {
        user.email = emails.front();
    }
    if (!user.name && !user.email) {
        return std::nullopt;
    }
    return user;
}

} // namespace

TranscriptionService::TranscriptionService(Dependencies dependencies) : deps_(std::move(dependencies)) {
    queue_ = std::make_unique<UI::TranscriptionQueue>(UI::TranscriptionQueue::Dependencies{
        .database = deps_.database,
        .center = deps_.center,
        .scheduler = deps_.scheduler,
        .engine =
            [this] {
                auto settings = Intelligence::TranscriptionSettings::load(deps_.defaults);
                if (deps_.demo && settings.engine == Intelligence::TranscriptionEngine::none) {
                    settings.engine = Intelligence::TranscriptionEngine::simulated;
                }
                return SpeechEngines::make(settings, {deps_.http, deps_.scheduler, deps_.searchPath});
            },
        .language = [this] { return Intelligence::TranscriptionSettings::load(deps_.defaults).language; },
        .file = deps_.file,
        .user = [this] { return userIdentity(deps_.defaults); },
        .say = deps_.say,
    });
    transcribed_ = queue_->transcribed.connect([this](Database::RecordingId id, int segments) {
        if (deps_.say) {
            deps_.say(fmt::format("Transcribed #{}: {} segment{} in the library", id, segments,
                                  segments == 1 ? "" : "s"));
        }
    });
}

TranscriptionService::~TranscriptionService() {
    stop();
}

void TranscriptionService::start() {
    known_ = deps_.file.load().queue;
    const auto folder = deps_.file.path().parent_path();
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    watcher_ = std::make_unique<Platform::DirectoryWatcher>(
        [this, name = deps_.file.path().filename().string()](const auto& changes, bool overflowed) {
            if (overflowed || std::any_of(changes.begin(), changes.end(),
                                          [&](const auto& change) { return change.name == name; })) {
                queueFileChanged();
            }
        });
    watcher_->add(folder);
    queue_->start();
}

void TranscriptionService::queueFileChanged() {
    auto queued = deps_.file.load().queue;
    bool added = std::any_of(queued.begin(), queued.end(), [this](const auto& entry) {
        return std::none_of(known_.begin(), known_.end(),
                            [&](const auto& known) { return known.id == entry.id; });
    });
    known_ = std::move(queued);
    if (added) {
        queue_->start();
    }
}

void TranscriptionService::recordingSaved(Database::RecordingId id) {
    queue_->enqueue(id);
}

void TranscriptionService::stop() {
    watcher_.reset();
    queue_->stop();
}

} // namespace App
