/* Ordered walking and list conversion: the order of a tree, read off its threads. */
#ifndef ZOEAVL_ENGINE_WALKING_HPP
#define ZOEAVL_ENGINE_WALKING_HPP

#include "path.hpp"

namespace zoe::inline v2::engine {

/* The outermost node on `side` of the tree with that head; null for an empty one. The only thread
 * on an outer spine is the null thread, so the descent ends at the first word without an address.
 */
inline ZOEAVLp outermost(ZOEAVLp head, Side side) {
    if (head == nullptr)
        return nullptr;
    ZOEAVLp node = head;
    for (std::uintptr_t next = links(node)[side]; next > tags; next = links(node)[side])
        node = node_at(next);
    return node;
}

/* As `neighbour`, for a walk: the far child of each node passed is fetched, since the walk gets
 * there once it is through with the near one. */
[[gnu::always_inline]] inline ZOEAVLp next_along(ZOEAVLp node, Side side) {
    const std::uintptr_t link = links(node)[side];
    node = node_at(link);
    if (is_thread(link))
        return node;
    for (;;) {
        const std::uintptr_t next = links(node)[opposite(side)];
        if (is_thread(next))
            return node;
        __builtin_prefetch(node_at(links(node)[side]));
        node = node_at(next);
    }
}

/* Fetches a tree ahead of a walk from its first node to its last: subtrees of a few levels, each as
 * a whole, level by level, and always one more than the walk has entered. It looks only at nodes
 * that the walk hasn't reached. What it reads serves as a hint alone, and whatever the words hold
 * it ends, since it goes down by heights. */
class LookAhead {
  public:
    explicit LookAhead(ZOEAVLp head) {
        enter(head, height_of(head));
        proceed();
    }

    /* What is lower stays in cache without. */
    static bool pays(ZOEAVLp head) { return height_of(head) >= 13; }

    /* To be told of each node ahead of its turn. */
    void visit(ZOEAVLp node) {
        if (__builtin_expect(node == milestone, 0))
            proceed();
    }

  private:
    static constexpr int fetched_levels = 8;

    struct Subtree {
        ZOEAVLp node;
        int height;
        [[nodiscard]] int height_on(Side side) const {
            return height - (leans(node, opposite(side)) ? 2 : 1);
        }
    };

    static bool is_child(std::uintptr_t link) { return !is_thread(link) && link > tags; }

    static int height_of(ZOEAVLp node) {
        for (int height = 1;; height++) {
            const std::uintptr_t link = links(node)[leans(node, right) ? right : left];
            if (!is_child(link) || height == static_cast<int>(path_capacity))
                return height;
            node = node_at(link);
        }
    }

    /* Goes down to the first subtree that is fetched as a whole, and fetches it. */
    void enter(ZOEAVLp node, int height) {
        Subtree subtree{node, height};
        while (subtree.height > fetched_levels) {
            *pending++ = subtree;
            const std::uintptr_t link = links(subtree.node)[left];
            if (!is_child(link))
                return;
            subtree = {node_at(link), subtree.height_on(left)};
        }
        fetch(subtree.node);
    }

    /* The node behind the subtree fetched last is the next milestone; what follows it is fetched.
     */
    void proceed() {
        milestone = nullptr;
        if (pending == path)
            return;
        const Subtree subtree = *--pending;
        milestone = subtree.node;
        const std::uintptr_t link = links(subtree.node)[right];
        if (is_child(link))
            enter(node_at(link), subtree.height_on(right));
    }

    /* In line, since a compiler leaves out a call of what has no effect but hints. */
    [[gnu::always_inline]] static void fetch(ZOEAVLp top) {
        ZOEAVLp nodes[(1 << fetched_levels) - 1];
        nodes[0] = top;
        ZOEAVLp *node = nodes;
        ZOEAVLp *end = nodes + 1;
        const auto take = [&end](std::uintptr_t link) {
            *end = node_at(link);
            __builtin_prefetch(*end);
            end += is_child(link) ? 1 : 0;
        };
        for (int level = 1; level < fetched_levels; level++)
            for (ZOEAVLp *const level_end = end; node != level_end; node++) {
                take(links(*node)[left]);
                take(links(*node)[right]);
            }
    }

    Subtree path[path_capacity];
    Subtree *pending = path;
    ZOEAVLp milestone = nullptr;
};

template <class Visit>
[[gnu::always_inline]] inline ZOEAVLp flatten_seen(ZOEAVLp head, Word *tail, Visit visit) {
    const ZOEAVLp first = outermost(head, left);
    ZOEAVLp previous = nullptr;
    for (ZOEAVLp current = first; current != nullptr;) {
        visit(current);
        const ZOEAVLp next = next_along(current, right);
        links(current)[left] = word_of(previous);
        links(current)[right] = word_of(next);
        *tail = word_of(current);
        previous = current;
        current = next;
    }
    return first;
}

/* Turns the tree with that head into a doubly linked list through the nodes' own words and gives
 * its first node. `tail` receives each node in turn, and null before anything is followed. */
inline ZOEAVLp flatten(ZOEAVLp head, Word *tail) {
    *tail = 0;
    if (head == nullptr || !LookAhead::pays(head))
        return flatten_seen(head, tail, [](ZOEAVLp) {});
    LookAhead ahead(head);
    return flatten_seen(head, tail, [&ahead](ZOEAVLp node) { ahead.visit(node); });
}

} // namespace zoe::inline v2::engine

#endif
