#pragma once

#include <sys/resource.h>

// The memory of the child processes a test ran (CliRun), as the kernel counted it.
namespace ChildMemory {

// The most a child may take for a document it refuses; AddressSanitizer's shadow memory and
// quarantine add theirs. Unbounded, the documents of the tests took 1.7 to 3.4 GB.
#if defined(__SANITIZE_ADDRESS__)
constexpr long kRefusalLimitMiB = 400;
#else
constexpr long kRefusalLimitMiB = 150;
#endif

// The peak resident memory, in MiB, of the largest child process this program has waited for.
inline long largestPeakMiB()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss / 1024;
}

} // namespace ChildMemory
