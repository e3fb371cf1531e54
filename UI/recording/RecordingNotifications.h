// Names of the in-process notifications posted by the record/stop controls and observed by the host,
// which then calls the request gate.
#pragma once

namespace UI::RecordingNotifications {

inline constexpr const char* startRecordingRequested = "Vellmora.startRecordingRequested";
inline constexpr const char* stopRecordingRequested = "Vellmora.stopRecordingRequested";

} // namespace UI::RecordingNotifications
