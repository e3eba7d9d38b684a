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

/* True if nothing that ReTree calls can touch what the walk hasn't come to yet. */
bool leaves_the_rest_alone(const ZOEAVLTree *tree) {
    const auto *const table = tree->optable;
    const auto at = reinterpret_cast<std::uintptr_t>(table);
    const bool built_in = at >= reinterpret_cast<std::uintptr_t>(&cbchar) &&
                          at <= reinterpret_cast<std::uintptr_t>(&cbmdblp);
    return built_in && (tree->adder == table->adder || tree->adder == table->safe_adder) &&
           tree->Next == ZOEAVLNext;
}

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
    const bool starts_at_the_first = tree->First == ZOEAVLFirst;
    ZOEAVLp node = tree->First(&tree->root);
    const ZOEAVLp old_root = std::exchange(tree->root.headptr, nullptr);
    if (parms != nullptr &&
        ZOEAVLReCreate(tree->extension, tree, parms, journal, nullptr) == nullptr)
        return nullptr;

    std::optional<LookAhead> ahead;
    if (starts_at_the_first && node != nullptr && leaves_the_rest_alone(tree) &&
        LookAhead::pays(old_root))
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
