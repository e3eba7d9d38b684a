/* What printf would print, as a string. */
#ifndef ZOEAVL_HOST_FORMATTED_H
#define ZOEAVL_HOST_FORMATTED_H

#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <string>

inline std::string formatted(const char *format, va_list list) {
    va_list again;
    va_copy(again, list);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it was copied just now
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0)
        throw std::runtime_error("can't format: " + std::string(format));
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, list);
    return text;
}

#endif
