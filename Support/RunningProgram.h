// The program the user started, as a path: what the autostart entry runs and where the AI apps' helper is
// looked for. Usually this process's own executable; when `vellmora` handed over to `vellmora-windows` (the
// same program with the desktop windows built in), it is still `vellmora`, which the hand-over names in
// VELLMORA_PROGRAM. The variable is read once, by the first call, and removed, so that programs this one
// starts (a meeting app, a terminal) do not inherit it. Empty when the system cannot tell (no /proc).
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace Support {

/// The environment variable the hand-over sets to the started program's path.
inline constexpr const char* runningProgramVariable = "VELLMORA_PROGRAM";

/// Call first thing in main(), before any thread starts (it changes the environment).
const std::filesystem::path& runningProgram();

/// Where a private part of Vellmora named `name` (the windowed program, a module) is looked for, for the
/// program at `program`, in order: beside it (a build folder), then in <prefix>/libexec/vellmora/ for
/// <prefix>/bin/vellmora (the installed layout).
std::vector<std::filesystem::path> privatePartPlaces(const std::filesystem::path& program,
                                                     std::string_view name);

} // namespace Support
