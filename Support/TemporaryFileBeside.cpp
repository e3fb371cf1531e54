#include "Support/TemporaryFileBeside.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <system_error>

namespace Support::Files {

TemporaryFileBeside createTemporaryBeside(const std::filesystem::path& target, std::string_view marker) {
    std::string pattern = (target.parent_path() / ("." + target.filename().string())).string();
    pattern.append(marker).append("XXXXXX");
    FileDescriptor descriptor(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!descriptor) {
        int error = errno;
        throw std::system_error(error, std::generic_category(),
                                "Cannot create a temporary file to write " + target.string());
    }
    return {std::move(descriptor), pattern};
}

} // namespace Support::Files
