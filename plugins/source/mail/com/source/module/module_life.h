#pragma once

// What runs in this module for all of its objects, and when: the trace, the road to the product.

namespace plugins::dll {

// The first object is about to be made, or the first since EndModule: opens the trace where the
// product says there is one, and says how the road to the product is made. Any thread.
void StartModule() noexcept;

// Whether nothing of the module is in use. Then all that it runs has ended: no thread of its own is
// left, and the trace is closed with its footer. Waits for threads, a second at most: not to be
// called on one of the module's own, nor while the system loads or unloads a library.
bool EndModule() noexcept;

}  // namespace plugins::dll
