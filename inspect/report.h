/* The report: one line a fault, and their number. */
#ifndef ZOEAVL_INSPECT_REPORT_H
#define ZOEAVL_INSPECT_REPORT_H

#include <cstdint>
#include <cstdio>

namespace zoe::inspect {

/* What was expected or found: words, and an address or link word behind them unless it is 0. */
struct Sight {
    const char *words;
    std::uintptr_t word = 0;
};

class Report {
  public:
    explicit Report(std::FILE *stream) : out(stream) {}

    /* Faults of a record, and of what stands around the records. `slip`, the likely cause, may be
     * null. */
    void record(std::uintptr_t address, std::uint64_t place, const char *part, Sight expected,
                Sight found, const char *slip = nullptr);
    void frame(const char *what, std::uintptr_t address, Sight expected, Sight found,
               const char *slip = nullptr);

    /* What isn't a fault; and what hasn't the form of one. */
    [[gnu::format(printf, 2, 3)]] void note(const char *format, ...);
    [[gnu::format(printf, 2, 3)]] void warning(const char *format, ...);

    /* False for a failure, an errno, which is told as the reason why nothing follows. */
    bool goes_on(int failure);

    [[nodiscard]] std::int64_t faults() const { return count; }

  private:
    void judgement(Sight expected, Sight found, const char *slip);

    std::FILE *out;
    std::int64_t count = 0;
};

} // namespace zoe::inspect

#endif
