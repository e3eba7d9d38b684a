/* The survey: every record that can be reached, in order, each link word judged on the way. */
#ifndef ZOEAVL_INSPECT_SURVEY_H
#define ZOEAVL_INSPECT_SURVEY_H

#include "memory.h"
#include "report.h"
#include "storage.h"
#include "zoeavl/engine/path.hpp"

namespace zoe::inspect {

inline constexpr engine::Side sides[] = {engine::left, engine::right};

struct Found {
    std::uintptr_t address;
    std::uintptr_t links[2]; /* by side */
    std::uint8_t depth;      /* 1 for the root */
    bool faulty[2];          /* by side */
};

class Survey {
  public:
    /* Judges heights and balance bits as well if `with_heights`. */
    Survey(Memory &memory_, Report &report_, bool with_heights_)
        : memory(memory_), report(report_), with_heights(with_heights_) {}

    /* Walks the tree whose head is the word at `rootp`. False if that couldn't be carried through;
     * then the report's last line says why. */
    bool run(std::uintptr_t rootp);

    [[nodiscard]] const Array<Found> &records() const { return found; }
    [[nodiscard]] std::uintptr_t head() const { return root; }

  private:
    static constexpr int unknown = -1; /* the height of what couldn't be seen whole */

    void visit_root(std::uintptr_t rootp);
    int visit(Found self);
    int visit_side(Found &self, engine::Side side, std::uint64_t place);
    void judge_threads(Found &self);
    int judge_heights(const Found &self, std::uint64_t place, int left_height, int right_height);
    void fault(Found &self, std::uint64_t place, engine::Side side, Sight expected,
               const char *slip);
    bool is_list(const Found &self);

    Memory &memory;
    Report &report;
    bool with_heights;
    Array<Found> found;
    std::uintptr_t root = 0;
    bool out_of_memory = false;
};

/* The address of a root word: `rootp`, or if that is null the tree's own. The tree needn't exist.
 */
inline std::uintptr_t root_word(const ZOEAVLTree *tree, const ZOEAVLp *rootp) {
    if (rootp != nullptr)
        return reinterpret_cast<std::uintptr_t>(rootp);
    return reinterpret_cast<std::uintptr_t>(tree) + offsetof(ZOEAVLTree, root) +
           offsetof(ZOEAVL_ROOT, headptr);
}

} // namespace zoe::inspect

#endif
