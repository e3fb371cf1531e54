// A hook into the main loop's turns, for a second event loop living inside it (the desktop toolkit's): the
// hook runs before `MainLoop::run()` first waits and after every handler it runs, so that the guest loop can
// re-arm its waits when a handler here changed what it waits for. One hook per loop at a time, until the
// returned handle goes away; main thread only. `runUntilIdle` and `runOne` do not call it.
#pragma once

#include "Support/MainLoop.h"
#include "Support/Signal.h"

#include <functional>

namespace Support {

[[nodiscard]] Subscription onMainLoopTurn(MainLoop& loop, std::function<void()> hook);

} // namespace Support
