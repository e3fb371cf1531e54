// A new empty file beside a target, named "." + the target's name + a marker + six random characters, for
// writing before it is renamed over the target. The marker lets a writer find what a crashed one left.
// Used by `Files::writeAtomically` and by writers that must hold the file between writing and renaming
// (the AI apps' settings files). Throws std::system_error naming the target when the file cannot be made
// (a missing or read-only folder).
#pragma once

#include "Support/FileDescriptor.h"

#include <filesystem>
#include <string_view>

namespace Support::Files {

struct TemporaryFileBeside {
    FileDescriptor descriptor;
    std::filesystem::path path;
};

TemporaryFileBeside createTemporaryBeside(const std::filesystem::path& target,
                                          std::string_view marker = ".tmp-");

} // namespace Support::Files
