#include "App/host/HostMenuDelegate.h"

#include "App/host/BackgroundServices.h"
#include "App/host/RecordingArchiver.h"
#include "App/host/RecordingController.h"
#include "App/host/TerminalStatusItem.h"
#include "Database/DatabaseManager.h"
#include "Support/BlockingWork.h"
#include "Support/Scheduler.h"
#include "UI/calendar/CalendarReminderCoordinator.h"
#include "UI/recording/MenuTextRenderer.h"

#include <fmt/format.h>

namespace App {

HostMenuDelegate::HostMenuDelegate(Dependencies dependencies) : deps_(std::move(dependencies)) {}

HostMenuDelegate::~HostMenuDelegate() {
    stop();
}

void HostMenuDelegate::showMenu() {
    deps_.menu.menuWillOpen();
    deps_.say(UI::MenuTextRenderer::render(deps_.statusItem.menu()));
    deps_.menu.menuDidClose();
}

void HostMenuDelegate::joinNext() {
    auto now = deps_.scheduler.now();
    for (const auto& meeting : deps_.reminders.upcoming.get()) {
        if (meeting.end > now) {
            deps_.say("Joining " + meeting.displayTitle() + " and recording it…");
            joinMeeting(meeting, true);
            return;
        }
    }
    deps_.say("No meeting coming up.");
}

void HostMenuDelegate::showLibrary() {
    if (!deps_.database) {
        deps_.say("The library is not available.");
        return;
    }
    listings_.remove_if([](const Support::Task<>& task) { return task.isDone(); });
    listings_.push_back(listLibrary());
}

Support::Task<> HostMenuDelegate::listLibrary() {
    auto* database = deps_.database;
    try {
        auto recordings =
            co_await Support::BlockingWork::run([database] { return database->allRecordings(); });
        std::string text = "Library:";
        for (const auto& r : recordings) {
            text += fmt::format("\n  #{}  {}  {}  ({:.0f} min)", r.id,
                                RecordingArchiver::localClock(r.startDate), r.title, r.duration / 60);
        }
        deps_.say(text);
    } catch (const std::exception& e) {
        deps_.say(std::string("The library cannot be read: ") + e.what());
    }
}

void HostMenuDelegate::stop() {
    for (auto& task : listings_) {
        task.cancel();
    }
    listings_.clear();
}

void HostMenuDelegate::startRecording() {
    deps_.controller.requestStart();
}

void HostMenuDelegate::stopRecording() {
    deps_.controller.requestStop();
}

void HostMenuDelegate::insertMarker() {
    deps_.say("Markers are not available in the terminal.");
}

void HostMenuDelegate::toggleAIChat() {
    if (windows_.openChat) {
        windows_.openChat();
        return;
    }
    deps_.say("Chat: run `vellmora chat QUESTION` in another terminal.");
}

void HostMenuDelegate::joinMeeting(const UI::CalendarMeeting& meeting, bool record) {
    UI::MeetingReminderResponse response;
    response.action = record ? UI::MeetingReminderResponse::Action::joinAndRecord
                             : UI::MeetingReminderResponse::Action::join;
    response.occurrenceKey = meeting.occurrenceKey;
    (void)deps_.reminders.handle(response);
}

void HostMenuDelegate::checkForUpdates() {
    deps_.services.checkForUpdatesNow();
}

} // namespace App
