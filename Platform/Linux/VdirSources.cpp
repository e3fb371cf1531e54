#include "Platform/Linux/VdirSources.h"

#include "Platform/Linux/CalendarSubscriptionDownloader.h"
#include "Support/Files.h"

#include <algorithm>
#include <cctype>
#include <fstream>

namespace fs = std::filesystem;

namespace Platform {

namespace {

std::optional<std::string> readSmallFile(const fs::path& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) {
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    while (!content.empty() && std::isspace(static_cast<unsigned char>(content.back()))) {
        content.pop_back();
    }
    return content;
}

VdirSources::Calendar folderCalendar(const fs::path& folder) {
    VdirSources::Calendar c;
    c.isFolder = true;
    auto& d = c.descriptor;
    d.id = folder.string();
    auto displayName = readSmallFile(folder / "displayname");
    auto color = readSmallFile(folder / "color");
    d.title = displayName && !displayName->empty() ? *displayName : folder.filename().string();
    d.colorHex = color ? VdirSources::normalisedColor(*color) : "";
    if (displayName || color) {
        d.sourceType = CalendarSourceType::calDAV;
        d.sourceID = folder.parent_path().string();
        d.sourceTitle = folder.parent_path().filename().string();
    } else {
        d.sourceType = CalendarSourceType::local;
        d.sourceID = "local";
        d.sourceTitle = "On this computer";
    }
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().extension() == ".ics" && it->is_regular_file(ec)) {
            c.files.push_back(it->path());
        }
    }
    std::sort(c.files.begin(), c.files.end());
    return c;
}

VdirSources::Calendar fileCalendar(const fs::path& path, const std::string& id, CalendarSourceType type,
                                   std::string sourceID, std::string sourceTitle, std::string title,
                                   std::string missingProblem) {
    VdirSources::Calendar c;
    c.descriptor.id = id;
    c.descriptor.sourceType = type;
    c.descriptor.sourceID = std::move(sourceID);
    c.descriptor.sourceTitle = std::move(sourceTitle);
    c.descriptor.title = std::move(title);
    c.files = {path};
    c.missingProblem = std::move(missingProblem);
    return c;
}

} // namespace

std::string VdirSources::expandHome(const std::string& source) {
    if (source == "~" || source.rfind("~/", 0) == 0) {
        return (Support::Files::homeFolder() / source.substr(std::min<std::size_t>(2, source.size())))
            .string();
    }
    return source;
}

std::string VdirSources::normalisedColor(std::string value) {
    value.erase(0, value.find_first_not_of(" \t\r\n"));
    if (!value.empty() && value[0] == '#') {
        value.erase(0, 1);
    }
    if ((value.size() != 6 && value.size() != 8) || !std::all_of(value.begin(), value.end(), [](char c) {
            return std::isxdigit(static_cast<unsigned char>(c));
        })) {
        return "";
    }
    std::string out = "#";
    for (std::size_t i = 0; i < 6; ++i) {
        out.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(value[i]))));
    }
    return out;
}

std::vector<VdirSources::Calendar> VdirSources::calendars(const std::vector<std::string>& sources,
                                                          const SubscriptionCopy& subscriptionCopy) {
    std::vector<Calendar> out;
    for (const auto& raw : sources) {
        auto source = expandHome(raw);
        if (source.empty()) {
            continue;
        }
        if (CalendarSubscriptionDownloader::isSubscription(source)) {
            auto [copy, missing] = subscriptionCopy(source);
            out.push_back(fileCalendar(copy, source, CalendarSourceType::subscribed, "subscriptions",
                                       "Subscriptions", CalendarSubscriptionDownloader::hostOf(source),
                                       std::move(missing)));
            continue;
        }
        fs::path path = fs::absolute(source).lexically_normal();
        std::error_code ec;
        if (fs::is_directory(path, ec)) {
            bool hasItems = false;
            std::vector<fs::path> subfolders;
            for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
                if (it->path().extension() == ".ics") {
                    hasItems = true;
                } else if (it->is_directory(ec) && it->path().filename().string().front() != '.') {
                    subfolders.push_back(it->path());
                }
            }
            if (hasItems || subfolders.empty()) {
                out.push_back(folderCalendar(path));
            } else {
                std::sort(subfolders.begin(), subfolders.end());
                for (const auto& sub : subfolders) {
                    out.push_back(folderCalendar(sub));
                }
            }
        } else {
            out.push_back(fileCalendar(path, path.string(), CalendarSourceType::local, "local",
                                       "On this computer", path.stem().string(),
                                       path.string() + ": no such file or folder"));
        }
    }
    return out;
}

VdirSources::WatchPlan VdirSources::watchPlan(const std::vector<std::string>& sources) {
    WatchPlan plan;
    for (const auto& raw : sources) {
        auto source = expandHome(raw);
        if (source.empty() || CalendarSubscriptionDownloader::isSubscription(source)) {
            continue;
        }
        fs::path path = fs::absolute(source).lexically_normal();
        std::error_code ec;
        if (fs::is_directory(path, ec)) {
            plan.folders.push_back(path);
            for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
                if (it->is_directory(ec)) {
                    plan.folders.push_back(it->path());
                }
            }
        } else {
            plan.singleFiles[path.parent_path()].insert(path.filename().string());
            plan.folders.push_back(path.parent_path());
        }
    }
    return plan;
}

} // namespace Platform
