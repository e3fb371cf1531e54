// The lines the recording page shows after its level test: each track's peak and average level, what to
// check when a track heard nothing, and the all-clear when both did. Pure; the same sentences as
// `vellmora audio test`.
#pragma once

#include "AudioEngine/PulseCapture.h"

#include <string>
#include <vector>

namespace Desktop::LevelTestReport {

std::vector<std::string> lines(const std::vector<AudioEngine::PulseCapture::TrackReport>& tracks);

} // namespace Desktop::LevelTestReport
