/* What the host itself has to say: a line for a journal, and the last line of a process. */
#include <cstdio>
#include <cstdlib>
#include <execinfo.h>
#include <iterator>
#include <unistd.h>

#include "report.h"

namespace {

void message(ZOJournal *journal, const char *format, ...) {
    va_list list;
    va_start(list, format);
    journal->MessageToJnl(journal, ZOJOURNAL_LEVEL, reinterpret_cast<ZOWord>(format), 0, list);
    va_end(list);
}

} // namespace

void report(ZOJournal *journal, const std::string &line) {
    if (journal != nullptr)
        message(journal, "%s", line.c_str());
}

void end_with_fault(ZOJournal *journal, const std::string &fault) {
    const std::string line = "zoeavl_host: " + fault;
    report(journal, line);
    if (journal == nullptr)
        std::fprintf(stderr, "%s\n", line.c_str());
    std::fflush(nullptr);
    void *calls[64];
    backtrace_symbols_fd(calls, backtrace(calls, static_cast<int>(std::size(calls))),
                         STDERR_FILENO);
    std::abort();
}
