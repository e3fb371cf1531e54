#include "Platform/Linux/DesktopCalendars.h"

#include "Support/RunningProgram.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>

namespace Platform::DesktopCalendars {

namespace fs = std::filesystem;

namespace {

std::mutex mutex;
Opener registered = nullptr;
/// Why the module could not be loaded, once it was tried ("" before, or when it loaded).
std::string loadProblem;
bool tried = false;

/// Loads the module; its store registers itself as it loads. Called without `mutex`, which the module's
/// static constructors take.
std::string loadModule() {
    std::string problem = "the module " + std::string(moduleName) + " is not installed";
    for (const auto& candidate : Support::privatePartPlaces(Support::runningProgram(), moduleName)) {
        std::error_code ec;
        if (!fs::exists(candidate, ec)) {
            continue;
        }
        if (::dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL)) {
            return "";
        }
        const char* why = ::dlerror();
        problem =
            "the module " + candidate.string() + " cannot be loaded (" + (why ? why : "unknown error") + ")";
    }
    return problem;
}

} // namespace

Registration::Registration(Opener opener) {
    std::lock_guard lock(mutex);
    registered = opener;
}

Opened open(EdsCalendarStore::Options options) {
#ifndef VELLMORA_HAVE_EDS
    (void)options;
    return {nullptr, "desktop calendars are not available: this Vellmora was built without Evolution Data "
                     "Server (install libecal2.0-dev and libedataserver1.2-dev and build again)"};
#else
    Opener opener = nullptr;
    {
        std::unique_lock lock(mutex);
        if (!registered && !tried) {
            tried = true;
            lock.unlock();
            auto problem = loadModule();
            lock.lock();
            loadProblem = std::move(problem);
        }
        opener = registered;
        if (!opener) {
            return {nullptr, "desktop calendars are not available: " + loadProblem};
        }
    }
    return opener(std::move(options));
#endif
}

} // namespace Platform::DesktopCalendars
