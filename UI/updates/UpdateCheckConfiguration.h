// The constants of the update check. `standard` is what the application uses; tests build their own.
#pragma once

#include "Support/Time.h"

#include <cstddef>

namespace UI {

struct UpdateCheckConfiguration {
    /// Wait after launch before the first automatic check.
    Support::Duration firstCheckDelay;
    /// Time between automatic checks.
    Support::Duration interval;
    /// Upper bound of the random delay added to each scheduled check.
    Support::Duration maxJitter;
    /// A release younger than this (by its release date) is not offered yet.
    Support::Duration minimumReleaseAge;
    /// How long "later" hides the offer.
    Support::Duration snoozeDuration;
    /// Time-out of the lookup request.
    Support::Duration requestTimeout;
    /// Most characters of release notes shown.
    std::size_t releaseNotesLimit;

    static const UpdateCheckConfiguration standard;
};

inline const UpdateCheckConfiguration UpdateCheckConfiguration::standard{
    .firstCheckDelay = Support::seconds(20),
    .interval = Support::seconds(86'400),
    .maxJitter = Support::seconds(3'600),
    .minimumReleaseAge = Support::seconds(86'400),
    .snoozeDuration = Support::seconds(259'200),
    .requestTimeout = Support::seconds(15),
    .releaseNotesLimit = 600,
};

} // namespace UI
