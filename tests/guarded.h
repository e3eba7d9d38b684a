/* Memory that ends, or begins, at an inaccessible page, and memory that can be made read-only. */
#ifndef ZOEAVL_TESTS_GUARDED_H
#define ZOEAVL_TESTS_GUARDED_H

#include <cstddef>
#include <sys/mman.h>
#include <unistd.h>

class Guarded {
  public:
    explicit Guarded(std::size_t bytes)
        : page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          usable((bytes + page - 1) / page * page) {
        base = static_cast<char *>(
            mmap(nullptr, usable + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        allow(PROT_READ | PROT_WRITE);
    }
    ~Guarded() { munmap(base, usable + 2 * page); }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    void allow(int protection) { mprotect(begin(), usable, protection); }
    [[nodiscard]] char *begin() const { return base + page; }
    [[nodiscard]] char *end() const { return begin() + usable; }

  private:
    std::size_t page;
    std::size_t usable;
    char *base;
};

#endif
