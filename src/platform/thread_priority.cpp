#include "platform/thread_priority.h"

#if defined(_WIN32)
#include <windows.h>
#elif defined(__linux__)
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace quorvane::platform {

void LowerCurrentThreadPriority() {
#if defined(_WIN32)
  SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
#elif defined(__linux__)
  // On Linux a nice value belongs to each thread: this one alone steps back.
  const int thread = static_cast<int>(syscall(SYS_gettid));
  setpriority(PRIO_PROCESS, static_cast<id_t>(thread), 5);
#endif
}

}  // namespace quorvane::platform
