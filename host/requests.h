/* Whether a request is to fail, for tests of what callers do then: see zoeavl_host_checked. */
#ifndef ZOEAVL_HOST_REQUESTS_H
#define ZOEAVL_HOST_REQUESTS_H

#include <atomic>
#include <cstdlib>

/* Counts the request, and gives true for the one that $ZOEAVL_HOST_FAIL names. */
inline bool request_fails() {
    static const unsigned long failing = [] {
        const char *const value = std::getenv("ZOEAVL_HOST_FAIL"); // NOLINT(concurrency-mt-unsafe)
        return value != nullptr ? std::strtoul(value, nullptr, 10) : 0;
    }();
    static std::atomic<unsigned long> requests;
    return failing != 0 && ++requests == failing;
}

#endif
