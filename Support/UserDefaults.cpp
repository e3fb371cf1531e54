#include "Support/UserDefaults.h"

#include "Support/FileDescriptor.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace Support {

namespace {

using Json = nlohmann::json;

std::optional<std::int64_t> integerFromDouble(double d) {
    // Truncates toward zero like a C cast, but only for values an int64 can hold.
    if (!std::isfinite(d) || d < -9.2233720368547758e18 || d >= 9.2233720368547758e18) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(d);
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> parseDouble(std::string_view text) {
    double value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// Numeric text as users and other tools write it: surrounding spaces are ignored.
std::string numericText(const std::string& s) {
    return Text::trimmed(s);
}

constexpr char base64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string base64Encoded(const Bytes& bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t chunk = static_cast<std::uint32_t>(bytes[i]) << 16;
        if (i + 1 < bytes.size()) {
            chunk |= static_cast<std::uint32_t>(bytes[i + 1]) << 8;
        }
        if (i + 2 < bytes.size()) {
            chunk |= bytes[i + 2];
        }
        out.push_back(base64Alphabet[(chunk >> 18) & 63]);
        out.push_back(base64Alphabet[(chunk >> 12) & 63]);
        out.push_back(i + 1 < bytes.size() ? base64Alphabet[(chunk >> 6) & 63] : '=');
        out.push_back(i + 2 < bytes.size() ? base64Alphabet[chunk & 63] : '=');
    }
    return out;
}

std::optional<Bytes> base64Decoded(std::string_view text) {
    Bytes out;
    std::uint32_t buffer = 0;
    int bits = 0;
    std::size_t padding = 0;
    for (char c : text) {
        if (c == '=') {
            ++padding;
            continue;
        }
        const char* at = std::char_traits<char>::find(base64Alphabet, 64, c);
        if (!at || padding) {
            return std::nullopt;
        }
        buffer = (buffer << 6) | static_cast<std::uint32_t>(at - base64Alphabet);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<std::uint8_t>((buffer >> bits) & 0xFF));
        }
    }
    if (padding > 2) {
        return std::nullopt;
    }
    return out;
}

Json encode(const DefaultsValue& value) {
    return std::visit(
        [](const auto& v) -> Json {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, Bytes>) {
                return Json{{"$data", base64Encoded(v)}};
            } else if constexpr (std::is_same_v<T, Date>) {
                return Json{{"$date", formatISO8601(v)}};
            } else {
                return Json(v);
            }
        },
        value);
}

// Nothing for JSON this store did not write (null, nested objects, mixed arrays): such keys are kept in
// the file untouched but are invisible to the typed getters.
std::optional<DefaultsValue> decode(const Json& j) {
    switch (j.type()) {
    case Json::value_t::boolean:
        return DefaultsValue(j.get<bool>());
    case Json::value_t::number_integer:
        return DefaultsValue(j.get<std::int64_t>());
    case Json::value_t::number_unsigned:
        if (j.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
            return DefaultsValue(j.get<double>());
        }
        return DefaultsValue(j.get<std::int64_t>());
    case Json::value_t::number_float:
        return DefaultsValue(j.get<double>());
    case Json::value_t::string:
        return DefaultsValue(j.get<std::string>());
    case Json::value_t::array: {
        std::vector<std::string> strings;
        for (const auto& element : j) {
            if (!element.is_string()) {
                return std::nullopt;
            }
            strings.push_back(element.get<std::string>());
        }
        return DefaultsValue(std::move(strings));
    }
    case Json::value_t::object:
        if (j.size() == 1 && j.contains("$data") && j["$data"].is_string()) {
            if (auto bytes = base64Decoded(j["$data"].get<std::string>())) {
                return DefaultsValue(std::move(*bytes));
            }
        } else if (j.size() == 1 && j.contains("$date") && j["$date"].is_string()) {
            if (auto date = parseISO8601(j["$date"].get<std::string>())) {
                return DefaultsValue(*date);
            }
        }
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

std::map<std::string, DefaultsValue> decodeAll(const Json& object) {
    std::map<std::string, DefaultsValue> values;
    for (const auto& [key, element] : object.items()) {
        if (auto value = decode(element)) {
            values.emplace(key, std::move(*value));
        }
    }
    return values;
}

std::string corruptTimestamp() {
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(systemNow().time_since_epoch()).count();
    std::time_t t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    ::gmtime_r(&t, &tm);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y%m%dT%H%M%SZ", &tm);
    return buffer;
}

// Moves `path` to "<name>.corrupt-<timestamp>" without ever replacing an earlier one.
std::optional<std::filesystem::path> moveAside(const std::filesystem::path& path) {
    std::string base = path.string() + ".corrupt-" + corruptTimestamp();
    for (int attempt = 0; attempt < 1000; ++attempt) {
        std::filesystem::path candidate = attempt == 0 ? base : base + "-" + std::to_string(attempt);
        if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, candidate.c_str(), RENAME_NOREPLACE) == 0) {
            return candidate;
        }
        if (errno != EEXIST) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

// An exclusive lock on "<file>.lock" shared by every process that writes the file.
class FileLock {
public:
    explicit FileLock(const std::filesystem::path& file) {
        std::filesystem::path lockPath = file.string() + ".lock";
        std::error_code ec;
        std::filesystem::create_directories(file.parent_path(), ec);
        fd_.reset(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        if (!fd_) {
            throw std::system_error(errno, std::generic_category(),
                                    "Cannot lock the settings file " + file.string());
        }
        while (::flock(fd_.get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                int error = errno;
                throw std::system_error(error, std::generic_category(),
                                        "Cannot lock the settings file " + file.string());
            }
        }
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    Support::FileDescriptor fd_; // closing it releases the lock
};

const Logger& defaultsLog() {
    static const Logger log("defaults");
    return log;
}

// The file's JSON object, or nothing when the file is not one (the caller decides what to do with it).
// Throws std::system_error when the file exists but cannot be read.
std::optional<Json> readObject(const std::filesystem::path& path) {
    auto contents = Files::readIfExists(path);
    if (!contents) {
        return Json::object();
    }
    Json parsed = Json::parse(*contents, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object()) {
        return std::nullopt;
    }
    return parsed;
}

} // namespace

// MARK: - Typed getters

std::optional<bool> UserDefaults::boolean(const std::string& key) const {
    auto v = value(key);
    if (!v) {
        return std::nullopt;
    }
    if (auto* b = std::get_if<bool>(&*v)) {
        return *b;
    }
    if (auto* i = std::get_if<std::int64_t>(&*v)) {
        return *i != 0;
    }
    if (auto* d = std::get_if<double>(&*v)) {
        return *d != 0;
    }
    if (auto* s = std::get_if<std::string>(&*v)) {
        std::string text = Text::asciiLowercased(Text::trimmed(*s));
        if (text == "true" || text == "yes") {
            return true;
        }
        if (text == "false" || text == "no") {
            return false;
        }
        if (auto n = parseDouble(text)) {
            return *n != 0;
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> UserDefaults::integer(const std::string& key) const {
    auto v = value(key);
    if (!v) {
        return std::nullopt;
    }
    if (auto* i = std::get_if<std::int64_t>(&*v)) {
        return *i;
    }
    if (auto* b = std::get_if<bool>(&*v)) {
        return *b ? 1 : 0;
    }
    if (auto* d = std::get_if<double>(&*v)) {
        return integerFromDouble(*d);
    }
    if (auto* s = std::get_if<std::string>(&*v)) {
        std::string text = numericText(*s);
        if (auto i = parseInteger(text)) {
            return i;
        }
        if (auto d = parseDouble(text)) {
            return integerFromDouble(*d);
        }
    }
    return std::nullopt;
}

std::optional<double> UserDefaults::number(const std::string& key) const {
    auto v = value(key);
    if (!v) {
        return std::nullopt;
    }
    if (auto* d = std::get_if<double>(&*v)) {
        return *d;
    }
    if (auto* i = std::get_if<std::int64_t>(&*v)) {
        return static_cast<double>(*i);
    }
    if (auto* b = std::get_if<bool>(&*v)) {
        return *b ? 1.0 : 0.0;
    }
    if (auto* s = std::get_if<std::string>(&*v)) {
        return parseDouble(numericText(*s));
    }
    return std::nullopt;
}

std::optional<std::string> UserDefaults::string(const std::string& key) const {
    auto v = value(key);
    if (!v) {
        return std::nullopt;
    }
    if (auto* s = std::get_if<std::string>(&*v)) {
        return *s;
    }
    if (auto* i = std::get_if<std::int64_t>(&*v)) {
        return std::to_string(*i);
    }
    if (auto* d = std::get_if<double>(&*v)) {
        return fmt::format("{}", *d);
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> UserDefaults::stringArray(const std::string& key) const {
    auto v = value(key);
    if (auto* a = v ? std::get_if<std::vector<std::string>>(&*v) : nullptr) {
        return *a;
    }
    return std::nullopt;
}

std::optional<Bytes> UserDefaults::data(const std::string& key) const {
    auto v = value(key);
    if (!v) {
        return std::nullopt;
    }
    if (auto* bytes = std::get_if<Bytes>(&*v)) {
        return *bytes;
    }
    if (auto* s = std::get_if<std::string>(&*v)) {
        return Bytes(s->begin(), s->end());
    }
    return std::nullopt;
}

std::optional<Date> UserDefaults::date(const std::string& key) const {
    auto v = value(key);
    if (!v) {
        return std::nullopt;
    }
    if (auto* d = std::get_if<Date>(&*v)) {
        return *d;
    }
    if (auto* s = std::get_if<std::string>(&*v)) {
        return parseISO8601(Text::trimmed(*s));
    }
    return std::nullopt;
}

// MARK: - InMemoryUserDefaults

std::optional<DefaultsValue> InMemoryUserDefaults::value(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = values_.find(key);
    return it == values_.end() ? std::nullopt : std::optional<DefaultsValue>(it->second);
}

void InMemoryUserDefaults::set(const std::string& key, DefaultsValue value) {
    {
        std::lock_guard lock(mutex_);
        values_[key] = std::move(value);
    }
    changed.emit(key);
}

void InMemoryUserDefaults::remove(const std::string& key) {
    {
        std::lock_guard lock(mutex_);
        values_.erase(key);
    }
    changed.emit(key);
}

std::map<std::string, DefaultsValue> InMemoryUserDefaults::dictionaryRepresentation() const {
    std::lock_guard lock(mutex_);
    return values_;
}

// MARK: - JsonFileUserDefaults

JsonFileUserDefaults::JsonFileUserDefaults(std::filesystem::path path) : path_(std::move(path)) {
    try {
        values_ = readFile(true);
    } catch (const std::exception& e) {
        // Unreadable (permissions): start from defaults; a write re-reads under the lock and reports it.
        defaultsLog().warning("Cannot read settings from {}: {}", path_.string(), e.what());
    }
}

std::map<std::string, DefaultsValue> JsonFileUserDefaults::readFile(bool moveAsideIfCorrupt) {
    if (auto object = readObject(path_)) {
        return decodeAll(*object);
    }
    if (moveAsideIfCorrupt) {
        auto movedTo = moveAside(path_);
        if (movedTo) {
            movedAside_ = movedTo;
            defaultsLog().warning("Settings file {} could not be read as a JSON object; moved it to {} and "
                                  "started from defaults",
                                  path_.string(), movedTo->string());
        } else {
            defaultsLog().warning(
                "Settings file {} could not be read as a JSON object and could not be moved "
                "aside; ignoring it",
                path_.string());
        }
    }
    return {};
}

void JsonFileUserDefaults::reload() {
    std::lock_guard lock(mutex_);
    values_ = readFile(true);
}

std::optional<DefaultsValue> JsonFileUserDefaults::value(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = values_.find(key);
    return it == values_.end() ? std::nullopt : std::optional<DefaultsValue>(it->second);
}

std::map<std::string, DefaultsValue> JsonFileUserDefaults::dictionaryRepresentation() const {
    std::lock_guard lock(mutex_);
    return values_;
}

void JsonFileUserDefaults::set(const std::string& key, DefaultsValue value) {
    mutate(key, value);
}

void JsonFileUserDefaults::remove(const std::string& key) {
    mutate(key, std::nullopt);
}

void JsonFileUserDefaults::mutate(const std::string& key, const std::optional<DefaultsValue>& value) {
    {
        std::lock_guard lock(mutex_);
        FileLock fileLock(path_);
        // Start from what is on disk now, so that keys another process wrote since we read are kept, and
        // keys we cannot decode (written by a newer version) survive untouched.
        std::optional<Json> object = readObject(path_);
        if (!object) {
            readFile(true); // moves the unreadable file aside and logs it
            object = Json::object();
        }
        if (value) {
            (*object)[key] = encode(*value);
        } else {
            object->erase(key);
        }
        Files::writeAtomically(path_, object->dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
        values_ = decodeAll(*object);
    }
    changed.emit(key);
}

std::filesystem::path JsonFileUserDefaults::defaultPath() {
    return Files::configHome() / "defaults.json";
}

} // namespace Support
