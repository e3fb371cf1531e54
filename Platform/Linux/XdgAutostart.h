// Vellmora's "start at login" entry: one desktop entry, dev.tessadine.vellmora.desktop, in the XDG autostart
// folder ($XDG_CONFIG_HOME/autostart, else ~/.config/autostart) that every freedesktop session (GNOME, KDE,
// Xfce, ...) runs at login. Used by `vellmora autostart` and by the host's one-time offer.
//
// The entry starts `<executable> run --no-input`, the tray host. It is written atomically and only our own
// file is ever removed. A desktop's settings app turns an entry off by adding Hidden=true or
// X-GNOME-Autostart-enabled=false: such an entry counts as off (`turnedOff`), and `enable` writes it on
// again. An executable path with blanks, quotes or other reserved characters is quoted as desktop entries
// require; one with a control character cannot be written (std::invalid_argument).
#pragma once

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Platform::Linux {

class XdgAutostart {
public:
    static constexpr std::string_view entryName = "dev.tessadine.vellmora.desktop";
    enum class Status { off, on, turnedOff };

    explicit XdgAutostart(std::filesystem::path folder) : folder_(std::move(folder)) {}
    /// The autostart folder: $XDG_CONFIG_HOME/autostart when that is an absolute path, else
    /// $HOME/.config/autostart.
    static std::filesystem::path
    defaultFolder(const std::function<std::optional<std::string>(const char*)>& environment);

    std::filesystem::path entryPath() const { return folder_ / entryName; }
    /// Throws std::system_error when the entry exists but cannot be read.
    Status status() const;
    /// Writes the entry (creating the folder). Throws std::system_error, or std::invalid_argument for a
    /// path that cannot be written into a desktop entry.
    void enable(const std::filesystem::path& executable) const;
    /// Removes the entry; false when there was none. Throws std::system_error.
    bool disable() const;

    /// The entry's text for `executable`.
    static std::string entryText(const std::filesystem::path& executable);
    /// One argument of an Exec line: quoted when it holds a reserved character, '%' doubled, and escaped
    /// again as a desktop entry's string value.
    static std::string execArgument(std::string_view argument);
    /// What an entry's text says: on, or turned off by the desktop.
    static Status statusOf(std::string_view text);

private:
    std::filesystem::path folder_;
};

} // namespace Platform::Linux
