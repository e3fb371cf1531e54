// The workspace on a freedesktop desktop: installed apps are desktop entries in the XDG data folders
// ($XDG_DATA_HOME/applications, each of $XDG_DATA_DIRS/applications, and the Flatpak export folders), the
// app that opens a link is the default handler of its "x-scheme-handler/<scheme>" type in the mimeapps.list
// files (else the first installed entry that declares the type), and links are opened through the XDG
// desktop portal's OpenURI over D-Bus when a portal answers, else with `xdg-open`.
//
// Bundle identifiers map to the desktop entry ids under which those apps install on Linux (native package,
// Flatpak, or the community client where the vendor has none); the first installed one wins:
//
//   bundle identifier            desktop entry ids
//   us.zoom.xos                  Zoom.desktop, us.zoom.Zoom.desktop, zoom.desktop
//   com.microsoft.teams2         teams-for-linux.desktop, com.github.IsmaelMartinez.teams_for_linux.desktop,
//                                teams.desktop, teams-insiders.desktop
//   com.tinyspeck.slackmacgap    slack.desktop, com.slack.Slack.desktop
//   com.hnc.Discord              discord.desktop, com.discordapp.Discord.desktop
//   com.cisco.webexmeetingsapp   webex.desktop, Webex.desktop
//   com.skype.skype              skypeforlinux.desktop, com.skype.Client.desktop
//   net.whatsapp.WhatsApp        whatsapp-for-linux.desktop, com.github.eneshecan.WhatsAppForLinux.desktop,
//                                whatsdesk.desktop
//   com.apple.FaceTime           (none: never installed)
//
// Any other identifier is taken as a desktop entry id itself ("org.mozilla.firefox" finds
// org.mozilla.firefox.desktop). `appForURL` answers with the bundle identifier when the handler is one of the
// entries above, else with the handler's desktop entry id without ".desktop" ("firefox",
// "org.gnome.Epiphany").
#pragma once

#include "Platform/Workspace.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

class LinuxWorkspace final : public Workspace {
public:
    LinuxWorkspace() = default;

    bool isAppInstalled(const std::string& bundleID) const override;
    std::optional<std::string> appForURL(const Support::Url& url) const override;
    Support::Task<bool> open(const Support::Url& url) override;
    Support::Task<bool> openApp(const std::string& bundleID) override;

    /// The desktop entry ids of a bundle identifier, in order of preference.
    static std::vector<std::string> desktopEntryIDs(const std::string& bundleID);
    /// The bundle identifier of a desktop entry id, or the id without ".desktop" when it maps to none.
    static std::string bundleIDForDesktopEntry(const std::string& desktopID);
    /// The path of an installed desktop entry, searched in the XDG data folders (first match wins).
    static std::optional<std::filesystem::path> findDesktopEntry(const std::string& desktopID);
    /// The default handler's desktop entry id for a MIME type ("x-scheme-handler/zoommtg").
    static std::optional<std::string> defaultHandler(const std::string& mimeType);
};

} // namespace Platform
