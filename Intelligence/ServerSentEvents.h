// Server-sent events, as AI providers stream their answers: an incremental parser fed with the body in
// whatever pieces the network delivers (split anywhere, even inside a line ending or a UTF-8 sequence).
//
// Lines end with "\n", "\r\n" or "\r"; a line beginning with ":" is a comment; "field: value" loses one
// blank after the colon; "data" lines of one event are joined with "\n"; a blank line dispatches the event
// (events without data are dropped). At the end of the body, an event that was not closed by a blank line
// is still dispatched (some servers close the connection right after the last data line). A line longer
// than `maximumLineLength` throws `std::length_error` instead of growing without bound.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Intelligence {

struct ServerSentEvent {
    std::string event{};
    std::string data{};
    std::string id{};
    bool operator==(const ServerSentEvent&) const = default;
};

class ServerSentEventParser {
public:
    static constexpr std::size_t maximumLineLength = 8 * 1024 * 1024;

    /// The events completed by `chunk`, in order.
    std::vector<ServerSentEvent> feed(std::string_view chunk);
    /// The events still pending at the end of the body.
    std::vector<ServerSentEvent> finish();

private:
    void processLine(std::string_view line, std::vector<ServerSentEvent>& out);
    void dispatch(std::vector<ServerSentEvent>& out);

    std::string line_{};
    bool lastWasCR_ = false;
    std::string event_{};
    std::string data_{};
    std::string id_{};
    bool hasData_ = false;
};

} // namespace Intelligence
