// Diagnostics under the subsystem "dev.tessadine.vellmora", one category per component:
//   Support::Logger log("calendar");  log.info("Fetched {} meetings", n);
// Records go to the systemd journal (with SUBSYSTEM and CATEGORY fields) when the journal socket is
// there, else to stderr as "vellmora[category] level: message". The level comes from $VELLMORA_LOG_LEVEL
// (debug, info, notice, warning, error; default: info to the journal, warning to stderr). A `LogCapture`
// in a test receives every record of every level while it lives, and nothing is written elsewhere then.
// Never log secrets (API keys) or the contents of user files.
#pragma once

#include <fmt/format.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Support {

enum class LogLevel { debug = 0, info = 1, notice = 2, warning = 3, error = 4 };

inline constexpr std::string_view logSubsystem = "dev.tessadine.vellmora";

struct LogRecord {
    LogLevel level;
    std::string category;
    std::string message;
};

class Logger {
public:
    explicit Logger(std::string category) : category_(std::move(category)) {}

    template <typename... A> void debug(fmt::format_string<A...> f, A&&... a) const {
        log(LogLevel::debug, f, std::forward<A>(a)...);
    }
    template <typename... A> void info(fmt::format_string<A...> f, A&&... a) const {
        log(LogLevel::info, f, std::forward<A>(a)...);
    }
    template <typename... A> void notice(fmt::format_string<A...> f, A&&... a) const {
        log(LogLevel::notice, f, std::forward<A>(a)...);
    }
    template <typename... A> void warning(fmt::format_string<A...> f, A&&... a) const {
        log(LogLevel::warning, f, std::forward<A>(a)...);
    }
    template <typename... A> void error(fmt::format_string<A...> f, A&&... a) const {
        log(LogLevel::error, f, std::forward<A>(a)...);
    }
    template <typename... A> void log(LogLevel level, fmt::format_string<A...> f, A&&... a) const {
        if (enabled(level)) {
            write(level, fmt::format(f, std::forward<A>(a)...));
        }
    }

    bool enabled(LogLevel level) const;
    void write(LogLevel level, const std::string& message) const;
    const std::string& category() const { return category_; }

private:
    std::string category_;
};

/// While alive, every record (all levels) is captured here instead of being written out.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogRecord> records() const;
    /// The messages, optionally only those of one category.
    std::vector<std::string> messages(std::string_view category = {}) const;
    bool contains(std::string_view messageFragment) const;
    void clear();
};

/// Sets where records go when no capture is active: `false` forces stderr even with a journal.
void setLogToJournal(bool enabled);

/// While set, each record meant for stderr is handed to `sink` as one line (with its newline) instead of
/// being written: a terminal that keeps a status line prints it above that line. The sink is called from
/// whichever thread logs, one record at a time, and never after `setStderrSink` returns with another one
/// (or none: `{}`), so its owner can remove it in its destructor. It must not log.
void setStderrSink(std::function<void(std::string_view line)> sink);

} // namespace Support
