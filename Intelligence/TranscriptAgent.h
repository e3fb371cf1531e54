// The transcript agent answers questions over long transcripts part by part. When it had to leave parts
// out it says so in a note that starts with `leftOutPrefix`; text cleaning drops such notes from lists
// of action items.
#pragma once

#include <string_view>

namespace Intelligence {

struct TranscriptAgent {
    static constexpr std::string_view leftOutPrefix = "Left out: ";
};

} // namespace Intelligence
