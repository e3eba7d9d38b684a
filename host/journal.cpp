/* The journal: reports as lines, to a stream or kept as text. */
#include <cstdio>
#include <exception>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "formatted.h"
#include "zoeavl_host.h"

namespace {

struct Journal : ZOJournal {
    FILE *stream;
    std::mutex guard; /* of what follows and of the stream */
    std::string text;
};

ZOWord report(ZOJournal *journal, std::string_view line) {
    auto *const self = static_cast<Journal *>(journal);
    const std::lock_guard hold(self->guard);
    if (self->stream != nullptr) {
        std::fprintf(self->stream, "%.*s\n", static_cast<int>(line.size()), line.data());
    } else {
        try {
            self->text.reserve(self->text.size() + line.size() + 1);
            self->text.append(line).push_back('\n');
        } catch (const std::bad_alloc &) { // the report is lost, and nothing else
        }
    }
    return static_cast<ZOWord>(line.size());
}

ZOWord put(std::string_view line, ZOWord buffer, ZOWord size) {
    auto *const bytes = reinterpret_cast<char *>(buffer); // NOLINT(performance-no-int-to-ptr)
    return std::snprintf(bytes, static_cast<std::size_t>(size), "%.*s",
                         static_cast<int>(line.size()), line.data());
}

/* Hands on what printf would print; the format as it stands where printf or the memory for it
 * fails.
 */
template <class Act>
ZOWord with_message(ZOWord format, va_list list, Act act) {
    const auto *const text =
        reinterpret_cast<const char *>(format); // NOLINT(performance-no-int-to-ptr)
    try {
        return act(formatted(text, list));
    } catch (const std::exception &) {
        return act(text);
    }
}

template <class Act>
ZOWord with_description(ZOWord level, ZOWord status, Act act) {
    const auto code = static_cast<ZOStatus>(status);
    const char *const meaning = code == ZOEAVL_STATUS_RESOURCE ? "no pool, block or lock to be had"
                                : code == ZOEAVL_STATUS_UNSUPPORTED ? "unsupported"
                                                                    : "status";
    char line[96];
    std::snprintf(line, sizeof line, "zoeavl: level %ld, status 0x%08x: %s", level, code, meaning);
    return act(line);
}

ZOWord message_to_buf(ZOJournal *, ZOWord, ZOWord format, ZOWord buffer, ZOWord size, ZOWord,
                      va_list list) {
    return with_message(format, list,
                        [=](std::string_view line) { return put(line, buffer, size); });
}

ZOWord message_to_journal(ZOJournal *journal, ZOWord, ZOWord format, ZOWord, va_list list) {
    return with_message(format, list, [=](std::string_view line) { return report(journal, line); });
}

ZOWord status_to_buf(ZOJournal *, ZOWord level, ZOWord status, ZOWord buffer, ZOWord size,
                     va_list) {
    return with_description(level, status,
                            [=](std::string_view line) { return put(line, buffer, size); });
}

ZOWord status_to_journal(ZOJournal *journal, ZOWord level, ZOWord status, va_list) {
    return with_description(level, status,
                            [=](std::string_view line) { return report(journal, line); });
}

ZOWord get_locale(ZOJournal *, ...) {
    static const char locale[] = "C";
    return reinterpret_cast<ZOWord>(locale);
}

} // namespace

ZOJournal *zoeavl_host_journal(FILE *stream) {
    auto *const journal = new Journal{};
    journal->MessageToBuf = message_to_buf;
    journal->MessageToJnl = message_to_journal;
    journal->StatusToBuf = status_to_buf;
    journal->StatusToJnl = status_to_journal;
    journal->GetLocale = get_locale;
    journal->stream = stream;
    return journal;
}

const char *zoeavl_host_journal_text(ZOJournal *journal) {
    return static_cast<Journal *>(journal)->text.c_str();
}

void zoeavl_host_journal_end(ZOJournal *journal) {
    delete static_cast<Journal *>(journal);
}
