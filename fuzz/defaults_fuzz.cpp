// The settings file as another program (or a crash) may have left it: open, read every key, write.
#include "Support/Files.h"
#include "Support/UserDefaults.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::filesystem::path folder = [] {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vellmora-defaults-fuzz-XXXXXX").string();
        return std::filesystem::path(::mkdtemp(pattern.data()));
    }();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::filesystem::path file = folder / "defaults.json";
    Support::Files::writeAtomically(file, std::string_view(reinterpret_cast<const char*>(data), size));
    Support::JsonFileUserDefaults defaults(file);
    for (const auto& [key, value] : defaults.dictionaryRepresentation()) {
        (void)defaults.boolean(key);
        (void)defaults.integer(key);
        (void)defaults.number(key);
        (void)defaults.string(key);
        (void)defaults.data(key);
        (void)defaults.date(key);
    }
    std::size_t before = defaults.dictionaryRepresentation().size();
    defaults.setInteger("fuzz", 1);
    if (defaults.dictionaryRepresentation().size() < before) {
        std::abort(); // a write must never lose a key it could read
    }
    return 0;
}
