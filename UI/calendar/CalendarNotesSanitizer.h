// Turns an event's notes into the short excerpt shown with a reminder: HTML and entities removed, links
// removed, the invitation block that calendar services append (dial-in numbers, passcodes, "Join Zoom
// Meeting", separator rules) dropped, blank-line runs collapsed, and at most 1000 characters. Pure; any text,
// invalid UTF-8 included, gives an excerpt or nothing, never an error.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace UI {

struct CalendarNotesSanitizer {
    static constexpr std::size_t maxLength = 1000;

    static std::optional<std::string> excerpt(const std::optional<std::string>& notes);
    static std::optional<std::string> excerpt(std::string_view notes);
    static std::optional<std::string> excerpt(const std::string& notes) {
        return excerpt(std::string_view(notes));
    }
    static std::optional<std::string> excerpt(const char* notes) { return excerpt(std::string_view(notes)); }
};

} // namespace UI
