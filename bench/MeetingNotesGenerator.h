// Realistic generated invitation notes for the link and calendar benchmarks: Zoom, Teams and Google Meet
// invitations with HTML, dial-in blocks, Outlook safe-links and Google redirects, mixed with ordinary
// meeting notes. Deterministic for a seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace Bench {

inline std::string percentEncoded(const std::string& s) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : s) {
        if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
            out.push_back(static_cast<char>(c));
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

inline std::string invitationNotes(std::mt19937& rng) {
    auto digits = [&](int n) {
        std::string s;
        for (int i = 0; i < n; ++i) {
            s.push_back(static_cast<char>('0' + rng() % 10));
        }
        return s;
    };
    auto letters = [&](int n) {
        std::string s;
        for (int i = 0; i < n; ++i) {
            s.push_back(static_cast<char>('a' + rng() % 26));
        }
        return s;
    };
    std::string agenda = "Agenda:\n- Review of last week's numbers (" + digits(2) + "% up)\n- Roadmap for Q" +
                         digits(1) + ", see the planning doc at https://docs.example.com/d/" + letters(20) +
                         "/edit\n- Hiring update\n\nPlease read the notes before the call.\n\n";
    switch (rng() % 5) {
    case 0: { // Zoom, plain text
        auto id = digits(11);
        return agenda +
               "────────────────────\nJane Roe is inviting you to a scheduled Zoom meeting.\n\nJoin Zoom "
               "Meeting\n"
               "https://us02web.zoom.us/j/" +
               id + "?pwd=" + letters(32) + "\n\nMeeting ID: " + id.substr(0, 3) + " " + id.substr(3, 4) +
               " " + id.substr(7) + "\nPasscode: " + digits(6) + "\n\n---\n\nOne tap mobile\n+16465588656,," +
               id + "#,,,,*" + digits(6) +
               "# US (New York)\n"
               "+13017158592,," +
               id + "#,,,,*" + digits(6) +
               "# US (Washington DC)\n\n---\n\nDial by your location\n"
               "• +1 646 558 8656 US (New York)\n• +1 301 715 8592 US (Washington DC)\n• +44 330 088 5830 "
               "United Kingdom\n"
               "Find your local number: https://us02web.zoom.us/u/k" +
               letters(8) + "\n";
    }
    case 1: { // Teams, HTML with safe-links
        auto thread = letters(40);
        auto join = "https://teams.microsoft.com/l/meetup-join/19%3ameeting_" + thread +
                    "%40thread.v2/0?context=%7b%22Tid%22%3a%22" + letters(8) + "%22%7d";
        auto safe = "https://nam12.safelinks.protection.outlook.com/?url=" + percentEncoded(join) +
                    "&amp;data=05%7C01%7C" + letters(30) + "&amp;reserved=0";
        return "<html><body><p>" + agenda +
               "</p><div style=\"width:100%\"><span style=\"font-size:24px\">"
               "Microsoft Teams meeting</span></div><div><b>Join on your computer, mobile app or room "
               "device</b>"
               "</div><div><a href=\"" +
               safe +
               "\" target=\"_blank\">Click here to join the meeting</a></div>"
               "<div>Meeting ID: " +
               digits(3) + " " + digits(3) + " " + digits(3) + " " + digits(3) +
               "<br/>Passcode: " + letters(6) +
               "</div><div><a href=\"https://aka.ms/JoinTeamsMeeting\">Download Teams"
               "</a> | <a href=\"https://www.microsoft.com/microsoft-teams/join-a-meeting\">Join on the "
               "web</a></div>"
               "<div>Or call in (audio only)</div><div><a href=\"tel:+12345678901,," +
               digits(9) + "#\">+1 234-567-8901,," + digits(9) +
               "#</a> United States</div><div>Phone Conference ID: " + digits(3) + " " + digits(3) + " " +
               digits(3) +
               "#</div><div><a href=\"https://teams.microsoft.com/"
               "meetingOptions/?organizerId=" +
               letters(36) +
               "\">Meeting options</a></div>"
               "________________________________________________________________________________</body></"
               "html>\n";
    }
    case 2: { // Google Meet, Google redirect
        auto code = letters(3) + "-" + letters(4) + "-" + letters(3);
        return agenda +
               "-::~:~::~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~::~:~::-\n"
               "Join with Google Meet: https://www.google.com/url?q=https%3A%2F%2Fmeet.google.com%2F" +
               code + "&sa=D&source=calendar&usg=" + letters(28) + "\nOr dial: (US) +1 347-" + digits(3) +
               "-" + digits(4) + " PIN: " + digits(9) + "#\nMore phone numbers: https://tel.meet/" + code +
               "?pin=" + digits(13) +
               "\n\nLearn more about Meet at: https://support.google.com/a/users/answer/9282720\n"
               "Please do not edit this "
               "section.\n-::~:~::~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:~:-\n";
    }
    case 3: // plain notes with a scheme-less Meet link
        return agenda + "Backup room: meet.google.com/" + letters(3) + "-" + letters(4) + "-" + letters(3) +
               " (if Zoom fails).\nBring your laptop.\n";
    default: // no meeting link at all
        return agenda +
               "Room 4.12, second floor. Coffee provided.\nwww.example.com/menu for lunch options.\n";
    }
}

inline std::vector<std::string> invitationCorpus(std::size_t count, std::uint32_t seed = 42) {
    std::mt19937 rng(seed);
    std::vector<std::string> out;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        out.push_back(invitationNotes(rng));
    }
    return out;
}

} // namespace Bench
