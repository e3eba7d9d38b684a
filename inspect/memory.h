/* Memory of this process that can't be trusted, read through the system: each page at most once, as
 * a copy that everything else works on. */
#ifndef ZOEAVL_INSPECT_MEMORY_H
#define ZOEAVL_INSPECT_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace zoe::inspect {

class Memory {
  public:
    Memory();
    ~Memory();
    Memory(const Memory &) = delete;
    Memory &operator=(const Memory &) = delete;

    /* Copies `size` bytes at `address` to `to`. False if some of them can't be read. */
    bool read(std::uintptr_t address, void *to, std::size_t size);
    template <class Value>
    bool read(std::uintptr_t address, Value &value) {
        return read(address, &value, sizeof value);
    }

    /* Has what will be read soon ready in the cache, if it was copied. */
    void prefetch(std::uintptr_t address) const;

    /* True the first time only; of an address that could be read. */
    bool mark(std::uintptr_t address);

    /* What keeps it from reading anything, as errno has it; 0 while all is well. */
    [[nodiscard]] int failure() const { return failed; }

  private:
    struct Page;
    struct Known {
        std::uintptr_t number; /* plus one, so that 0 is a free place */
        Page *copy;            /* null if the page can't be read */
    };
    Page *page(std::uintptr_t number);
    Page *copied(std::uintptr_t number);
    int copy_page(void *from, void *to);
    int copy_through_pipe(void *from, void *to);
    [[nodiscard]] std::size_t place_of(std::uintptr_t number) const;
    bool make_room();

    Known *known = nullptr;
    std::size_t places = 0; /* a power of two, at most half of them taken */
    std::size_t taken = 0;
    Known latest{};
    pid_t process;
    /* To read from and to write to, once the system has refused its call. */
    int pipe_ends[2] = {-1, -1};
    int failed = 0;
};

} // namespace zoe::inspect

#endif
