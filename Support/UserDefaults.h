// Per-user settings: the typed key-value store every component reads its preferences from.
//
// Values are booleans, integers, doubles, strings, string arrays, data (bytes) and dates. The typed getters
// coerce the way users of a preferences store expect: a bool reads as an integer 0/1 and back, numeric text
// ("15") reads as a number, and anything that does not fit gives nothing, so that a value of the wrong type
// falls back to the caller's default instead of failing. `changed` fires (on the caller's thread) after every
// `set` and `remove`, with the key.
//
// `InMemoryUserDefaults` is for tests and for one-shot commands. `JsonFileUserDefaults` keeps the settings
// in one JSON file (`$XDG_CONFIG_HOME/vellmora/defaults.json` by default): every change is a locked
// read-modify-write of the file, written atomically, so that two processes (the running host and a
// `vellmora` command) never lose each other's keys. A file that cannot be parsed is moved aside as
// `defaults.json.corrupt-<timestamp>`, logged once, and the store starts from defaults: nothing is
// overwritten unread.
#pragma once

#include "Support/Signal.h"
#include "Support/Time.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Support {

using Bytes = std::vector<std::uint8_t>;
using DefaultsValue =
    std::variant<bool, std::int64_t, double, std::string, std::vector<std::string>, Bytes, Date>;

class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    virtual std::optional<DefaultsValue> value(const std::string& key) const = 0;
    virtual void set(const std::string& key, DefaultsValue value) = 0;
    virtual void remove(const std::string& key) = 0;
    virtual std::map<std::string, DefaultsValue> dictionaryRepresentation() const = 0;

    bool has(const std::string& key) const { return value(key).has_value(); }
    std::optional<bool> boolean(const std::string& key) const;
    std::optional<std::int64_t> integer(const std::string& key) const;
    std::optional<double> number(const std::string& key) const;
    std::optional<std::string> string(const std::string& key) const;
    std::optional<std::vector<std::string>> stringArray(const std::string& key) const;
    /// Bytes; a string value reads as its UTF-8 bytes.
    std::optional<Bytes> data(const std::string& key) const;
    std::optional<Date> date(const std::string& key) const;

    // Convenience setters (C string literals would otherwise become bool).
    void set(const std::string& key, const char* text) { set(key, DefaultsValue(std::string(text))); }
    void setBool(const std::string& key, bool v) { set(key, DefaultsValue(v)); }
    void setInteger(const std::string& key, std::int64_t v) { set(key, DefaultsValue(v)); }
    void setString(const std::string& key, std::string v) { set(key, DefaultsValue(std::move(v))); }

    Signal<const std::string&> changed;
};

class InMemoryUserDefaults final : public UserDefaults {
public:
    std::optional<DefaultsValue> value(const std::string& key) const override;
    void set(const std::string& key, DefaultsValue value) override;
    void remove(const std::string& key) override;
    std::map<std::string, DefaultsValue> dictionaryRepresentation() const override;

private:
    mutable std::mutex mutex_;
    std::map<std::string, DefaultsValue> values_;
};

class JsonFileUserDefaults final : public UserDefaults {
public:
    /// Opens (or will create on first write) the file at `path`. Never throws for a bad file.
    explicit JsonFileUserDefaults(std::filesystem::path path);

    std::optional<DefaultsValue> value(const std::string& key) const override;
    void set(const std::string& key, DefaultsValue value) override;
    void remove(const std::string& key) override;
    std::map<std::string, DefaultsValue> dictionaryRepresentation() const override;

    /// Re-reads the file (another process may have changed it).
    void reload();
    const std::filesystem::path& path() const { return path_; }
    /// Where a corrupt file was moved at open, if one was.
    const std::optional<std::filesystem::path>& movedAsideTo() const { return movedAside_; }

    /// `$VELLMORA_CONFIG_HOME/defaults.json`, else `$XDG_CONFIG_HOME/vellmora/defaults.json`, else
    /// `~/.config/vellmora/defaults.json`.
    static std::filesystem::path defaultPath();

private:
    void mutate(const std::string& key, const std::optional<DefaultsValue>& value);
    std::map<std::string, DefaultsValue> readFile(bool moveAsideIfCorrupt);

    std::filesystem::path path_;
    mutable std::mutex mutex_;
    std::map<std::string, DefaultsValue> values_;
    std::optional<std::filesystem::path> movedAside_;
};

} // namespace Support
