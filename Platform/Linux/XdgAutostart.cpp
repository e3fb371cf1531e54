#include "Platform/Linux/XdgAutostart.h"

#include "Support/Files.h"
#include "Support/Text.h"

#include <stdexcept>
#include <system_error>

namespace Platform::Linux {

namespace fs = std::filesystem;

fs::path
XdgAutostart::defaultFolder(const std::function<std::optional<std::string>(const char*)>& environment) {
    if (auto config = environment("XDG_CONFIG_HOME"); config && fs::path(*config).is_absolute()) {
        return fs::path(*config) / "autostart";
    }
    return fs::path(environment("HOME").value_or("/")) / ".config" / "autostart";
}

std::string XdgAutostart::execArgument(std::string_view argument) {
    static constexpr std::string_view reserved = " \t\"'\\><~|&;$*?#()`";
    bool quote = argument.empty();
    std::string quoted;
    for (char c : argument) {
        auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            throw std::invalid_argument("a path with a control character cannot start at login");
        }
        if (reserved.find(c) != std::string_view::npos) {
            quote = true;
        }
        if (c == '"' || c == '`' || c == '$' || c == '\\') {
            quoted += '\\';
        }
        quoted += c == '%' ? "%%" : std::string(1, c);
    }
    std::string text = quote ? "\"" + quoted + "\"" : quoted;
    // The Exec value is a string value too, whose own escape is the backslash.
    std::string escaped;
    for (char c : text) {
        escaped += c == '\\' ? "\\\\" : std::string(1, c);
    }
    return escaped;
}

std::string XdgAutostart::entryText(const fs::path& executable) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Vellmora\n"
           "Comment=Meeting reminders and recording, started at login\n"
           "Icon=dev.tessadine.vellmora\n"
           "Exec=" +
           execArgument(executable.string()) +
           " run --no-input\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

XdgAutostart::Status XdgAutostart::statusOf(std::string_view text) {
    std::size_t start = 0;
    bool inMainGroup = false;
    while (start < text.size()) {
        auto end = text.find('\n', start);
        auto line = text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? text.size() : end + 1;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (line.starts_with('[')) {
            inMainGroup = line == "[Desktop Entry]";
            continue;
        }
        auto equals = line.find('=');
        if (!inMainGroup || equals == std::string_view::npos) {
            continue;
        }
        auto key = Support::Text::trimmed(line.substr(0, equals));
        auto value = Support::Text::trimmed(line.substr(equals + 1));
        if ((key == "Hidden" && value == "true") ||
            (key == "X-GNOME-Autostart-enabled" && value == "false")) {
            return Status::turnedOff;
        }
    }
    return Status::on;
}

XdgAutostart::Status XdgAutostart::status() const {
    auto text = Support::Files::readIfExists(entryPath());
    return text ? statusOf(*text) : Status::off;
}

void XdgAutostart::enable(const fs::path& executable) const {
    Support::Files::writeAtomically(entryPath(), entryText(executable), 0644);
}

bool XdgAutostart::disable() const {
    std::error_code ec;
    bool removed = fs::remove(entryPath(), ec);
    if (ec) {
        throw std::system_error(ec, entryPath().string());
    }
    return removed;
}

} // namespace Platform::Linux
