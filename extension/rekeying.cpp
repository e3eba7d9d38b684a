/* Re-keying: takes all records out of a tree and adds them again in the order of a new key. */
#include <optional>
#include <utility>

#include "zoeavl/engine/walking.hpp"

namespace zoe::inline v2::engine {
namespace {

/* Records that found an equal one in their place, in the order in which they came. */
class DuplicateChain {
  public:
    void append(ZOEAVLp node) {
        if (tail == nullptr) {
            head = node;
        } else {
            links(tail)[right] = word_of(node);
            links(node)[left] = word_of(tail);
        }
        tail = node;
    }

    ZOEAVLp head = nullptr;
    ZOEAVLp tail = nullptr;
};

/* The successor in the old order, whose links still hold at and beyond `node`. */
ZOEAVLp successor(const ZOEAVLTree *tree, ZOEAVLp node) {
    const std::uintptr_t link = links(node)[right];
    return is_thread(link) ? node_at(link) : tree->Next(node);
}

} // namespace
} // namespace zoe::inline v2::engine

using namespace zoe::engine;

ZOEAVLTree *ZOEAVLReTree(ZOEAVLTree *tree, const ZOEAVLParms *parms, ZOEAVLp *dupHead,
                         ZOEAVLp *dupTail, ZOJournal *journal) {
    ZOEAVLp node = tree->First(&tree->root);
    const ZOEAVLp old_root = std::exchange(tree->root.headptr, nullptr);
    if (parms != nullptr &&
        ZOEAVLReCreate(tree->extension, tree, parms, journal, nullptr) == nullptr)
        return nullptr;

    std::optional<LookAhead> ahead;
    const bool goes_in_order = tree->First == ZOEAVLFirst && tree->Next == ZOEAVLNext;
    if (goes_in_order && node != nullptr && LookAhead::pays(old_root))
        ahead.emplace(old_root);
    DuplicateChain duplicates;
    while (node != nullptr) {
        if (ahead)
            ahead->visit(node);
        const ZOEAVLp next = successor(tree, node);
        links(node)[left] = 0;
        links(node)[right] = 0;
        const ZOEAVLp added = tree->adder(&tree->root, node);
        if (added == nullptr)
            return nullptr;
        if (added != node)
            duplicates.append(node);
        node = next;
    }
    if (dupHead != nullptr)
        *dupHead = duplicates.head;
    if (dupTail != nullptr)
        *dupTail = duplicates.tail;
    return tree;
}
