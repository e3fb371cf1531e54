#include "Support/Log.h"

#include <systemd/sd-journal.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <syslog.h>

namespace Support {

namespace {

struct Sinks {
    std::mutex mutex;
    int captureDepth = 0;
    std::vector<LogRecord> captured;
    bool journalAllowed = true;
    std::function<void(std::string_view)> stderrSink;
};
Sinks& sinks() {
    static Sinks s;
    return s;
}

bool journalAvailable() {
    static const bool available = [] {
        struct stat st {};
        return ::stat("/run/systemd/journal/socket", &st) == 0;
    }();
    return available;
}

std::optional<LogLevel> levelFromEnvironment() {
    const char* v = std::getenv("VELLMORA_LOG_LEVEL");
    if (!v) {
        return std::nullopt;
    }
    std::string_view s(v);
    if (s == "debug") {
        return LogLevel::debug;
    }
    if (s == "info") {
        return LogLevel::info;
    }
    if (s == "notice") {
        return LogLevel::notice;
    }
    if (s == "warning" || s == "warn") {
        return LogLevel::warning;
    }
    if (s == "error") {
        return LogLevel::error;
    }
    return std::nullopt;
}

bool useJournal() {
    std::lock_guard lock(sinks().mutex);
    return sinks().journalAllowed && journalAvailable();
}

const char* levelName(LogLevel l) {
    switch (l) {
    case LogLevel::debug:
        return "debug";
    case LogLevel::info:
        return "info";
    case LogLevel::notice:
        return "notice";
    case LogLevel::warning:
        return "warning";
    case LogLevel::error:
        return "error";
    }
    return "info";
}

int syslogPriority(LogLevel l) {
    switch (l) {
    case LogLevel::debug:
        return LOG_DEBUG;
    case LogLevel::info:
        return LOG_INFO;
    case LogLevel::notice:
        return LOG_NOTICE;
    case LogLevel::warning:
        return LOG_WARNING;
    case LogLevel::error:
        return LOG_ERR;
    }
    return LOG_INFO;
}

} // namespace

bool Logger::enabled(LogLevel level) const {
    {
        std::lock_guard lock(sinks().mutex);
        if (sinks().captureDepth > 0) {
            return true;
        }
    }
    static const std::optional<LogLevel> fromEnv = levelFromEnvironment();
    LogLevel threshold = fromEnv.value_or(useJournal() ? LogLevel::info : LogLevel::warning);
    return level >= threshold;
}

void Logger::write(LogLevel level, const std::string& message) const {
    {
        std::lock_guard lock(sinks().mutex);
        if (sinks().captureDepth > 0) {
            sinks().captured.push_back({level, category_, message});
            return;
        }
    }
    if (useJournal()) {
        sd_journal_send("MESSAGE=%s", message.c_str(), "PRIORITY=%d", syslogPriority(level), "SUBSYSTEM=%s",
                        std::string(logSubsystem).c_str(), "CATEGORY=%s", category_.c_str(),
                        "SYSLOG_IDENTIFIER=vellmora", nullptr);
        return;
    }
    std::string line = fmt::format("vellmora[{}] {}: {}\n", category_, levelName(level), message);
    std::lock_guard lock(sinks().mutex);
    if (sinks().stderrSink) {
        sinks().stderrSink(line);
    } else {
        std::cerr << line << std::flush;
    }
}

LogCapture::LogCapture() {
    std::lock_guard lock(sinks().mutex);
    if (sinks().captureDepth++ == 0) {
        sinks().captured.clear();
    }
}

LogCapture::~LogCapture() {
    std::lock_guard lock(sinks().mutex);
    --sinks().captureDepth;
}

std::vector<LogRecord> LogCapture::records() const {
    std::lock_guard lock(sinks().mutex);
    return sinks().captured;
}

std::vector<std::string> LogCapture::messages(std::string_view category) const {
    std::vector<std::string> out;
    for (auto& r : records()) {
        if (category.empty() || r.category == category) {
            out.push_back(r.message);
        }
    }
    return out;
}

bool LogCapture::contains(std::string_view fragment) const {
    for (auto& r : records()) {
        if (r.message.find(fragment) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void LogCapture::clear() {
    std::lock_guard lock(sinks().mutex);
    sinks().captured.clear();
}

void setLogToJournal(bool enabled) {
    std::lock_guard lock(sinks().mutex);
    sinks().journalAllowed = enabled;
}

void setStderrSink(std::function<void(std::string_view line)> sink) {
    std::lock_guard lock(sinks().mutex);
    sinks().stderrSink = std::move(sink);
}

} // namespace Support
