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

template <class Piece>
Piece piece_at(const void *at, uint64_t offset) {
    return unit_at(reinterpret_cast<const Piece *>(static_cast<const char *>(at) + offset), 0);
}

/* The index of the first of `len` units that `marks` picks out, or `len`. Called with a piece,
 * which tells its width alone, and an offset in bytes, `marks` looks at what of that width stands
 * there and gives bits of which the lowest lies in the first unit picked out, 0 if there is none.
 * Pieces are whole words while there are as many units left, so that nothing outside is read; a
 * library routine may read whole vectors and discard the rest. */
template <class Unit, class Marks>
uint64_t first_marked(uint64_t len, const Marks &marks) {
    constexpr uint64_t units = block / sizeof(Unit);
    const auto word = [&](uint64_t index) { return marks(uint64_t{}, index * sizeof(Unit)); };
    uint64_t i = 0;
    for (; len - i >= 4 * units; i += 4 * units)
        if ((word(i) | word(i + units) | word(i + 2 * units) | word(i + 3 * units)) != 0)
            break;
    for (; len - i >= units; i += units)
        if (const uint64_t found = word(i); found != 0) // little-endian: the first unit is lowest
            return i + static_cast<uint64_t>(__builtin_ctzll(found)) / (8 * sizeof(Unit));
    while (i < len && marks(Unit{}, i * sizeof(Unit)) == 0)
        i++;
    return i;
}

template <class Unit>
uint64_t first_other(const void *buf, uint64_t len, Unit value) {
    return first_marked<Unit>(len, [=]<class Piece>(Piece, uint64_t at) {
        return static_cast<Piece>(piece_at<Piece>(buf, at) ^ everywhere(value));
    });
}

uint64_t first_equal(const void *buf, uint64_t len, uint8_t value) {
    return first_marked<uint8_t>(len, [=]<class Piece>(Piece, uint64_t at) {
        const auto zero = static_cast<Piece>(piece_at<Piece>(buf, at) ^ everywhere(value));
        constexpr auto low = static_cast<Piece>(everywhere(uint8_t{0x01}));
        constexpr auto high = static_cast<Piece>(everywhere(uint8_t{0x80}));
        return static_cast<Piece>((zero - low) & ~zero & high); // borrows go up from a zero byte
    });
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
    const uint64_t at = first_marked<uint8_t>(len, [=]<class Piece>(Piece, uint64_t offset) {
        return static_cast<Piece>(piece_at<Piece>(a, offset) ^ piece_at<Piece>(b, offset));
    });
    if (at == len)
        return 0;
    return piece_at<uint8_t>(a, at) < piece_at<uint8_t>(b, at) ? -1 : 1;
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
    return buf == nullptr ? -1
                          : index_or_none(first_equal(buf, len, static_cast<uint8_t>(value)), len);
}

int64_t skMemNScan(const void *buf, uint64_t len, uint32_t value) {
    return buf == nullptr ? -1
                          : index_or_none(first_other(buf, len, static_cast<uint8_t>(value)), len);
}

int64_t skMemTNScan(const zochar *buf, uint64_t len, uint32_t value) {
    return buf == nullptr ? -1 : index_or_none(first_other(buf, len, value), len);
}

uint32_t skMissArray(const double *values, uint64_t len) {
    /* On bits, since the comparison of a signalling NaN raises an exception. */
    constexpr uint64_t infinity = 0x7FF0000000000000;
    const uint64_t at = first_marked<uint64_t>(len, [=](uint64_t, uint64_t offset) {
        return uint64_t{(piece_at<uint64_t>(values, offset) & INT64_MAX) > infinity};
    });
    return at != len;
}
