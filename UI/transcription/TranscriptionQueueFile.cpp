#include "UI/transcription/TranscriptionQueueFile.h"

#include "Support/Files.h"
#include "Support/Log.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace UI {

namespace {
const Support::Logger log("transcription");
}

std::filesystem::path TranscriptionQueueFile::defaultPath() {
    return Support::Files::stateHome() / "transcription-queue.json";
}

TranscriptionQueueFile::Contents TranscriptionQueueFile::load() const {
    Contents contents;
    std::optional<std::string> text;
    try {
        text = Support::Files::readIfExists(path_);
    } catch (const std::exception& e) {
        log.error("The transcription queue {} cannot be read: {}", path_.string(), e.what());
        return contents;
    }
    if (!text) {
        return contents;
    }
    auto json = nlohmann::json::parse(*text, nullptr, false);
    if (!json.is_object()) {
        log.error("The transcription queue {} is damaged; starting an empty one", path_.string());
        return contents;
    }
    if (auto queue = json.find("queue"); queue != json.end() && queue->is_array()) {
        for (const auto& item : *queue) {
            if (!item.is_object() || !item.contains("id") || !item["id"].is_number_integer()) {
                continue;
            }
            Entry entry{item["id"].get<Database::RecordingId>(), item.value("force", false)};
            if (std::none_of(contents.queue.begin(), contents.queue.end(),
                             [&](const Entry& e) { return e.id == entry.id; })) {
                contents.queue.push_back(entry);
            }
        }
    }
    if (auto problem = json.find("problem"); problem != json.end() && problem->is_string()) {
        contents.problem = problem->get<std::string>();
    }
    return contents;
}

void TranscriptionQueueFile::save(const Contents& contents) const {
    nlohmann::json queue = nlohmann::json::array();
    for (const auto& e : contents.queue) {
        queue.push_back({{"id", e.id}, {"force", e.force}});
    }
    nlohmann::json json = {{"queue", queue}};
    if (contents.problem) {
        json["problem"] = *contents.problem;
    }
    Support::Files::writeAtomically(
        path_, json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

TranscriptionQueueFile::Contents TranscriptionQueueFile::add(Database::RecordingId id, bool force) const {
    auto contents = load();
    auto it = std::find_if(contents.queue.begin(), contents.queue.end(),
                           [id](const Entry& e) { return e.id == id; });
    if (it == contents.queue.end()) {
        contents.queue.push_back({id, force});
    } else {
        it->force = it->force || force;
    }
    save(contents);
    return contents;
}

TranscriptionQueueFile::Contents TranscriptionQueueFile::remove(Database::RecordingId id) const {
    auto contents = load();
    std::erase_if(contents.queue, [id](const Entry& e) { return e.id == id; });
    save(contents);
    return contents;
}

TranscriptionQueueFile::Contents
TranscriptionQueueFile::setProblem(const std::optional<std::string>& problem) const {
    auto contents = load();
    if (contents.problem != problem) {
        contents.problem = problem;
        save(contents);
    }
    return contents;
}

std::unique_ptr<TranscriptionQueueFile::Lock> TranscriptionQueueFile::tryLock() const {
    std::error_code ignored;
    std::filesystem::create_directories(path_.parent_path(), ignored);
    auto lockPath = path_;
    lockPath.replace_extension(".lock");
    Support::FileDescriptor fd(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd || ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        return nullptr;
    }
    return std::make_unique<Lock>(std::move(fd));
}

} // namespace UI
