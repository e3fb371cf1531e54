// The pictures kept from screen videos, one folder per recording named by its id, under a root folder:
// "Slides" (slides) or its sibling "Screens" (captured screens), in the data folder. The pictures outlive
// the video they came from. Folders whose name is not a recording id are never touched.
//
// Blocking (file system); call it from blocking work. `deleteImages` of a recording without pictures is a
// no-op; failures throw std::filesystem::filesystem_error.
#pragma once

#include "Database/DatabaseManager.h"

#include <filesystem>
#include <set>
#include <string>

namespace Intelligence {

class SlideImageStore {
public:
    explicit SlideImageStore(std::filesystem::path rootDirectory);

    /// `<data folder>/Slides`.
    static std::filesystem::path defaultRootDirectory();
    /// The sibling "Screens" folder of a slide root.
    static std::filesystem::path screensDirectory(const std::filesystem::path& slidesRoot);

    const std::filesystem::path& rootDirectory() const { return root_; }
    std::filesystem::path folder(Database::RecordingId recordingId) const;
    std::filesystem::path imageURL(Database::RecordingId recordingId, const std::string& imageName) const;

    /// Replaces the recording's folder by `staged` (a folder on the same file system) in one rename, so
    /// that readers see either the old pictures or the new ones.
    void replaceImages(Database::RecordingId recordingId, const std::filesystem::path& staged);
    void deleteImages(Database::RecordingId recordingId);
    /// Removes the folder of every recording not in `keeping`; returns how many it removed.
    int sweepOrphans(const std::set<Database::RecordingId>& keeping);
    /// Recordings that have a folder here.
    std::set<Database::RecordingId> recordingIds() const;

private:
    std::filesystem::path root_;
};

} // namespace Intelligence
