/* A reference model of the tree, written apart from the engine: a shape is an immutable tree of
 * heights, operations on it are plain recursion, and which record stands where follows from sorted
 * order alone. Link words are worked out from both and compared word by word. */
#ifndef ZOEAVL_TESTS_MODEL_H
#define ZOEAVL_TESTS_MODEL_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "zoeavl.h"

namespace model {

struct Shape;
using ShapeP = std::shared_ptr<const Shape>;

struct Shape {
    ShapeP left, right;
    int height;
    std::size_t size;
};

inline int height(const ShapeP &s) {
    return s ? s->height : 0;
}
inline std::size_t size(const ShapeP &s) {
    return s ? s->size : 0;
}

inline ShapeP join(const ShapeP &l, const ShapeP &r) {
    return std::make_shared<const Shape>(
        Shape{l, r, 1 + std::max(height(l), height(r)), 1 + size(l) + size(r)});
}

/* As join, for subtrees that may differ by two: the higher side's outer part is kept outermost
 * unless its inner part is the higher one. */
inline ShapeP balanced(const ShapeP &l, const ShapeP &r) {
    if (height(l) > height(r) + 1)
        return height(l->right) > height(l->left)
                   ? join(join(l->left, l->right->left), join(l->right->right, r))
                   : join(l->left, join(l->right, r));
    if (height(r) > height(l) + 1)
        return height(r->left) > height(r->right)
                   ? join(join(l, r->left->left), join(r->left->right, r->right))
                   : join(join(l, r->left), r->right);
    return join(l, r);
}

inline ShapeP inserted(const ShapeP &s, std::size_t gap) {
    if (!s)
        return join(nullptr, nullptr);
    return gap <= size(s->left) ? balanced(inserted(s->left, gap), s->right)
                                : balanced(s->left, inserted(s->right, gap - size(s->left) - 1));
}

inline ShapeP removed(const ShapeP &s, std::size_t index) {
    const std::size_t root = size(s->left);
    if (index < root)
        return balanced(removed(s->left, index), s->right);
    if (index > root)
        return balanced(s->left, removed(s->right, index - root - 1));
    if (!s->left)
        return s->right;
    if (!s->right)
        return s->left;
    return height(s->right) > height(s->left) ? balanced(s->left, removed(s->right, 0))
                                              : balanced(removed(s->left, root - 1), s->right);
}

/* Every AVL shape with that many nodes. */
inline const std::vector<ShapeP> &all_shapes(std::size_t nodes) {
    static std::map<std::size_t, std::vector<ShapeP>> known{{0, {nullptr}}};
    if (const auto it = known.find(nodes); it != known.end())
        return it->second;
    std::vector<ShapeP> shapes;
    for (std::size_t left = 0; left < nodes; left++)
        for (const ShapeP &l : all_shapes(left))
            for (const ShapeP &r : all_shapes(nodes - 1 - left))
                if (std::abs(height(l) - height(r)) <= 1)
                    shapes.push_back(join(l, r));
    return known[nodes] = shapes;
}

using Words = std::pair<std::uintptr_t, std::uintptr_t>;

inline std::uintptr_t word(ZOEAVLp node) {
    return reinterpret_cast<std::uintptr_t>(node);
}
inline Words words_of(ZOEAVLp node) {
    return {word(node->llink), word(node->rlink)};
}

/* The shape of a real tree, by its links alone. */
inline ShapeP shape_of(ZOEAVLp node) {
    const auto [left, right] = words_of(node);
    return join(left & 2 ? nullptr : shape_of(reinterpret_cast<ZOEAVLp>(left & ~3UL)),
                right & 2 ? nullptr : shape_of(reinterpret_cast<ZOEAVLp>(right & ~3UL)));
}
inline bool is_avl(const ShapeP &s) {
    return !s || (std::abs(height(s->left) - height(s->right)) <= 1 && is_avl(s->left) &&
                  is_avl(s->right));
}

/* A tree of the model: its records in order, and its shape. */
struct Tree {
    std::vector<ZOEAVLp> order;
    ShapeP shape;

    void insert(std::size_t gap, ZOEAVLp node) {
        order.insert(order.begin() + static_cast<std::ptrdiff_t>(gap), node);
        shape = inserted(shape, gap);
    }
    void remove(std::size_t index) {
        order.erase(order.begin() + static_cast<std::ptrdiff_t>(index));
        shape = removed(shape, index);
    }
    /* Takes over the shape that its records have now; false if they aren't one balanced tree. */
    bool reshape() {
        std::set<std::uintptr_t> roots;
        for (const ZOEAVLp node : order)
            roots.insert(word(node));
        for (const ZOEAVLp node : order)
            for (const ZOEAVLp link : {node->llink, node->rlink})
                if ((word(link) & 2) == 0)
                    roots.erase(word(link) & ~3UL);
        shape = roots.empty() ? nullptr : shape_of(reinterpret_cast<ZOEAVLp>(*roots.begin()));
        return size(shape) == order.size() && is_avl(shape);
    }
    [[nodiscard]] ZOEAVLp at(std::size_t index) const {
        return index < order.size() ? order[index] : nullptr;
    }
    [[nodiscard]] ZOEAVLp before(std::size_t index) const {
        return index > 0 ? order[index - 1] : nullptr;
    }
    [[nodiscard]] ZOEAVLp root() const { return shape ? order[size(shape->left)] : nullptr; }

    /* Calls `see` with each record and the words that it must hold. */
    template <class See>
    void for_each_words(See see) const {
        visit(shape, 0, see);
    }

  private:
    template <class See>
    void visit(const ShapeP &s, std::size_t first, See &see) const {
        if (!s)
            return;
        const std::size_t here = first + size(s->left);
        const auto link = [&](const ShapeP &child, const ShapeP &other, std::size_t child_first,
                              ZOEAVLp neighbour) -> std::uintptr_t {
            if (!child)
                return word(neighbour) + 2;
            return word(order[child_first + size(child->left)]) +
                   (height(child) > height(other) ? 1 : 0);
        };
        see(order[here], Words{link(s->left, s->right, first, before(here)),
                               link(s->right, s->left, here + 1, at(here + 1))});
        visit(s->left, first, see);
        visit(s->right, here + 1, see);
    }
};

/* Makes the real tree one of the model's: links every record as the model has it. */
inline void build(const Tree &tree, ZOEAVLp *head) {
    *head = tree.root();
    tree.for_each_words([](ZOEAVLp node, Words words) {
        node->llink = reinterpret_cast<ZOEAVLp>(words.first);
        node->rlink = reinterpret_cast<ZOEAVLp>(words.second);
    });
}

/* True if the real tree is the model's to the last bit. */
inline bool same(const Tree &tree, ZOEAVLp head) {
    bool equal = head == tree.root();
    tree.for_each_words([&](ZOEAVLp node, Words words) { equal &= words_of(node) == words; });
    return equal;
}

/* True if walking the real tree in both directions meets the model's records. */
inline bool walks_alike(const Tree &tree, const ZOEAVL_ROOT *root) {
    std::vector<ZOEAVLp> forward;
    std::vector<ZOEAVLp> backward;
    for (ZOEAVLp node = ZOEAVLFirst(root); node != nullptr; node = ZOEAVLNext(node))
        forward.push_back(node);
    for (ZOEAVLp node = ZOEAVLLast(root); node != nullptr; node = ZOEAVLPrev(node))
        backward.push_back(node);
    std::reverse(backward.begin(), backward.end());
    return forward == tree.order && backward == tree.order;
}

/* True if the records stand in a list, in order and without tags. */
inline bool is_list(const Tree &tree) {
    bool equal = true;
    for (std::size_t i = 0; i < tree.order.size(); i++)
        equal &= words_of(tree.order[i]) == Words(word(tree.before(i)), word(tree.at(i + 1)));
    return equal;
}

} // namespace model

#endif
