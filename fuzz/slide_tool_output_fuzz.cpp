// What ffmpeg and tesseract print, read by the slides job: any bytes must give times that are finite and
// not negative, and text that is valid UTF-8.
#include "Intelligence/SlideToolOutput.h"
#include "Support/Text.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    for (double t : Intelligence::SlideToolOutput::frameTimes(text)) {
        if (!std::isfinite(t) || t < 0) {
            std::abort();
        }
    }
    if (!Support::Text::isValidUTF8(Intelligence::SlideToolOutput::cleanedText(text))) {
        std::abort();
    }
    (void)Intelligence::SlideToolOutput::lastLine(text);
    return 0;
}
