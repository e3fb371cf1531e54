#include "Intelligence/ServerSentEvents.h"

#include <stdexcept>

namespace Intelligence {

std::vector<ServerSentEvent> ServerSentEventParser::feed(std::string_view chunk) {
    std::vector<ServerSentEvent> out;
    size_t start = 0;
    for (size_t i = 0; i < chunk.size(); ++i) {
        const char c = chunk[i];
        if (c != '\n' && c != '\r') {
            lastWasCR_ = false;
            continue;
        }
        // "\r\n" split across two pieces: the "\n" closes nothing new.
        if (c == '\n' && lastWasCR_ && i == start && line_.empty()) {
            lastWasCR_ = false;
            start = i + 1;
            continue;
        }
        line_.append(chunk.substr(start, i - start));
        processLine(line_, out);
        line_.clear();
        lastWasCR_ = c == '\r';
        if (c == '\r' && i + 1 < chunk.size() && chunk[i + 1] == '\n') {
            ++i;
            lastWasCR_ = false;
        }
        start = i + 1;
    }
    if (start < chunk.size()) {
        if (line_.size() + (chunk.size() - start) > maximumLineLength) {
            line_.clear();
            throw std::length_error("The AI server sent a line that is too long.");
        }
        line_.append(chunk.substr(start));
    }
    return out;
}

std::vector<ServerSentEvent> ServerSentEventParser::finish() {
    std::vector<ServerSentEvent> out;
    if (!line_.empty()) {
        processLine(line_, out);
        line_.clear();
    }
    dispatch(out);
    lastWasCR_ = false;
    return out;
}

void ServerSentEventParser::processLine(std::string_view line, std::vector<ServerSentEvent>& out) {
    if (line.empty()) {
        dispatch(out);
        return;
    }
    if (line.front() == ':') {
        return;
    }
    std::string_view field = line;
    std::string_view value;
    if (auto colon = line.find(':'); colon != std::string_view::npos) {
        field = line.substr(0, colon);
        value = line.substr(colon + 1);
        if (!value.empty() && value.front() == ' ') {
            value.remove_prefix(1);
        }
    }
    if (field == "data") {
        if (hasData_) {
            data_ += '\n';
        }
        data_.append(value);
        hasData_ = true;
    } else if (field == "event") {
        event_ = std::string(value);
    } else if (field == "id") {
        id_ = std::string(value);
    }
}

void ServerSentEventParser::dispatch(std::vector<ServerSentEvent>& out) {
    if (hasData_) {
        out.push_back({event_, std::move(data_), id_});
    }
    event_.clear();
    data_.clear();
    hasData_ = false;
}

} // namespace Intelligence
