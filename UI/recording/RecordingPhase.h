// The application-wide recording phase and the events that move it. `recording` carries when capture
// started; `saving` carries when the stop was asked for, which is deliberately not reported as `startedAt`.
// Two phases (or events) are equal when their kinds are and, for the kinds with a date, their dates are.
#pragma once

#include "Support/Time.h"

#include <optional>
#include <string>

namespace UI {

struct RecordingPhase {
    enum class Kind { recording, saving, idle, starting };

    Kind kind = Kind::idle;
    Support::Date date{}; // recording: capture start; saving: stop request; otherwise unused

    static RecordingPhase idle() { return {Kind::idle, {}}; }
    static RecordingPhase starting() { return {Kind::starting, {}}; }
    static RecordingPhase recording(Support::Date startedAt) { return {Kind::recording, startedAt}; }
    static RecordingPhase saving(Support::Date since) { return {Kind::saving, since}; }

    bool isRecording() const { return kind == Kind::recording; }
    bool isSaving() const { return kind == Kind::saving; }
    bool isIdle() const { return kind == Kind::idle; }
    bool isStarting() const { return kind == Kind::starting; }
    std::optional<Support::Date> startedAt() const {
        return kind == Kind::recording ? std::optional<Support::Date>(date) : std::nullopt;
    }

    friend bool operator==(const RecordingPhase& a, const RecordingPhase& b) {
        if (a.kind != b.kind) {
            return false;
        }
        return (a.kind == Kind::recording || a.kind == Kind::saving) ? a.date == b.date : true;
    }

    /// "idle", "starting", "recording", "saving" (logs and JSON).
    std::string name() const;
};

struct RecordingPhaseEvent {
    enum class Kind { captureStarted, stopRequested, startRequested, startFailed, saveFinished, reset };

    Kind kind = Kind::reset;
    Support::Date date{}; // captureStarted and stopRequested only

    static RecordingPhaseEvent captureStarted(Support::Date at) { return {Kind::captureStarted, at}; }
    static RecordingPhaseEvent stopRequested(Support::Date at) { return {Kind::stopRequested, at}; }
    static RecordingPhaseEvent startRequested() { return {Kind::startRequested, {}}; }
    static RecordingPhaseEvent startFailed() { return {Kind::startFailed, {}}; }
    static RecordingPhaseEvent saveFinished() { return {Kind::saveFinished, {}}; }
    static RecordingPhaseEvent reset() { return {Kind::reset, {}}; }

    friend bool operator==(const RecordingPhaseEvent& a, const RecordingPhaseEvent& b) {
        if (a.kind != b.kind) {
            return false;
        }
        return (a.kind == Kind::captureStarted || a.kind == Kind::stopRequested) ? a.date == b.date : true;
    }
};

} // namespace UI
