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

const char *text_at(ZOWord word) {
    return reinterpret_cast<const char *>(word); // NOLINT(performance-no-int-to-ptr)
}

/* What printf would print, kept in `text`; the format as it stands where printf, or the memory for
 * it, fails. */
std::string_view message(const char *format, va_list list, std::string &text) {
    try {
        return text = formatted(format, list);
    } catch (const std::exception &) {
        return format;
    }
}

using Line = char[96];

std::string_view described(ZOWord level, ZOWord status, Line &line) {
    const auto code = static_cast<ZOStatus>(status);
    const char *const meaning = code == ZOEAVL_STATUS_RESOURCE ? "no pool, block or lock to be had"
                                : code == ZOEAVL_STATUS_UNSUPPORTED ? "unsupported"
                                                                    : "status";
    std::snprintf(line, sizeof line, "zoeavl: level %ld, status 0x%08x: %s", level, code, meaning);
    return line;
}

ZOWord message_to_buf(ZOJournal *, ZOWord, ZOWord format, ZOWord buffer, ZOWord size, ZOWord,
                      va_list list) {
    std::string text;
    return put(message(text_at(format), list, text), buffer, size);
}

ZOWord message_to_journal(ZOJournal *journal, ZOWord, ZOWord format, ZOWord, va_list list) {
    std::string text;
    return report(journal, message(text_at(format), list, text));
}

ZOWord status_to_buf(ZOJournal *, ZOWord level, ZOWord status, ZOWord buffer, ZOWord size,
                     va_list) {
    Line line;
    return put(described(level, status, line), buffer, size);
}

ZOWord status_to_journal(ZOJournal *journal, ZOWord level, ZOWord status, va_list) {
    Line line;
    return report(journal, described(level, status, line));
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
