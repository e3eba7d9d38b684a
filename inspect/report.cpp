#include "report.h"

#include <cstdarg>
#include <cstring>

namespace zoe::inspect {
namespace {

void put(std::FILE *out, Sight sight) {
    std::fputs(sight.words, out);
    if (sight.word != 0)
        std::fprintf(out, " %#lx", static_cast<unsigned long>(sight.word));
}

void put_line(std::FILE *out, const char *format, va_list arguments) {
    if (out == nullptr)
        return;
    std::vfprintf(out, format, arguments); // NOLINT: the callers have started the list
    std::fputc('\n', out);
}

} // namespace

void Report::record(std::uintptr_t address, std::uint64_t place, const char *part, Sight expected,
                    Sight found, const char *slip) {
    if (out != nullptr)
        std::fprintf(out, "record %#lx, place %lu: %s: ", static_cast<unsigned long>(address),
                     static_cast<unsigned long>(place), part);
    judgement(expected, found, slip);
}

void Report::frame(const char *what, std::uintptr_t address, Sight expected, Sight found,
                   const char *slip) {
    if (out != nullptr)
        std::fprintf(out, "%s at %#lx: ", what, static_cast<unsigned long>(address));
    judgement(expected, found, slip);
}

void Report::judgement(Sight expected, Sight found, const char *slip) {
    count++;
    if (out == nullptr)
        return;
    std::fputs("expected ", out);
    put(out, expected);
    std::fputs(", found ", out);
    put(out, found);
    if (slip != nullptr)
        std::fprintf(out, " (%s)", slip);
    std::fputc('\n', out);
}

void Report::note(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    put_line(out, format, arguments);
    va_end(arguments);
}

bool Report::goes_on(int failure) {
    if (failure != 0)
        note("can't go on: %s", strerrordesc_np(failure));
    return failure == 0;
}

void Report::warning(const char *format, ...) {
    count++;
    va_list arguments;
    va_start(arguments, format);
    put_line(out, format, arguments);
    va_end(arguments);
}

} // namespace zoe::inspect
