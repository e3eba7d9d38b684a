/* A check of an index from outside: what is wrong with it, in lines. Needs the library
 * zoeavl_inspect (zoeavl::inspect in CMake). */
#ifndef ZOEAVL_CHECK_HPP
#define ZOEAVL_CHECK_HPP

#include <cstdlib>
#include <exception>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>

#include "../zoeavl_inspect.h"
#include "operations.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

namespace detail {
struct inspection {
    template <class Operations>
    static ZOEAVLp head(const Operations &index) {
        return index.head();
    }
};
} // namespace detail

/* What a check found: a line for each fault. */
class check_report {
  public:
    /* For check alone: the lines, and how many faults they tell of. */
    check_report(std::string lines_, std::size_t faults_)
        : lines(std::move(lines_)), faults(faults_) {}

    /* True if all is sound; the number of faults; the lines, which streaming writes as well. */
    [[nodiscard]] bool empty() const noexcept { return faults == 0; }
    [[nodiscard]] std::size_t size() const noexcept { return faults; }
    [[nodiscard]] const std::string &text() const noexcept { return lines; }
    friend std::ostream &operator<<(std::ostream &out, const check_report &report) {
        return out << report.lines;
    }

  private:
    std::string lines;
    std::size_t faults;
};

namespace detail {

template <class Derived, class Hook, auto... keys>
check_report checked_by(decltype(zoeavl_check_words) check_words,
                        const operations<Derived, Hook, keys...> &index, int level) {
    using ordering = detail::ordering<Hook, keys...>;
    std::exception_ptr thrown;
    const auto ascending = [](void *context, ZOEAVLp before, ZOEAVLp after) -> int {
        auto &exception = *static_cast<std::exception_ptr *>(context);
        try {
            if (exception)
                return 1;
            const auto values = ordering::values_of(*Hook::record_of(before));
            const auto outcome = detail::compared(ordering::search(values), after);
            return !outcome.equal && !outcome.after;
        } catch (...) {
            exception = std::current_exception();
            return 1;
        }
    };
    char *text = nullptr;
    std::size_t size = 0;
    FILE *const stream = open_memstream(&text, &size);
    if (stream == nullptr)
        throw std::runtime_error("zoeavl: no stream for the report of a check");
    const ZOEAVLp head = inspection::head(index);
    const std::int64_t faults = check_words(&head, ascending, &thrown, level, stream);
    std::fclose(stream);
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    std::string lines(text, size);
    if (thrown)
        std::rethrow_exception(thrown);
    if (faults == ZOEAVL_INSPECT_FAILED)
        throw std::runtime_error("zoeavl: check: " + lines);
    return {std::move(lines), static_cast<std::size_t>(faults)};
}

#ifdef ZOEAVL_CHECKED
/* Null in a program that doesn't link zoeavl_inspect. */
[[maybe_unused,
  gnu::weakref("zoeavl_check_words")]] static decltype(zoeavl_check_words) check_words_if_linked;

template <class Index>
void expect_sound(const Index &index) {
    if (check_words_if_linked == nullptr)
        return;
    const check_report report = checked_by(check_words_if_linked, index, ZOEAVL_CHECK_ORDER);
    expect([&] { return report.empty(); }, ("zoeavl: " + report.text()).c_str());
}
#endif

} // namespace detail

/* Checks links, heights and, where these are sound, the order of an index, a tree object or a view
 * (of the latter two what read() and write() reach), up to a level of zoeavl_inspect.h. Takes no
 * lock, changes nothing, O(n); links may hold anything, records that they lead to are read for
 * their keys. Throws std::runtime_error if it couldn't be carried through, and what a comparison
 * throws. */
template <class Derived, class Hook, auto... keys>
[[nodiscard]] check_report check(const detail::operations<Derived, Hook, keys...> &index,
                                 int level = ZOEAVL_CHECK_ORDER) {
    return detail::checked_by(zoeavl_check_words, index, level);
}

} // namespace ZOEAVL_FACE_NAMESPACE

#endif
