/* The journal: reports as lines, to a stream or kept as text. */
#include <cstdio>
#include <mutex>
#include <string>

#include "formatted.h"
#include "zoeavl_host.h"

namespace {

struct Journal : ZOJournal {
    FILE *stream;
    std::mutex guard; /* of what follows and of the stream */
    std::string text;
};

ZOWord report(ZOJournal *journal, const std::string &line) {
    auto *const self = static_cast<Journal *>(journal);
    const std::lock_guard hold(self->guard);
    if (self->stream != nullptr)
        std::fprintf(self->stream, "%s\n", line.c_str());
    else
        self->text += line + '\n';
    return static_cast<ZOWord>(line.size());
}

ZOWord put(const std::string &line, ZOWord buffer, ZOWord size) {
    auto *const bytes = reinterpret_cast<char *>(buffer); // NOLINT(performance-no-int-to-ptr)
    return std::snprintf(bytes, static_cast<std::size_t>(size), "%s", line.c_str());
}

const char *text_at(ZOWord word) {
    return reinterpret_cast<const char *>(word); // NOLINT(performance-no-int-to-ptr)
}

std::string described(ZOWord level, ZOWord status) {
    const auto code = static_cast<ZOStatus>(status);
    const char *const meaning = code == ZOEAVL_STATUS_RESOURCE ? "no pool, block or lock to be had"
                                : code == ZOEAVL_STATUS_UNSUPPORTED ? "unsupported"
                                                                    : "status";
    char line[96];
    std::snprintf(line, sizeof line, "zoeavl: level %ld, status 0x%08x: %s", level, code, meaning);
    return line;
}

ZOWord message_to_buf(ZOJournal *, ZOWord, ZOWord format, ZOWord buffer, ZOWord size, ZOWord,
                      va_list list) {
    return put(formatted(text_at(format), list), buffer, size);
}

ZOWord message_to_journal(ZOJournal *journal, ZOWord, ZOWord format, ZOWord, va_list list) {
    return report(journal, formatted(text_at(format), list));
}

ZOWord status_to_buf(ZOJournal *, ZOWord level, ZOWord status, ZOWord buffer, ZOWord size,
                     va_list) {
    return put(described(level, status), buffer, size);
}

ZOWord status_to_journal(ZOJournal *journal, ZOWord level, ZOWord status, va_list) {
    return report(journal, described(level, status));
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
