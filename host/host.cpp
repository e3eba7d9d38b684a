/* The host object, in its two modes. */
#include <cstdlib>
#include <string_view>

#include "locks.h"
#include "pools.h"
#include "zoeavl_host.h"

namespace {

bool checking_is_wanted() {
    const char *const value = std::getenv("ZOEAVL_HOST_CHECKED"); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr && *value != 0 && std::string_view(value) != "0";
}

ZOHost with_slots(decltype(ZOHost::LockCreate) lock_create,
                  decltype(ZOHost::PoolCreate) pool_create) {
    ZOHost host{};
    host.LockCreate = lock_create;
    host.PoolCreate = pool_create;
    return host;
}

} // namespace

ZOHost *zoeavl_host(void) {
    static ZOHost plain = with_slots(create_lock, create_pool);
    static ZOHost *const host = checking_is_wanted() ? zoeavl_host_checked() : &plain;
    return host;
}

ZOHost *zoeavl_host_checked(void) {
    static ZOHost host = with_slots(create_checked_lock, create_checked_pool);
    return &host;
}
