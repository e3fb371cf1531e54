// One recording with the search moments found in it, as the library's sidebar shows them during a search.
// Identified by the recording's id. The audio lead time travels with the group to whoever opens a hit, so
// that playback starts at the right place in the audio file.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/MomentHit.h"

#include <optional>
#include <vector>

namespace UI {

struct SidebarMomentGroup {
    Database::DatabaseManager::Recording recording;
    /// In search rank order.
    std::vector<Intelligence::MomentHit> hits;
    /// Seconds; nothing when unknown.
    std::optional<double> audioLeadTime;

    Database::RecordingId id() const { return recording.id; }
    bool operator==(const SidebarMomentGroup&) const = default;
};

} // namespace UI
