/* The two kinds of pools: the plain one, and the one that keeps watch over its blocks. */
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory_resource>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <unordered_map>

#include "pools.h"
#include "report.h"
#include "requests.h"
#include "zoeavl.h"

/* There in a program with the address sanitizer, whether or not this library was built with it. */
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" [[gnu::weak]] void __asan_poison_memory_region(void const volatile *, std::size_t);
extern "C" [[gnu::weak]] void __asan_unpoison_memory_region(void const volatile *, std::size_t);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

bool address_sanitizer_runs() {
    return __asan_poison_memory_region != nullptr;
}

/* ---- Plain ----------------------------------------------------------------------------------- */

struct Pool : ZOPool {
    std::pmr::synchronized_pool_resource memory;
};

/* Stands ahead of each block: Free is not told the size. */
struct alignas(std::max_align_t) BlockHeader {
    std::size_t
        bytes; /* a multiple of the alignment, without which small blocks are packed closer */
};

constexpr uint64_t largest_block = PTRDIFF_MAX - 2 * sizeof(BlockHeader);

void *alloc(ZOPool *pool, uint64_t size, uint32_t flags) {
    if (size > largest_block)
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

/* ---- Watched: each block is one of the heap's, so that the address sanitizer knows it -------- */

constexpr int fresh_pattern = 0xCD;
constexpr int freed_pattern = 0xDD;
constexpr std::size_t most_kept = std::size_t{1} << 20; /* bytes of freed blocks */

class WatchedPool : public ZOPool {
  public:
    /* A pool that doesn't check leaves that to the address sanitizer. */
    WatchedPool(bool checks_, ZOJournal *journal_, const char *name_)
        : ZOPool{}, checks(checks_), journal(journal_), name(name_ != nullptr ? name_ : "") {}

    ~WatchedPool() {
        while (!freed.empty())
            let_go_of_oldest();
        for (const auto &[block, size] : live)
            ::operator delete(block);
    }
    WatchedPool(const WatchedPool &) = delete;
    WatchedPool &operator=(const WatchedPool &) = delete;

    void *alloc(uint64_t size, uint32_t flags) {
        if (size > largest_block || (checks && request_fails()))
            return nullptr;
        void *const block = ::operator new(size, std::nothrow);
        if (block == nullptr)
            return nullptr;
        if ((flags & ZOPOOL_ZEROFILL) != 0)
            std::memset(block, 0, size);
        else if (checks)
            std::memset(block, fresh_pattern, size);
        const std::lock_guard hold(guard);
        try {
            live.emplace(block, size);
        } catch (const std::bad_alloc &) {
            ::operator delete(block);
            return nullptr;
        }
        return block;
    }

    void free(void *block) {
        const std::lock_guard hold(guard);
        const auto found = live.find(block);
        if (checks && found == live.end())
            fault(block, std::any_of(freed.begin(), freed.end(),
                                     [&](const Freed &f) { return f.block == block; })
                             ? "is freed a second time"
                             : "is freed, but was never one of its own");
        const std::size_t size = found != live.end() ? found->second : 0;
        if (found != live.end())
            live.erase(found);
        if (checks)
            keep(block, size);
        else
            ::operator delete(block);
    }

    /* A tree that is still here can't be destroyed any more: its pool and its factory are gone. */
    void check_end() {
        if (!checks)
            return;
        for (const auto &[block, size] : live) {
            const auto *const tree = static_cast<const ZOEAVLTree *>(block);
            if (size == sizeof *tree && std::memcmp(tree->tag, "nevo", sizeof tree->tag) == 0)
                fault(block, "is tree '" + tree_name(*tree) +
                                 "', which wasn't destroyed ahead of its factory");
        }
    }

  private:
    struct Freed {
        void *block;
        std::size_t size;
    };

    void keep(void *block, std::size_t size) {
        try {
            freed.push_back({block, size});
        } catch (const std::bad_alloc &) {
            ::operator delete(block);
            return;
        }
        std::memset(block, freed_pattern, size);
        if (address_sanitizer_runs())
            __asan_poison_memory_region(block, size);
        kept += size;
        while (kept > most_kept)
            let_go_of_oldest();
    }

    void let_go_of_oldest() {
        const auto [block, size] = freed.front();
        freed.pop_front();
        kept -= size;
        if (address_sanitizer_runs())
            __asan_unpoison_memory_region(block, size);
        const auto *const bytes = static_cast<const unsigned char *>(block);
        const auto *const written =
            std::find_if(bytes, bytes + size, [](unsigned char b) { return b != freed_pattern; });
        if (written != bytes + size)
            fault(block, "of " + std::to_string(size) + " bytes was written to at byte " +
                             std::to_string(written - bytes) + " after it was freed");
        ::operator delete(block);
    }

    /* A copy of a name has no end but that of its block. */
    [[nodiscard]] std::string tree_name(const ZOEAVLTree &tree) const {
        const auto copy = live.find(tree.name);
        return copy == live.end() ? "" : std::string(tree.name, copy->second);
    }

    [[noreturn]] void fault(const void *block, const std::string &what) const {
        char address[24];
        std::snprintf(address, sizeof address, "%p", block);
        end_with_fault(journal, "pool '" + name + "': block " + address + " " + what);
    }

    bool checks;
    ZOJournal *journal;
    std::string name;
    std::mutex guard; /* of what follows */
    std::unordered_map<void *, std::size_t> live;
    std::deque<Freed> freed;
    std::size_t kept = 0;
};

ZOPool *create_watched_pool(bool checks, ZOJournal *journal, const char *name) {
    try {
        auto *const pool = new WatchedPool(checks, journal, name);
        pool->Destroy = [](ZOPool *self) {
            static_cast<WatchedPool *>(self)->check_end();
            delete static_cast<WatchedPool *>(self);
        };
        pool->Alloc = [](ZOPool *self, uint64_t size, uint32_t flags) {
            return static_cast<WatchedPool *>(self)->alloc(size, flags);
        };
        pool->Free = [](ZOPool *self, void *block) {
            if (block != nullptr)
                static_cast<WatchedPool *>(self)->free(block);
        };
        return pool;
    } catch (const std::exception &) {
        return nullptr;
    }
}

} // namespace

ZOPool *create_pool(ZOHost *, const ZOPoolParms *, ZOJournal *journal, const char *name) {
    if (address_sanitizer_runs())
        return create_watched_pool(false, journal, name);
    try {
        auto *const pool = new Pool{};
        pool->Destroy = destroy_pool;
        pool->Alloc = alloc;
        pool->Free = free_block;
        return pool;
    } catch (const std::system_error &) { // there is no key left by which threads tell their parts
        return create_watched_pool(false, journal, name);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

ZOPool *create_checked_pool(ZOHost *, const ZOPoolParms *, ZOJournal *journal, const char *name) {
    return request_fails() ? nullptr : create_watched_pool(true, journal, name);
}
