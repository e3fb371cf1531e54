// Frame search: finds moments by what was on screen (text read from video frames). The library's visual
// search stage asks it after the transcript moments are shown. Building the frame index is not part of this
// system; `NoFrameSearch` is the default and finds nothing.
#pragma once

#include "Intelligence/MomentHit.h"

#include <string>
#include <vector>

namespace Intelligence {

class FrameSearching {
public:
    virtual ~FrameSearching() = default;
    /// Screen hits for `query`, best first, at most `limit`. Blocking; may throw on a store failure.
    virtual std::vector<MomentHit> search(const std::string& query, int limit) = 0;
};

class NoFrameSearch final : public FrameSearching {
public:
    std::vector<MomentHit> search(const std::string&, int) override { return {}; }
};

} // namespace Intelligence
