#include "App/host/WindowsShell.h"

namespace App {

namespace {

WindowsShell::Factory& registered() {
    static WindowsShell::Factory factory = nullptr;
    return factory;
}

} // namespace

WindowsShell::Registration::Registration(Factory factory) {
    registered() = factory;
}

bool WindowsShell::isBuiltIn() {
    return registered() != nullptr;
}

std::unique_ptr<WindowsShell> WindowsShell::connect(Dependencies dependencies) {
    return isBuiltIn() ? registered()(std::move(dependencies)) : nullptr;
}

} // namespace App
