#include "Support/RunningProgram.h"

#include <cstdlib>

namespace Support {

namespace {

std::filesystem::path find() {
    if (const char* started = std::getenv(runningProgramVariable)) {
        std::filesystem::path path(started);
        ::unsetenv(runningProgramVariable);
        if (path.is_absolute()) {
            return path;
        }
    }
    std::error_code ec;
    auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::filesystem::path() : self;
}

} // namespace

std::vector<std::filesystem::path> privatePartPlaces(const std::filesystem::path& program,
                                                     std::string_view name) {
    auto folder = program.parent_path();
    return {folder / name, folder.parent_path() / "libexec" / "vellmora" / name};
}

const std::filesystem::path& runningProgram() {
    static const std::filesystem::path program = find();
    return program;
}

} // namespace Support
