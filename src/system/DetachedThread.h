#pragma once
// Work on a thread of its own that nothing waits for. A system that has no thread left to give is
// logged; what becomes of the work then is what tells the two apart.

#include <functional>

// For work that must be done in any case: it is done here then, before this returns.
void runOnOwnThreadElseHere(const std::function<void()>& work);

// For work that may be left undone.
void runOnOwnThread(const std::function<void()>& work);
