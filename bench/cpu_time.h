#pragma once

#include <ctime>

namespace bench {

/// Seconds that this thread has spent on a processor; other programs' turns do not count.
inline double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

} // namespace bench
