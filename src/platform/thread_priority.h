// Scheduling the calling thread below the program's others: background work that a person did
// not ask to wait for (thumbnails of files not yet in sight) yields to the window thread and to
// the threads that fill what is on screen.
#pragma once

namespace quorvane::platform {

// Lowers the calling thread's priority one step (nice 5 on Linux). Best effort: does nothing where
// the system has no per-thread priority or refuses.
void LowerCurrentThreadPriority();

}  // namespace quorvane::platform
