#include "AudioEngine/OggOpusRepair.h"

#include <ogg/ogg.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace AudioEngine {

namespace {

struct Page {
    std::string header;
    std::string body;
    std::int64_t granule = -1;
    bool endOfStream = false;
};

/// The pre-skip of an OpusHead packet (samples at 48 kHz the decoder drops at the start).
std::optional<std::uint16_t> preSkipIn(std::string_view packet) {
    if (packet.size() < 19 || packet.substr(0, 8) != "OpusHead") {
        return std::nullopt;
    }
    return std::uint16_t(std::uint8_t(packet[10]) | (std::uint8_t(packet[11]) << 8));
}

/// Cuts the lacing after the last packet that ends on the page (a value below 255 ends a packet).
void dropUnfinishedPacket(Page& page) {
    auto segments = std::uint8_t(page.header[26]);
    int lastEnd = -1;
    size_t bodyLength = 0, kept = 0;
    for (int i = 0; i < segments; ++i) {
        auto lacing = std::uint8_t(page.header[27 + size_t(i)]);
        bodyLength += lacing;
        if (lacing < 255) {
            lastEnd = i;
            kept = bodyLength;
        }
    }
    page.header.resize(27 + size_t(lastEnd + 1));
    page.header[26] = char(lastEnd + 1);
    page.body.resize(kept);
}

} // namespace

std::optional<OggOpusRepair::Result> OggOpusRepair::repair(std::string_view bytes) {
    ogg_sync_state sync;
    ogg_sync_init(&sync);
    std::vector<Page> pages;
    std::optional<int> serial;
    size_t at = 0;
    constexpr size_t chunk = 1 << 16;
    for (;;) {
        ogg_page page;
        int got = ogg_sync_pageout(&sync, &page);
        if (got == 1) {
            if (!serial) {
                if (!ogg_page_bos(&page)) {
                    continue;
                }
                serial = ogg_page_serialno(&page);
            }
            if (ogg_page_serialno(&page) != *serial) {
                continue;
            }
            pages.push_back(
                Page{std::string(reinterpret_cast<const char*>(page.header), size_t(page.header_len)),
                     std::string(reinterpret_cast<const char*>(page.body), size_t(page.body_len)),
                     ogg_page_granulepos(&page), ogg_page_eos(&page) != 0});
            if (pages.back().endOfStream) {
                break;
            }
            continue;
        }
        if (got < 0) {
            continue; // skipped garbage; try again
        }
        if (at >= bytes.size()) {
            break;
        }
        size_t n = std::min(chunk, bytes.size() - at);
        char* buffer = ogg_sync_buffer(&sync, long(n));
        std::memcpy(buffer, bytes.data() + at, n);
        ogg_sync_wrote(&sync, long(n));
        at += n;
    }
    ogg_sync_clear(&sync);

    // The identification header is alone on the first page; the comment header follows it.
    if (pages.size() < 3 || pages[0].body.size() < 19) {
        return std::nullopt;
    }
    auto preSkip = preSkipIn(pages[0].body);
    if (!preSkip) {
        return std::nullopt;
    }
    // The first page after the comment header's own: libopusenc ends the comment header on a page of its
    // own, which carries granule position 0.
    size_t firstAudio = 1;
    while (firstAudio < pages.size() && pages[firstAudio].granule != 0) {
        ++firstAudio;
    }
    ++firstAudio;
    size_t last = pages.size();
    while (last > firstAudio && pages[last - 1].granule < 0) {
        --last;
    }
    if (last <= firstAudio) {
        return std::nullopt;
    }
    pages.resize(last);
    Result result;
    result.wasComplete = pages.back().endOfStream && at >= bytes.size();
    auto& end = pages.back();
    if (!end.endOfStream) {
        dropUnfinishedPacket(end);
        end.header[5] = char(std::uint8_t(end.header[5]) | 0x04);
    }
    ogg_page rewritten{reinterpret_cast<unsigned char*>(end.header.data()), long(end.header.size()),
                       reinterpret_cast<unsigned char*>(end.body.data()), long(end.body.size())};
    ogg_page_checksum_set(&rewritten);
    std::int64_t samples = std::max<std::int64_t>(0, end.granule - *preSkip);
    result.seconds = double(samples) / 48000.0;
    for (const auto& page : pages) {
        result.bytes += page.header;
        result.bytes += page.body;
    }
    if (result.wasComplete) {
        result.bytes.assign(bytes);
    }
    return result;
}

} // namespace AudioEngine
