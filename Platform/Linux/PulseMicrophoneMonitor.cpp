#include "Platform/Linux/PulseMicrophoneMonitor.h"

#include "Platform/ChildProcess.h"
#include "Support/Log.h"
#include "Support/MainLoop.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <charconv>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Platform {

namespace {

const Support::Logger log("microphone");

/// Longest subscribe line kept: pactl's are short, so anything longer is noise.
constexpr size_t maximumLine = 4096;

std::optional<std::int64_t> integerIn(const nlohmann::json& value) {
    if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    }
    if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        std::int64_t number = 0;
        auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error == std::errc() && end == text.data() + text.size()) {
            return number;
        }
    }
    return std::nullopt;
}

std::string stringIn(const nlohmann::json& object, const char* key) {
    auto it = object.find(key);
    if (it != object.end() && it->is_string()) {
        return it->get<std::string>();
    }
    return {};
}

std::string firstLine(std::string_view text) {
    while (!text.empty() && (text.front() == '\n' || text.front() == ' ')) {
        text.remove_prefix(1);
    }
    return std::string(text.substr(0, text.find('\n')));
}

} // namespace

PulseMicrophoneMonitor::PulseMicrophoneMonitor(std::filesystem::path pactl, ProcessRunner& runner,
                                               Support::Duration listTimeout)
    : pactl_(std::move(pactl)), runner_(runner), listTimeout_(listTimeout) {}

PulseMicrophoneMonitor::~PulseMicrophoneMonitor() {
    *alive_ = false;
    shutDown();
}

std::optional<std::vector<MicrophoneClient>>
PulseMicrophoneMonitor::parseSourceOutputs(std::string_view json) {
    auto document = nlohmann::json::parse(json, nullptr, false);
    if (document.is_discarded() || !document.is_array()) {
        return std::nullopt;
    }
    std::vector<MicrophoneClient> clients;
    for (const auto& entry : document) {
        if (!entry.is_object()) {
            continue;
        }
        MicrophoneClient client;
        if (auto index = entry.find("index"); index != entry.end()) {
            auto number = integerIn(*index);
            if (number && *number >= 0 && *number <= std::int64_t(UINT32_MAX)) {
                client.streamIndex = static_cast<std::uint32_t>(*number);
            }
        }
        if (auto corked = entry.find("corked"); corked != entry.end()) {
            client.corked = corked->is_boolean()
                                ? corked->get<bool>()
                                : (corked->is_string() && (*corked == "yes" || *corked == "true"));
        }
        if (auto properties = entry.find("properties");
            properties != entry.end() && properties->is_object()) {
            client.applicationName = stringIn(*properties, "application.name");
            client.processBinary = stringIn(*properties, "application.process.binary");
            if (auto slash = client.processBinary.rfind('/'); slash != std::string::npos) {
                client.processBinary.erase(0, slash + 1);
            }
            if (auto pid = properties->find("application.process.id"); pid != properties->end()) {
                auto number = integerIn(*pid);
                if (number && *number > 0 && *number <= INT32_MAX) {
                    client.processId = static_cast<int>(*number);
                }
            }
        }
        clients.push_back(std::move(client));
    }
    return clients;
}

bool PulseMicrophoneMonitor::isSourceOutputEvent(std::string_view line) {
    return line.starts_with("Event '") && line.find("' on source-output") != std::string_view::npos;
}

Support::Task<std::optional<std::string>> PulseMicrophoneMonitor::start() {
    if (state_ != State::idle) {
        co_return std::nullopt;
    }
    state_ = State::starting;
    auto alive = alive_;
    auto reason = co_await begin();
    if (!*alive) {
        co_return reason;
    }
    if (reason) {
        log.notice("No call detection: {}", *reason);
        shutDown();
    }
    co_return reason;
}

Support::Task<std::optional<std::string>> PulseMicrophoneMonitor::begin() {
    if (::access(pactl_.c_str(), X_OK) != 0) {
        co_return "Call detection is off: " + pactl_.string() + " cannot be run.";
    }
    // Subscribe first so that no change between the first list and the subscription is missed.
    try {
        subscriber_ = std::make_unique<ChildProcess>(ChildProcess::Options{
            .executable = pactl_.string(), .arguments = {"subscribe"}, .output = ChildProcess::Output::pipe});
    } catch (const std::system_error& e) {
        co_return std::string("Call detection is off: pactl could not be started (") + e.what() + ").";
    }
    outputWatch_ =
        Support::MainLoop::current().watchReadable(subscriber_->outputDescriptor(), [this] { readEvents(); });
    // Handled on the next turn: ending the watch destroys the process object that is telling of its exit.
    exitWatch_ = subscriber_->onExit([this, alive = alive_, generation = generation_](int status) {
        Support::MainLoop::current().post([this, alive, generation, status] {
            if (*alive && generation == generation_) {
                childEnded(status);
            }
        });
    });

    auto alive = alive_;
    auto first = co_await list();
    if (!*alive) {
        co_return std::nullopt;
    }
    if (state_ != State::starting) {
        co_return "Call detection is off: it was stopped while starting.";
    }
    if (!first.clients) {
        co_return "Call detection is off: " + first.failure;
    }
    if (endedWith_) {
        co_return "Call detection is off: pactl subscribe ended at once" +
            (lastMessage_.empty() ? std::string(".") : " (" + lastMessage_ + ").");
    }
    state_ = State::watching;
    clients_ = std::move(*first.clients);
    clientsChanged.emit(clients_);
    if (std::exchange(refreshAgain_, false)) {
        requestRefresh();
    }
    co_return std::nullopt;
}

Support::Task<PulseMicrophoneMonitor::Listing> PulseMicrophoneMonitor::list() {
    ProcessRequest request{.executable = pactl_.string(),
                           .arguments = {"--format=json", "list", "source-outputs"},
                           .timeout = listTimeout_};
    Listing listing;
    ProcessResult result;
    try {
        result = co_await runner_.run(request);
    } catch (const std::system_error& e) {
        listing.failure = std::string("pactl could not be started (") + e.what() + ").";
        co_return listing;
    }
    if (result.timedOut) {
        listing.failure = "the sound server did not answer pactl in time.";
    } else if (!result.succeeded()) {
        auto said = firstLine(result.standardError);
        listing.failure = "no PulseAudio or PipeWire server answered" +
                          (said.empty() ? std::string(".") : " (" + said + ").");
    } else if (!(listing.clients = parseSourceOutputs(result.standardOutput))) {
        listing.failure = "pactl did not list the recording streams as JSON (pactl 16 or later is needed).";
    }
    co_return listing;
}

void PulseMicrophoneMonitor::requestRefresh() {
    if (state_ == State::starting) {
        refreshAgain_ = true; // the first listing may have been taken before this change
        return;
    }
    if (state_ != State::watching) {
        return;
    }
    if (refreshing_) {
        refreshAgain_ = true;
        return;
    }
    refreshing_ = true;
    refreshTask_ = refreshWhileAsked();
}

Support::Task<void> PulseMicrophoneMonitor::refreshWhileAsked() {
    auto alive = alive_;
    do {
        refreshAgain_ = false;
        auto listing = co_await list();
        if (!*alive || state_ != State::watching) {
            co_return;
        }
        if (listing.clients) {
            publish(std::move(*listing.clients));
        } else {
            log.warning("The microphone streams could not be listed: {}", listing.failure);
        }
    } while (refreshAgain_);
    refreshing_ = false;
}

void PulseMicrophoneMonitor::readEvents() {
    char buffer[4096];
    for (;;) {
        ssize_t n = ::read(subscriber_->outputDescriptor(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            if (n == 0 || errno != EAGAIN) {
                outputWatch_.reset(); // the end is reported by the process's exit
            }
            break;
        }
        pending_.append(buffer, static_cast<size_t>(n));
    }
    bool changed = false;
    size_t start = 0;
    for (size_t newline; (newline = pending_.find('\n', start)) != std::string::npos; start = newline + 1) {
        std::string_view line(pending_.data() + start, newline - start);
        if (isSourceOutputEvent(line)) {
            changed = true;
        } else if (!line.starts_with("Event '") && !line.empty()) {
            lastMessage_ = std::string(line.substr(0, 200));
        }
    }
    pending_.erase(0, start);
    if (pending_.size() > maximumLine) {
        pending_.clear();
    }
    if (changed) {
        requestRefresh();
    }
}

void PulseMicrophoneMonitor::childEnded(int status) {
    if (outputWatch_.isActive()) {
        readEvents();
    }
    endedWith_ = status;
    if (state_ != State::watching) {
        return; // `begin` reports it
    }
    std::string reason = "Call detection stopped: pactl subscribe ended (" +
                         (lastMessage_.empty() ? "exit status " + std::to_string(status) : lastMessage_) +
                         ").";
    log.warning("{}", reason);
    shutDown();
    ended.emit(reason);
}

void PulseMicrophoneMonitor::publish(std::vector<MicrophoneClient> clients) {
    if (clients == clients_) {
        return;
    }
    clients_ = std::move(clients);
    clientsChanged.emit(clients_);
}

void PulseMicrophoneMonitor::stop() {
    shutDown();
}

void PulseMicrophoneMonitor::shutDown() {
    state_ = State::idle;
    ++generation_;
    if (refreshTask_.isValid()) {
        refreshTask_.cancel();
    }
    refreshTask_ = {};
    refreshing_ = false;
    refreshAgain_ = false;
    outputWatch_.reset();
    exitWatch_.reset();
    subscriber_.reset();
    pending_.clear();
    lastMessage_.clear();
    endedWith_.reset();
}

} // namespace Platform
