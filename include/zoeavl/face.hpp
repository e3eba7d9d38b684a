/* What every part of the C++ face begins with: its versioned namespace, and checked mode.
 *
 * With ZOEAVL_CHECKED defined, misuse that can be seen throws std::logic_error: a record that is
 * linked is inserted, an iterator's record was removed or isn't found at its place, an end is
 * dereferenced, a range ends ahead of its beginning, and the like; and an operation on many records
 * checks the whole index first, O(n), where the program links zoeavl_inspect, and throws the report
 * of its faults. Checked and unchecked code have different names for the linker and may stand in
 * one program; their records and trees are of different types. Without it these checks cost
 * nothing. */
#ifndef ZOEAVL_FACE_HPP
#define ZOEAVL_FACE_HPP

/* For the library's own use: the namespace that stands behind the name zoe. */
#ifdef ZOEAVL_CHECKED
#    include <stdexcept>
#    define ZOEAVL_FACE_NAMESPACE zoe::inline v2_checked
#else
#    define ZOEAVL_FACE_NAMESPACE zoe::inline v2
#endif

namespace ZOEAVL_FACE_NAMESPACE::detail {

/* Throws in checked mode if what must hold doesn't. */
template <class Condition>
[[gnu::always_inline]] inline void expect([[maybe_unused]] Condition holds,
                                          [[maybe_unused]] const char *otherwise) {
#ifdef ZOEAVL_CHECKED
    if (!holds())
        throw std::logic_error(otherwise);
#endif
}

} // namespace ZOEAVL_FACE_NAMESPACE::detail

#endif
