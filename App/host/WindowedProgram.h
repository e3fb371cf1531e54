// `vellmora` is built without the desktop toolkit, so that the host without a display, and every command,
// start quickly and stay small (Qt's libraries alone would double the idle host's memory). The desktop
// windows are in `vellmora-windows`, the same program with them built in: `vellmora run` (unless
// `--terminal-only`) and `vellmora screenshots` hand over to it when there is a display, by replacing this
// process (same process id, same arguments, same environment, plus VELLMORA_PROGRAM naming `vellmora` for
// the autostart entry). Used by those two commands; the windowed program never hands over (it has the
// windows).
//
// Where it is looked for: beside this program first (a build folder), then in <prefix>/libexec/vellmora/
// for <prefix>/bin/vellmora (the installed layout). Missing, or not executable: the caller says one line and
// runs without windows.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace App {

class WindowedProgram {
public:
    static constexpr std::string_view name = "vellmora-windows";

    /// The first of `Support::privatePartPlaces` for `self` that `isExecutable` accepts.
    static std::optional<std::filesystem::path>
    find(const std::filesystem::path& self,
         const std::function<bool(const std::filesystem::path&)>& isExecutable);
    /// The installed or built windowed program beside the running one.
    static std::optional<std::filesystem::path> find();

    /// Replaces this process with `windowed`, given `arguments` (the program first, which is replaced).
    /// Returns only when that failed, with the reason.
    static std::string handOver(const std::filesystem::path& windowed,
                                const std::vector<std::string>& arguments);
    /// Finds the windowed program and hands over to it; returns only when that was not possible, with what
    /// to tell the user ("the desktop windows are not installed ...").
    static std::string handOverOrExplain(const std::vector<std::string>& arguments);
};

} // namespace App
