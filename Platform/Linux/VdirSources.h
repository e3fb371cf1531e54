// The calendars that the user's calendar sources name, for the iCalendar store (which scans their files):
//   - a folder of .ics files in the vdir layout: one calendar, named by the folder's `displayname` file and
//     coloured by its `color` file. A folder that holds no .ics files but calendar folders (the account
//     folder of a sync tool) gives one calendar per subfolder (hidden ones left out). A folder with
//     `displayname` or `color` files was synced from a server: its kind is CalDAV, its account the parent
//     folder; otherwise it is a local calendar.
//   - a single .ics file: one local calendar, named by the file (the store uses its X-WR-CALNAME if any).
//   - an https:// (or webcal://) URL: a subscribed calendar read from its local copy.
// A calendar's id is its folder or file path (absolute, "~/" expanded), or its URL. Also says which folders
// to watch for changes. Reads folders only; safe on any thread.
#pragma once

#include "Platform/CalendarStore.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Platform {

struct VdirSources {
    struct Calendar {
        /// Everything but readability, which comes from scanning the files.
        CalendarDescriptor descriptor;
        /// A folder calendar's .ics files (sorted), or the one file of a file calendar or subscription.
        std::vector<std::filesystem::path> files;
        bool isFolder = false;
        /// A file calendar's or subscription's problem while its file does not exist.
        std::string missingProblem;
    };
    /// A subscription's local copy and the problem to show while there is none.
    using SubscriptionCopy =
        std::function<std::pair<std::filesystem::path, std::string>(const std::string& url)>;

    static std::vector<Calendar> calendars(const std::vector<std::string>& sources,
                                           const SubscriptionCopy& subscriptionCopy);

    struct WatchPlan {
        std::vector<std::filesystem::path> folders;
        /// Folders watched for single-file calendars → the names of those files.
        std::map<std::filesystem::path, std::set<std::string>> singleFiles;
    };
    static WatchPlan watchPlan(const std::vector<std::string>& sources);

    static std::string expandHome(const std::string& source);
    /// "#RRGGBB" from "#rrggbb", "#rrggbbaa" or "rrggbb"; empty for anything else.
    static std::string normalisedColor(std::string value);
};

} // namespace Platform
