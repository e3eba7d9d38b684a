/* The host object, its pools and its locks. */
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <new>
#include <pthread.h>

#include "report.h"
#include "zoeavl_host.h"

namespace {

/* ---- Pools
 * ---------------------------------------------------------------------------------------*/

struct Pool : ZOPool {
    std::pmr::synchronized_pool_resource memory;
};

/* Stands ahead of each block: Free is not told the size. */
struct alignas(std::max_align_t) BlockHeader {
    std::size_t
        bytes; /* a multiple of the alignment, without which small blocks are packed closer */
};

void *alloc(ZOPool *pool, uint64_t size, uint32_t flags) {
    if (size > PTRDIFF_MAX - 2 * sizeof(BlockHeader))
        return nullptr;
    const std::size_t rounded =
        (size + alignof(BlockHeader) - 1) / alignof(BlockHeader) * alignof(BlockHeader);
    const std::size_t bytes = sizeof(BlockHeader) + rounded;
    try {
        void *const start = static_cast<Pool *>(pool)->memory.allocate(bytes, alignof(BlockHeader));
        auto *const header = new (start) BlockHeader{bytes};
        void *const block = header + 1;
        if ((flags & ZOPOOL_ZEROFILL) != 0)
            std::memset(block, 0, size);
        return block;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void free_block(ZOPool *pool, void *block) {
    if (block == nullptr)
        return;
    auto *const header = static_cast<BlockHeader *>(block) - 1;
    static_cast<Pool *>(pool)->memory.deallocate(header, header->bytes, alignof(BlockHeader));
}

void destroy_pool(ZOPool *pool) {
    delete static_cast<Pool *>(pool);
}

ZOPool *create_pool(ZOHost *, const ZOPoolParms *, ZOJournal *, const char *) {
    auto *const pool = new (std::nothrow) Pool{};
    if (pool != nullptr) {
        pool->Destroy = destroy_pool;
        pool->Alloc = alloc;
        pool->Free = free_block;
    }
    return pool;
}

/* ---- Locks
 * ---------------------------------------------------------------------------------------*/

struct Lock : ZOLock {
    pthread_rwlock_t rwlock;
};

uint32_t get_lock(ZOLock *lock, uint32_t wr, uint32_t wa) {
    pthread_rwlock_t *const rwlock = &static_cast<Lock *>(lock)->rwlock;
    const auto get = wr != 0 ? (wa != 0 ? pthread_rwlock_wrlock : pthread_rwlock_trywrlock)
                             : (wa != 0 ? pthread_rwlock_rdlock : pthread_rwlock_tryrdlock);
    const int status = get(rwlock);
    if (wa != 0 && status == EDEADLK)
        end_with_fault(nullptr, "a lock is taken again by the thread that holds it for writing");
    return static_cast<uint32_t>(status);
}

uint32_t release_lock(ZOLock *lock) {
    return static_cast<uint32_t>(pthread_rwlock_unlock(&static_cast<Lock *>(lock)->rwlock));
}

void destroy_lock(ZOLock *lock) {
    pthread_rwlock_destroy(&static_cast<Lock *>(lock)->rwlock);
    delete static_cast<Lock *>(lock);
}

ZOLock *create_lock(ZOHost *, const ZOLockParms *parms, ZOJournal *, const char *) {
    auto *const lock = new (std::nothrow) Lock{};
    if (lock == nullptr)
        return nullptr;
    pthread_rwlockattr_t attributes;
    pthread_rwlockattr_init(&attributes);
    pthread_rwlockattr_setkind_np(&attributes, parms->variant != 0
                                                   ? PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP
                                                   : PTHREAD_RWLOCK_PREFER_READER_NP);
    const int failure = pthread_rwlock_init(&lock->rwlock, &attributes);
    pthread_rwlockattr_destroy(&attributes);
    if (failure != 0) {
        delete lock;
        return nullptr;
    }
    lock->Destroy = destroy_lock;
    lock->Get = get_lock;
    lock->Release = release_lock;
    return lock;
}

} // namespace

ZOHost *zoeavl_host(void) {
    static ZOHost host = [] {
        ZOHost slots{};
        slots.LockCreate = create_lock;
        slots.PoolCreate = create_pool;
        return slots;
    }();
    return &host;
}
