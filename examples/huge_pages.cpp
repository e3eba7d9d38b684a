/* Records in huge pages. A search among very many records misses not only the caches but the
 * processor's table of pages, too; pages of 2 MiB mend the latter. HugePages is there to be copied:
 * any container or arena of the standard library that takes a memory resource can stand on it. */
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory_resource>
#include <new>
#include <vector>

#include <sys/mman.h>

#include <zoeavl.hpp>

/* Blocks of whole huge pages, where the system allows them (on Linux "madvise" or "always" in
 * /sys/kernel/mm/transparent_hugepage/enabled); otherwise ordinary memory. Meant for large blocks:
 * ahead of small ones put a std::pmr::monotonic_buffer_resource. */
class HugePages : public std::pmr::memory_resource {
    static constexpr std::size_t page = std::size_t{2} << 20;

    void *do_allocate(std::size_t bytes, std::size_t) override {
        const std::size_t whole = (bytes + page - 1) / page * page;
        void *const block = std::aligned_alloc(page, whole);
        if (block == nullptr)
            throw std::bad_alloc();
        madvise(block, whole, MADV_HUGEPAGE);
        return block;
    }
    void do_deallocate(void *block, std::size_t, std::size_t) override { std::free(block); }
    [[nodiscard]] bool do_is_equal(const memory_resource &other) const noexcept override {
        return this == &other;
    }
};

struct Reading : zoe::node {
    explicit Reading(std::int64_t time_) : time(time_) {}
    std::int64_t time;
    double level = 0;
};

int main() {
    HugePages huge_pages;

    // A container of all records, whose number is known.
    std::pmr::vector<Reading> readings(&huge_pages);
    readings.reserve(100000);
    for (std::int64_t i = 0; i < 100000; i++)
        readings.emplace_back(i * 7919 % 100000);

    // An arena for records that come one by one.
    std::pmr::monotonic_buffer_resource arena(std::size_t{16} << 20, &huge_pages);
    std::pmr::polymorphic_allocator<> records(&arena);

    zoe::index<Reading, &Reading::time> by_time;
    by_time.insert_range(readings);
    by_time.insert(*records.new_object<Reading>(100000));
    std::printf("%zu readings, the last at %lld\n", by_time.size(),
                static_cast<long long>(by_time.back().time));
}
