// The calendars the desktop calendar tests read, made once per process through libecal: "Work" (a single
// meeting with a room, a weekly series with a moved occurrence, a cancelled one and an EXDATE, an all-day
// event, a declined invitation, a link only in the HTML description) and "Home" (one meeting, the calendar
// the tests exclude). The user's address, me@example.com, is a mail identity registered with EDS.
#pragma once

#include "Platform/Linux/EdsTestDesktop.h"

#include <string>

namespace EdsTest {

inline std::string single(const std::string& uid, const std::string& title, const std::string& start,
                          const std::string& end, const std::string& extra = "") {
    return "BEGIN:VEVENT\nUID:" + uid + "\nDTSTAMP:20261101T000000Z\nDTSTART:" + start + "\nDTEND:" + end +
           "\nSUMMARY:" + title + "\n" + extra + "END:VEVENT\n";
}

struct Calendars {
    std::string workID;
    std::string homeID;

    static Calendars make(Desktop& desktop) {
        desktop.addIdentity("me@example.com");
        ESource* work = desktop.createLocalCalendar("Work", "#3465a4");
        ESource* home = desktop.createLocalCalendar("Home", "#73d216");
        Calendars c{e_source_get_uid(work), e_source_get_uid(home)};
        ECalClient* w = desktop.connect(work);
        Desktop::create(w, single("review", "Design review", "20261202T140000Z", "20261202T143000Z",
                                  "URL:https://zoom.us/j/1234567890\n"
                                  "ORGANIZER;CN=Lena:mailto:lena@example.com\n"
                                  "ATTENDEE;CN=Me;PARTSTAT=ACCEPTED:mailto:me@example.com\n"
                                  "ATTENDEE;CN=Room 4;CUTYPE=ROOM:mailto:room4@example.com\n"));
        Desktop::create(
            w, "BEGIN:VEVENT\nUID:standup-series\nDTSTAMP:20261101T000000Z\n"
               "DTSTART;TZID=Europe/Berlin:20261201T093000\nDTEND;TZID=Europe/Berlin:20261201T094500\n"
               "RRULE:FREQ=WEEKLY;COUNT=5\nEXDATE;TZID=Europe/Berlin:20261215T093000\n"
               "SUMMARY:Standup\nLOCATION:https://meet.google.com/abc-defg-hij\nEND:VEVENT\n");
        Desktop::modify(
            w,
            "BEGIN:VEVENT\nUID:standup-series\nDTSTAMP:20261101T000000Z\n"
            "RECURRENCE-ID;TZID=Europe/Berlin:20261208T093000\n"
            "DTSTART;TZID=Europe/Berlin:20261208T110000\nDTEND;TZID=Europe/Berlin:20261208T111500\n"
            "SUMMARY:Standup\nLOCATION:https://meet.google.com/abc-defg-hij\nEND:VEVENT\n",
            E_CAL_OBJ_MOD_THIS);
        Desktop::modify(
            w,
            "BEGIN:VEVENT\nUID:standup-series\nDTSTAMP:20261101T000000Z\n"
            "RECURRENCE-ID;TZID=Europe/Berlin:20261222T093000\n"
            "DTSTART;TZID=Europe/Berlin:20261222T093000\nDTEND;TZID=Europe/Berlin:20261222T094500\n"
            "SUMMARY:Standup\nSTATUS:CANCELLED\nLOCATION:https://meet.google.com/abc-defg-hij\n"
            "END:VEVENT\n",
            E_CAL_OBJ_MOD_THIS);
        Desktop::create(
            w, "BEGIN:VEVENT\nUID:holiday\nDTSTAMP:20261101T000000Z\nDTSTART;VALUE=DATE:20261203\n"
               "DTEND;VALUE=DATE:20261204\nSUMMARY:Holiday\nURL:https://zoom.us/j/5555555555\nEND:VEVENT\n");
        Desktop::create(w, single("pitch", "Vendor pitch", "20261203T150000Z", "20261203T160000Z",
                                  "URL:https://teams.microsoft.com/l/meetup-join/19%3ameeting_abc/0\n"
                                  "ORGANIZER;CN=Vendor:mailto:sales@vendor.example\n"
                                  "ATTENDEE;CN=Me;PARTSTAT=DECLINED:mailto:ME@example.com\n"));
        Desktop::create(w, single("board", "Board sync", "20261204T100000Z", "20261204T110000Z",
                                  "DESCRIPTION:See the invitation.\n"
                                  "CONFERENCE;VALUE=URI;FEATURE=AUDIO:tel:+15551234\n"

                                  "X-ALT-DESC;FMTTYPE=text/html:<p>Join <a href=\"https://meet.google.com/"
                                  "xyz-abcd-efg\">here</a></p>\n"));
        ECalClient* h = desktop.connect(home);
        Desktop::create(h, single("dentist", "Dentist call", "20261202T160000Z", "20261202T163000Z",
                                  "URL:https://zoom.us/j/9876543210\n"));
        g_object_unref(w);
        g_object_unref(h);
        g_object_unref(work);
        g_object_unref(home);
        return c;
    }
};

} // namespace EdsTest
