/* The path of a search: the nodes passed, each with the side by which it was left. */
#ifndef ZOEAVL_ENGINE_PATH_HPP
#define ZOEAVL_ENGINE_PATH_HPP

#include <cstddef>

#include "links.hpp"

namespace zoe::inline v2::engine {

/* A node's address with the side in bit 0. */
class Step {
  public:
    Step() = default;
    explicit Step(std::uintptr_t word_) : word(word_) {}
    Step(ZOEAVLp node, Side side) : Step(word_for(node, side)) {}
    static std::uintptr_t word_for(ZOEAVLp node, Side side) { return word_of(node) | side; }
    [[nodiscard]] ZOEAVLp node() const { return node_at(word); }
    [[nodiscard]] Side side() const { return static_cast<Side>(word & 1U); }
    [[nodiscard]] Word *link() const { return links(node()) + side(); }
    friend bool operator==(const Step &, const Step &) = default;

  private:
    std::uintptr_t word;
};

/* A node is two words, so 64-bit addresses reach at most 2^60 nodes, and no AVL tree is higher than
 * 1.44 times the logarithm of its node count: no path overflows, and none is checked. */
inline constexpr std::size_t path_capacity =
    (sizeof(void *) * 8 - (sizeof(void *) == 8 ? 4 : 3)) * 3 / 2;
static_assert(path_capacity == 90);

/* The word that leads to the node below the last step: the head, if no step was made. */
inline Word *link_below(Word *head, const Step *first, const Step *end) {
    return end == first ? head : end[-1].link();
}

} // namespace zoe::inline v2::engine

#endif
