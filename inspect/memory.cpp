#include "memory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include "zoeavl/engine/links.hpp"

namespace zoe::inspect {
namespace {
constexpr std::size_t page_size = 4096;
constexpr std::size_t node_alignment = alignof(ZOEAVLNODE);

/* Whether a call went over the whole page, as errno has it. */
int status_of(ssize_t count) {
    if (count < 0)
        return errno;
    return count == static_cast<ssize_t>(page_size) ? 0 : EFAULT;
}
} // namespace

struct Memory::Page {
    unsigned char bytes[page_size];
    std::uint64_t marks[page_size / node_alignment / 64];
};

Memory::Memory() : process(getpid()) {}

Memory::~Memory() {
    for (std::size_t i = 0; i < places; i++)
        std::free(known[i].copy);
    std::free(known);
    for (const int end : pipe_ends)
        if (end >= 0)
            close(end);
}

bool Memory::read(std::uintptr_t address, void *to, std::size_t size) {
    auto *at = static_cast<unsigned char *>(to);
    while (size > 0) {
        const Page *const from = page(address / page_size);
        if (from == nullptr)
            return false;
        const std::size_t offset = address % page_size;
        const std::size_t part = size < page_size - offset ? size : page_size - offset;
        std::memcpy(at, from->bytes + offset, part);
        at += part;
        address += part;
        size -= part;
    }
    return true;
}

bool Memory::mark(std::uintptr_t address) {
    Page *const of = page(address / page_size);
    const std::size_t number = address % page_size / node_alignment;
    std::uint64_t &word = of->marks[number / 64];
    const std::uint64_t bit = std::uint64_t{1} << (number % 64);
    const bool first = (word & bit) == 0;
    word |= bit;
    return first;
}

void Memory::prefetch(std::uintptr_t address) const {
    if (taken == 0)
        return;
    const Known &entry = known[place_of(address / page_size)];
    if (entry.copy != nullptr)
        __builtin_prefetch(entry.copy->bytes + address % page_size);
}

Memory::Page *Memory::page(std::uintptr_t number) {
    if (latest.number == number + 1)
        return latest.copy;
    if (2 * taken >= places && !make_room())
        return nullptr;
    Known &entry = known[place_of(number)];
    if (entry.number == 0) {
        Page *const copy = copied(number);
        if (failed != 0)
            return nullptr;
        entry = {number + 1, copy};
        taken++;
    }
    latest = entry;
    return entry.copy;
}

/* Null for a page that can't be read, and where `failed` is set. */
Memory::Page *Memory::copied(std::uintptr_t number) {
    auto *const copy = static_cast<Page *>(std::malloc(sizeof(Page)));
    if (copy == nullptr) {
        failed = ENOMEM;
        return nullptr;
    }
    const int status = copy_page(engine::node_at_plain(number * page_size), copy->bytes);
    if (status == 0) {
        std::memset(copy->marks, 0, sizeof copy->marks);
        return copy;
    }
    if (status != EFAULT)
        failed = status;
    std::free(copy);
    return nullptr;
}

/* Gives what errno has it, EFAULT for a page that can't be read. */
int Memory::copy_page(void *from, void *to) {
    if (pipe_ends[0] >= 0)
        return copy_through_pipe(from, to);
    const iovec source{from, page_size};
    const iovec target{to, page_size};
    const int status = status_of(process_vm_readv(process, &target, 1, &source, 1, 0));
    if (status != ENOSYS && status != EPERM)
        return status;
    return pipe2(pipe_ends, O_CLOEXEC) == 0 ? copy_through_pipe(from, to) : errno;
}

/* Containers and emulators refuse the call for another process's memory, and with it for one's own.
 * What is written to a pipe is looked at by the system as well. */
int Memory::copy_through_pipe(void *from, void *to) {
    const int status = status_of(write(pipe_ends[1], from, page_size));
    return status == 0 ? status_of(::read(pipe_ends[0], to, page_size)) : status;
}

/* Where the page stands in `known`, or the free place where it belongs. */
std::size_t Memory::place_of(std::uintptr_t number) const {
    std::size_t place = number * 0x9E3779B97F4A7C15U >> 20;
    while (known[place & (places - 1)].number != 0 &&
           known[place & (places - 1)].number != number + 1)
        place++;
    return place & (places - 1);
}

bool Memory::make_room() {
    Known *const former = known;
    const std::size_t former_places = places;
    const std::size_t wanted = places == 0 ? 64 : 2 * places;
    auto *const roomier = static_cast<Known *>(std::calloc(wanted, sizeof(Known)));
    if (roomier == nullptr) {
        failed = ENOMEM;
        return false;
    }
    known = roomier;
    places = wanted;
    for (std::size_t i = 0; i < former_places; i++)
        if (former[i].number != 0)
            known[place_of(former[i].number - 1)] = former[i];
    std::free(former);
    return true;
}

} // namespace zoe::inspect
