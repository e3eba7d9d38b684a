/* Routines on blocks of memory: copies, fills, comparisons and scans. */
#include <cstring>

#include "units.h"
#include "zosupport.h"

using namespace zoe::engine;

namespace {

constexpr uint64_t block_copy_above = 96;
constexpr uint64_t block = sizeof(uint64_t);

constexpr uint64_t everywhere(uint8_t byte) {
    return UINT64_C(0x0101010101010101) * byte;
}
constexpr uint64_t everywhere(uint32_t unit) {
    return UINT64_C(0x0000000100000001) * unit;
}
static_assert(everywhere(static_cast<uint8_t>(0xA5)) == 0xA5A5A5A5A5A5A5A5);

/* The index of the first of `len` units that differs from `value`, or `len`. Takes eight bytes at a
 * time while as many are left. */
template <class Unit>
uint64_t first_other(const void *buf, uint64_t len, Unit value) {
    constexpr uint64_t units_in_block = block / sizeof(Unit);
    const auto *const units = static_cast<const char *>(buf);
    const uint64_t wanted = everywhere(value);
    uint64_t i = 0;
    for (; len - i >= units_in_block; i += units_in_block) {
        uint64_t found;
        std::memcpy(&found, units + i * sizeof(Unit), block);
        if (found != wanted) // little-endian: the lowest differing bit is in the first other unit
            return i + static_cast<uint64_t>(__builtin_ctzll(found ^ wanted)) / (8 * sizeof(Unit));
    }
    for (; i < len; i++)
        if (unit_at(reinterpret_cast<const Unit *>(units), i) != value)
            return i;
    return len;
}

int64_t index_or_none(uint64_t index, uint64_t len) {
    return index < len ? static_cast<int64_t>(index) : -1;
}

} // namespace

void *skMemDup(const void *src, uint64_t len, ZOPool *pool) {
    if (pool == nullptr || src == nullptr)
        return nullptr;
    void *const copy = pool->Alloc(pool, len, 0);
    if (copy != nullptr)
        std::memcpy(copy, src, len);
    return copy;
}

uint32_t skMemNot(uint32_t value, const void *buf, uint64_t len) {
    return first_other(buf, len, static_cast<uint8_t>(value)) == len;
}

uint32_t skMemTNot(uint32_t value, const zochar *buf, uint64_t len) {
    return first_other(buf, len, value) == len;
}

void skMemSet(void *dst, uint32_t value, uint64_t len) {
    if (len != 0)
        std::memset(dst, static_cast<uint8_t>(value), len);
}

void skMemTSet(zochar *dst, uint32_t value, uint64_t len) {
    auto *const bytes = reinterpret_cast<char *>(dst);
    for (uint64_t i = 0; i < len; i++)
        std::memcpy(bytes + i * sizeof value, &value, sizeof value);
}

int32_t skMemCmp(const void *a, const void *b, uint64_t len) {
    const int order = len == 0 ? 0 : std::memcmp(a, b, len);
    return (order > 0) - (order < 0);
}

int32_t skWMemCmp(const zochar *a, const zochar *b, uint64_t len) {
    for (uint64_t i = 0; i < len; i++) {
        const uint32_t difference = unit_at(a, i) - unit_at(b, i);
        if (difference != 0)
            return (difference & 0x80000000U) != 0 ? -1 : 1;
    }
    return 0;
}

void *skMemCpy(const void *src, void *dst, uint64_t len) {
    const auto *from = static_cast<const char *>(src);
    auto *to = static_cast<char *>(dst);
    const auto source = reinterpret_cast<uintptr_t>(src);
    const auto target = reinterpret_cast<uintptr_t>(dst);
    const uint64_t distance = target > source ? target - source : source - target;
    if (len > block_copy_above && distance > len)
        return std::memcpy(dst, src, len);

    /* Each piece is read whole before it is written, which is the same as byte by byte as long as
     * no piece reaches into what it writes itself. */
    if (target < source || distance >= block)
        for (; len >= block; len -= block, from += block, to += block) {
            uint64_t piece;
            std::memcpy(&piece, from, block);
            std::memcpy(to, &piece, block);
        }
    for (; len > 0; len--) {
        *to++ = *from++;
        asm volatile("" : : : "memory"); // each byte is written before the next is read
    }
    return dst;
}

void skMemSCpy(const void *src, void *dst, uint64_t len) {
    if (len != 0)
        std::memmove(dst, src, len);
}

int64_t skMemScan(const void *buf, uint64_t len, uint32_t value) {
    if (buf == nullptr || len == 0)
        return -1;
    const void *const hit = std::memchr(buf, static_cast<uint8_t>(value), len);
    return hit == nullptr ? -1 : static_cast<const char *>(hit) - static_cast<const char *>(buf);
}

int64_t skMemNScan(const void *buf, uint64_t len, uint32_t value) {
    return buf == nullptr ? -1
                          : index_or_none(first_other(buf, len, static_cast<uint8_t>(value)), len);
}

int64_t skMemTNScan(const zochar *buf, uint64_t len, uint32_t value) {
    return buf == nullptr ? -1 : index_or_none(first_other(buf, len, value), len);
}

uint32_t skMissArray(const double *values, uint64_t len) {
    for (uint64_t i = 0; i < len; i++) {
        const double value = unit_at(values, i);
        if (value != value) // NOLINT(misc-redundant-expression): true of a NaN alone
            return 1;
    }
    return 0;
}
