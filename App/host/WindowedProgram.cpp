#include "App/host/WindowedProgram.h"

#include "Platform/ProcessSpawning.h"
#include "Support/RunningProgram.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace App {

namespace fs = std::filesystem;

std::optional<fs::path> WindowedProgram::find(const fs::path& self,
                                              const std::function<bool(const fs::path&)>& isExecutable) {
    for (const auto& candidate : Support::privatePartPlaces(self, name)) {
        if (isExecutable(candidate)) {
            return candidate.lexically_normal();
        }
    }
    return std::nullopt;
}

std::optional<fs::path> WindowedProgram::find() {
    const auto& self = Support::runningProgram();
    if (self.empty()) {
        return std::nullopt;
    }
    return find(self, Platform::isExecutableFile);
}

std::string WindowedProgram::handOver(const fs::path& windowed, const std::vector<std::string>& arguments) {
    std::vector<std::string> copy = arguments;
    if (copy.empty()) {
        copy.emplace_back(name);
    }
    copy.front() = windowed.string();
    std::vector<char*> argv;
    for (auto& argument : copy) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const auto& self = Support::runningProgram();
    if (!self.empty()) {
        ::setenv(Support::runningProgramVariable, self.c_str(), 1);
    }
    ::execv(windowed.c_str(), argv.data());
    int error = errno;
    ::unsetenv(Support::runningProgramVariable);
    return windowed.string() + ": " + std::strerror(error);
}

std::string WindowedProgram::handOverOrExplain(const std::vector<std::string>& arguments) {
    auto windowed = find();
    if (!windowed) {
        return "the desktop windows are not installed (no " + std::string(name) + " beside " +
               Support::runningProgram().filename().string() + ")";
    }
    return "the desktop windows could not start (" + handOver(*windowed, arguments) + ")";
}

} // namespace App
