/* Link words: what they hold, how they are read, and the two sides that everything is written over.
 *
 * THE TREE
 *
 * A height-balanced binary search tree (Adelson-Velsky and Landis, 1962): at every node the heights
 * of the two subtrees differ by at most one. It is intrusive: a node is the caller's own record,
 * and the two link words at its front are all that the engine ever writes. It is threaded (Perlis
 * and Thornton, 1960): where a child is missing, the link leads to the in-order neighbour on that
 * side instead, so that a walk needs neither stack nor search. Nothing is allocated and nothing
 * recurs: paths are fixed arrays in the frame of the operation.
 *
 * A link word is a node's address with two tags in the bits that alignment leaves free:
 *
 *     bit 1, thread   the word stands where a child is missing and leads to the neighbour; the
 *                     first node's left and the last node's right thread lead nowhere: the word 2
 *     bit 0, balance  says something of the node that HOLDS the word: its subtree on this side is
 *                     the taller one; at most one of the two words has it, and never a thread
 *
 * GLOSSARY
 *
 *     side      left or right, as data; every mirrored step is written once, over a side
 *     level     a node whose subtrees are equally high
 *     leans     a node leans to the side of its taller subtree
 *     thread    a link that leads to a neighbour, as opposed to a child
 *     path      the nodes from the root down to a place, each with the side by which it was left
 *     head      the root's word for the root node: an address without tags
 *
 * ROTATIONS
 *
 * When s leans to a side and that side grows, or the other one shrinks, q, its child there, is
 * hauled up. With the tall side drawn on the right, and heights below the subtrees:
 *
 *     q leans away from s, or is level: single rotation. When q leans, the height falls by one and
 *     both end level; when q is level (after a removal alone) the height stays, and they end
 *     leaning towards each other.
 *
 *           s                    q
 *          / \                  / \
 *         A   q       =>       s   C
 *         h  / \              / \
 *           B   C            A   B
 *          h,h+1 h+1         h  h,h+1
 *
 *     q leans towards s: double rotation, with p, the child of q on the near side. The height falls
 *     by one and p ends level; s or q inherits the lean that p had, away from p.
 *
 *           s                     p
 *          / \                  /   \
 *         A   q       =>       s     q
 *         h  / \              / \   / \
 *           p   D            A   B C   D
 *          / \  h            h         h
 *         B   C
 *
 * A subtree that moves from one node to another takes its link along. Where it is empty the link is
 * a thread, and the node that gained it now has the node it came from as its neighbour: its new
 * thread leads there. */
#ifndef ZOEAVL_ENGINE_LINKS_HPP
#define ZOEAVL_ENGINE_LINKS_HPP

#include <cstdint>

#include "zoeavl.h"

namespace zoe::inline v2::engine {

/* A link word in memory. Records may stand at any multiple of four, and a word may also be read as
 * the pointer that callers see. */
typedef std::uintptr_t Word __attribute__((aligned(4), may_alias));

enum Side : unsigned { left = 0, right = 1 };

constexpr Side opposite(Side side) {
    return static_cast<Side>(side ^ 1U);
}
static_assert(opposite(left) == right && opposite(right) == left);

inline constexpr std::uintptr_t balance_bit = 1;
inline constexpr std::uintptr_t thread_bit = 2;
inline constexpr std::uintptr_t tags = balance_bit | thread_bit;
inline constexpr std::uintptr_t null_thread = thread_bit;
static_assert(alignof(ZOEAVLNODE) > tags, "both tags must lie below a node's alignment");

constexpr bool is_thread(std::uintptr_t link) {
    return (link & thread_bit) != 0;
}
constexpr std::uintptr_t make_thread(std::uintptr_t link) {
    return link | thread_bit;
}
constexpr std::uintptr_t strip_balance(std::uintptr_t link) {
    return link & ~balance_bit;
}
constexpr std::uintptr_t address(std::uintptr_t link) {
    return link & ~tags;
}
/* What `target` becomes when it is led elsewhere: the owner's balance stays, a thread comes along.
 */
constexpr std::uintptr_t keep_balance(std::uintptr_t target, std::uintptr_t source) {
    return strip_balance(source) | (target & balance_bit);
}
static_assert(strip_balance(null_thread) == 2 && address(null_thread) == 0);
static_assert(keep_balance(0x1001, 0x2003) == 0x2003 && keep_balance(0x1000, 0x2003) == 0x2002);

inline ZOEAVLp node_at_plain(std::uintptr_t untagged) {
    return reinterpret_cast<ZOEAVLp>(untagged); // NOLINT(performance-no-int-to-ptr)
}
inline ZOEAVLp node_at(std::uintptr_t link) {
    return node_at_plain(address(link));
}
inline std::uintptr_t word_of(const ZOEAVLNODE *node) {
    return reinterpret_cast<std::uintptr_t>(node);
}

/* The two link words of a node, indexed by side. */
inline Word *links(ZOEAVLp node) {
    return reinterpret_cast<Word *>(node);
}
static_assert(offsetof(ZOEAVLNODE, llink) == left * sizeof(Word) &&
              offsetof(ZOEAVLNODE, rlink) == right * sizeof(Word));

inline Word *head_link(ZOEAVLRootp root) {
    return reinterpret_cast<Word *>(&root->headptr);
}

inline void lead_to(Word *link, std::uintptr_t target) {
    *link = keep_balance(*link, target);
}

inline bool leans(ZOEAVLp node, Side side) {
    return (links(node)[side] & balance_bit) != 0;
}
inline bool is_level(ZOEAVLp node) {
    return ((links(node)[left] | links(node)[right]) & balance_bit) == 0;
}

/* The outermost node on `side` below `link`, a child link: follows children until a thread. */
inline ZOEAVLp descend_along(std::uintptr_t link, Side side) {
    ZOEAVLp node = node_at(link);
    for (std::uintptr_t next = links(node)[side]; !is_thread(next); next = links(node)[side])
        node = node_at(next);
    return node;
}

/* The in-order neighbour of `node` on `side`, or null. */
inline ZOEAVLp neighbour(ZOEAVLp node, Side side) {
    const std::uintptr_t link = links(node)[side];
    return is_thread(link) ? node_at(link) : descend_along(link, opposite(side));
}

} // namespace zoe::inline v2::engine

#endif
