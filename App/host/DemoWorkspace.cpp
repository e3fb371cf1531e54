#include "App/host/DemoWorkspace.h"

namespace App {

Support::Task<bool> DemoWorkspace::open(const Support::Url& url) {
    print_("(demo) Would open " + url.string());
    return Support::startTask([]() -> Support::Task<bool> { co_return true; });
}

Support::Task<bool> DemoWorkspace::openApp(const std::string& bundleID) {
    print_("(demo) Would open " + bundleID);
    return Support::startTask([]() -> Support::Task<bool> { co_return true; });
}

} // namespace App
