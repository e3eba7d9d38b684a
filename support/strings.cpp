/* Routines on zero-terminated strings of bytes and of 32-bit units, and on the case of letters. */
#include <cstring>

#include "units.h"
#include "zosupport.h"

using namespace zoe::engine;

uint64_t skStrLen(const char *str) {
    return str == nullptr ? 0 : std::strlen(str);
}

uint64_t skStrTLen(const zochar *str) {
    uint64_t length = 0;
    if (str != nullptr)
        while (unit_at(str, length) != 0)
            length++;
    return length;
}

void skStrCpy(const char *src, char *dst) {
    if (dst == nullptr)
        return;
    if (src == nullptr)
        *dst = 0;
    else
        std::memmove(dst, src, skStrLen(src) + 1);
}

void skStrTCpy(const zochar *src, zochar *dst) {
    if (dst == nullptr)
        return;
    if (src == nullptr)
        std::memset(dst, 0, sizeof(zochar));
    else
        std::memmove(dst, src, (skStrTLen(src) + 1) * sizeof(zochar));
}

namespace {

/* Flips the case bit of each byte from `first` on that is one of the alphabet's 26. */
void flip_case(char *buf, uint64_t len, char first) {
    for (uint64_t i = 0; i < len; i++) {
        const auto distance = static_cast<unsigned char>(buf[i] - first);
        buf[i] = static_cast<char>(buf[i] ^ (distance < 26 ? 0x20 : 0));
    }
}
static_assert(('a' ^ 0x20) == 'A' && ('z' ^ 0x20) == 'Z');

} // namespace

void skStrUp(char *buf, uint64_t len) {
    flip_case(buf, len, 'a');
}

void skStrLow(char *buf, uint64_t len) {
    flip_case(buf, len, 'A');
}
