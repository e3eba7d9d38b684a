/* The checker. */
#include "zoeavl_inspect.h"

#include <cstring>

#include "keys.h"
#include "survey.h"

namespace zoe::inspect {
namespace {

using namespace engine;

constexpr const char *key_slip =
    "this record isn't found by its own key: was the key changed in the tree?";
constexpr const char *nearby_slip =
    "was the key changed in the tree? Records below this one aren't found";

/* One check, from the tree object to the order. */
class Check {
  public:
    Check(int level_, std::FILE *out)
        : report(out), level(level_), survey(memory, report, level >= ZOEAVL_CHECK_HEIGHTS) {}

    /* False, reported, if there is no tree object at `tree`. */
    bool read_tree(const ZOEAVLTree *tree);
    bool links(std::uintptr_t rootp) {
        completed = survey.run(rootp);
        return completed && report.faults() == 0 && level >= ZOEAVL_CHECK_ORDER;
    }
    void order_of_tree();
    void order_by(ZOEAVLAscending ascending, void *context);
    [[nodiscard]] std::int64_t result() const {
        return completed ? report.faults() : ZOEAVL_INSPECT_FAILED;
    }

  private:
    using Standing = Keys::Standing;
    void order_of_keys(const KeyType &type);
    void order_by_asking();
    void order_fault(Keys &keys, std::size_t place, Standing standing);
    bool is_found(Keys &keys, std::uintptr_t record);
    std::uintptr_t record(std::size_t place) const { return survey.records()[place].address; }

    Memory memory;
    Report report;
    int level;
    Survey survey;
    bool completed = true;
    ZOEAVLTree copy{};
    std::uintptr_t original = 0;
};

bool Check::read_tree(const ZOEAVLTree *tree) {
    original = reinterpret_cast<std::uintptr_t>(tree);
    const bool readable = memory.read(original, copy);
    completed = report.goes_on(memory.failure());
    if (completed && (!readable || std::memcmp(copy.tag, "nevo", sizeof copy.tag) != 0))
        report.frame("tree", original, {"a tree object"},
                     {readable ? "other content" : "unreadable memory"},
                     "was the tree destroyed, or its factory ended ahead of it?");
    return report.faults() == 0 && completed;
}

void Check::order_of_tree() {
    if (is_zero_length(reinterpret_cast<const void *>(copy.adder))) {
        if (survey.records().size() > 1)
            report.frame("tree", original, {"one record, since all keys of length 0 are equal"},
                         {"more"}, "was the tree re-created with records in it?");
        return;
    }
    const Table table = table_at(copy.optable);
    if (table != Table::none)
        order_of_keys(key_type(table));
    else
        order_by_asking();
    completed = report.goes_on(memory.failure());
}

void Check::order_of_keys(const KeyType &type) {
    const std::int32_t keylen = copy.root.keylen;
    const std::int64_t keyoff = copy.root.keyoff;
    const auto size = static_cast<std::int64_t>(type.field_size(keylen));
    if (type.form == KeyType::Form::direct && type.characters && keylen < 0) {
        report.note("tree at %#lx: the order isn't checked, since the key length is negative",
                    static_cast<unsigned long>(original));
        return;
    }
    if (keyoff < static_cast<std::int64_t>(sizeof(ZOEAVLNODE)) && keyoff + size > 0)
        report.frame("tree", original, {"a key field clear of the links, bytes 0 to 15"},
                     {"one that overlaps them"}, "were length and offset of the key swapped?");
    Keys keys(memory, type, copy.root.keyoff, keylen);
    constexpr std::size_t ahead = 16;
    for (std::size_t place = 0; place < survey.records().size(); place++) {
        if (place + ahead < survey.records().size())
            memory.prefetch(record(place + ahead) + static_cast<std::uintptr_t>(keyoff));
        if (keys.is_blind(record(place)))
            report.record(record(place), place, "key", {"a number"}, {"a NaN"},
                          "a NaN equals every key: use the type for missing values");
        const Standing standing =
            place == 0 ? keys.alone(record(place)) : keys.compare(record(place), record(place - 1));
        if (standing != Standing::above && memory.failure() == 0)
            order_fault(keys, place, standing);
    }
}

/* The key at `place` isn't above the one before. The record named is the one that stands wrong with
 * the other one's neighbour as well. */
void Check::order_fault(Keys &keys, std::size_t place, Standing standing) {
    if (standing == Standing::unreadable) {
        report.record(record(place), place, "key", {"a key that can be read, here and before"},
                      {"one that can't"},
                      "does the field hold a pointer of the right kind, to memory that is there?");
        return;
    }
    const auto ascend = [&](std::size_t one, std::size_t other) {
        return keys.compare(record(one), record(other)) == Standing::below;
    };
    const bool last = place + 1 == survey.records().size();
    const bool before_is_wrong =
        (place == 1 || ascend(place - 2, place)) && !last && !ascend(place - 1, place + 1);
    const std::size_t wrong = before_is_wrong ? place - 1 : place;
    const std::size_t other = before_is_wrong ? place : place - 1;
    report.record(
        record(wrong), wrong, "key",
        {before_is_wrong ? "a key below that of the record" : "a key above that of the record",
         record(other)},
        {standing == Standing::equal ? "an equal key"
         : before_is_wrong           ? "one above"
                                     : "one below"},
        is_found(keys, record(wrong)) ? nearby_slip : key_slip);
}

/* Looks for the key of a record as the tree would. */
bool Check::is_found(Keys &keys, std::uintptr_t sought) {
    std::uintptr_t node = survey.head();
    for (;;) {
        const Standing standing = keys.compare(sought, node);
        std::uintptr_t link[2];
        if (standing == Standing::equal || standing == Standing::unreadable ||
            !memory.read(node, link))
            return node == sought;
        const std::uintptr_t next = link[standing == Standing::above ? right : left];
        if (is_thread(next))
            return false;
        node = address(next);
    }
}

/* The caller's table has a look-up without a lock; a generated one may be the one with the lock. */
void Check::order_by_asking() {
    ZOEAVLOpTable table{};
    const bool own_table = copy.optable != nullptr;
    if (own_table && !memory.read(reinterpret_cast<std::uintptr_t>(copy.optable), table)) {
        report.frame("tree", original, {"a table of operations"},
                     {"the unreadable address", reinterpret_cast<std::uintptr_t>(copy.optable)},
                     "was the table freed ahead of the tree?");
        return;
    }
    const ZOEAVLFinder finder = own_table                 ? table.finder
                                : copy.root.rw == nullptr ? copy.finder
                                                          : nullptr;
    if (finder == nullptr) {
        report.note("tree at %#lx: the order can't be asked: there is no look-up without a lock",
                    static_cast<unsigned long>(original));
        return;
    }
    const auto code = reinterpret_cast<std::uintptr_t>(finder);
    unsigned char first_byte;
    if (!memory.read(code, first_byte)) {
        report.frame("tree", original, {"a look-up"}, {"unreadable code at", code},
                     "was the module ended ahead of the tree?");
        return;
    }
    copy.root.headptr = node_at(survey.head());
    const auto finds = [&](std::uintptr_t node) {
        return finder(&copy.root, key_of(node_at(node), copy.root.keyoff)) == node_at(node);
    };
    if (survey.head() != 0 && !finds(survey.head())) {
        report.note("tree at %#lx: the order can't be asked: look-ups don't find the root by its "
                    "own key; do they take keys of another form?",
                    static_cast<unsigned long>(original));
        return;
    }
    for (std::size_t place = 0; place < survey.records().size(); place++)
        if (!finds(record(place)))
            report.record(record(place), place, "key", {"to be found by it"}, {"another or none"},
                          key_slip);
}

void Check::order_by(ZOEAVLAscending ascending, void *context) {
    for (std::size_t place = 1; place < survey.records().size(); place++)
        if (ascending(context, node_at(record(place - 1)), node_at(record(place))) == 0)
            report.record(record(place), place, "key",
                          {"a key above that of the record", record(place - 1)},
                          {"one equal or below"}, "was a key changed in the tree?");
}

std::int64_t check_tree(const ZOEAVLTree *tree, std::uintptr_t rootp, int level, FILE *out) {
    Check check(level, out);
    if (check.read_tree(tree) && check.links(rootp))
        check.order_of_tree();
    return check.result();
}

} // namespace
} // namespace zoe::inspect

using namespace zoe::inspect;

int64_t zoeavl_check(const ZOEAVLTree *tree, int level, FILE *report) {
    return check_tree(tree, root_word(tree, nullptr), level, report);
}

int64_t zoeavl_check_root(const ZOEAVLTree *tree, const ZOEAVLp *rootp, int level, FILE *report) {
    return check_tree(tree, reinterpret_cast<std::uintptr_t>(rootp), level, report);
}

int64_t zoeavl_check_words(const ZOEAVLp *rootp, ZOEAVLAscending ascending, void *context,
                           int level, FILE *report) {
    Check check(level, report);
    if (check.links(reinterpret_cast<std::uintptr_t>(rootp)) && ascending != nullptr)
        check.order_by(ascending, context);
    return check.result();
}
