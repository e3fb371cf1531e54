#include "Intelligence/SlideImageStore.h"

#include "Support/Files.h"

#include <charconv>

namespace Intelligence {

namespace {

/// The recording id a folder name stands for: plain decimal digits only ("12", not "012x" or ".12").
std::optional<Database::RecordingId> recordingIdOf(const std::string& name) {
    if (name.empty() || name.size() > 19 || (name.size() > 1 && name[0] == '0')) {
        return std::nullopt;
    }
    Database::RecordingId id = 0;
    auto [end, ec] = std::from_chars(name.data(), name.data() + name.size(), id);
    if (ec != std::errc() || end != name.data() + name.size() || id < 0) {
        return std::nullopt;
    }
    return id;
}

} // namespace

SlideImageStore::SlideImageStore(std::filesystem::path rootDirectory) : root_(std::move(rootDirectory)) {}

std::filesystem::path SlideImageStore::defaultRootDirectory() {
    return Support::Files::dataHome() / "Slides";
}

std::filesystem::path SlideImageStore::screensDirectory(const std::filesystem::path& slidesRoot) {
    return slidesRoot.parent_path() / "Screens";
}

std::filesystem::path SlideImageStore::folder(Database::RecordingId recordingId) const {
    return root_ / std::to_string(recordingId);
}

std::filesystem::path SlideImageStore::imageURL(Database::RecordingId recordingId,
                                                const std::string& imageName) const {
    return folder(recordingId) / imageName;
}

void SlideImageStore::replaceImages(Database::RecordingId recordingId, const std::filesystem::path& staged) {
    std::filesystem::create_directories(root_);
    auto target = folder(recordingId);
    auto old = root_ / (".old-" + std::to_string(recordingId));
    std::filesystem::remove_all(old);
    if (std::filesystem::exists(target)) {
        std::filesystem::rename(target, old);
    }
    std::filesystem::rename(staged, target);
    std::filesystem::remove_all(old);
}

void SlideImageStore::deleteImages(Database::RecordingId recordingId) {
    std::filesystem::remove_all(folder(recordingId));
}

std::set<Database::RecordingId> SlideImageStore::recordingIds() const {
    std::set<Database::RecordingId> ids;
    std::error_code ec;
    if (!std::filesystem::is_directory(root_, ec)) {
        return ids;
    }
    for (const auto& entry : std::filesystem::directory_iterator(root_)) {
        if (!entry.is_directory()) {
            continue;
        }
        if (auto id = recordingIdOf(entry.path().filename().string())) {
            ids.insert(*id);
        }
    }
    return ids;
}

int SlideImageStore::sweepOrphans(const std::set<Database::RecordingId>& keeping) {
    int removed = 0;
    for (auto id : recordingIds()) {
        if (!keeping.count(id)) {
            std::filesystem::remove_all(folder(id));
            ++removed;
        }
    }
    return removed;
}

} // namespace Intelligence
