#include "FakeWorkspace.h"

namespace Fakes {

Support::Task<bool> FakeWorkspace::answer(bool value) {
    co_return value;
}

} // namespace Fakes
