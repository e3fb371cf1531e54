// A fresh folder of the test's own under the system's temporary folder (mkdtemp, so parallel runs never
// share one), removed with everything in it when the test ends, entries a test made read-only included.
// Every test that needs files on disk uses it (ScriptFolder adds executable scripts to it); nothing a test
// writes lands in the real home folder.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace Fakes {

struct TempFolder {
    std::filesystem::path path;

    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vellmora-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("cannot create a temporary folder for the test");
        }
        path = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        namespace fs = std::filesystem;
        fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ignored);
        for (auto it = fs::recursive_directory_iterator(path, ignored);
             it != fs::recursive_directory_iterator(); it.increment(ignored)) {
            if (it->is_directory(ignored)) {
                fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            }
        }
        fs::remove_all(path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& relative) const { return path / relative; }

    /// Writes `text` to `relative` (its folders are created).
    void write(const std::filesystem::path& relative, const std::string& text) const {
        std::filesystem::create_directories((path / relative).parent_path());
        std::ofstream(path / relative, std::ios::binary) << text;
    }
    std::string read(const std::filesystem::path& relative) const {
        std::ifstream in(path / relative, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
};

} // namespace Fakes
