#include "selection.h"

namespace zoe::inline v2::engine {
namespace {

/* The tables of a key-type code, by key length. Null leaves the table in force as it is. */
struct TablesOfCode {
    const ZOEAVLOpTable *for_one;
    const ZOEAVLOpTable *for_more; /* and for negative lengths */
};

/* By key-type code. Mind the order of the array codes: signed ahead of unsigned, not 32 ahead of 64
 * bits, as the scalar codes have it. */
const TablesOfCode tables_of_code[] = {
    {nullptr, nullptr},       // 0, the caller's own table
    {&cbchar, &cbchar},       // 1
    {&cbzochar, &cbzochar},   // 2
    {&cbi32, &cbia32},        // 3
    {&cbu32, &cbua32},        // 4
    {&cbi64, &cbia64},        // 5
    {&cbu64, &cbua64},        // 6
    {&cbdbl, nullptr},        // 7
    {&cbmdbl, nullptr},       // 8
    {&cbi32, &cbia32},        // 9
    {&cbi64, &cbia64},        // 10
    {&cbu32, &cbua32},        // 11
    {&cbu64, &cbua64},        // 12
    {&cbvchar, &cbvchar},     // 13
    {&cbvzochar, &cbvzochar}, // 14
    {&cbi32p, &cbia32p},      // 15
    {&cbu32p, &cbua32p},      // 16
    {&cbi64p, &cbia64p},      // 17
    {&cbu64p, &cbua64p},      // 18
    {&cbdblp, nullptr},       // 19
    {&cbmdblp, nullptr},      // 20
    {&cbi32p, &cbia32p},      // 21
    {&cbi64p, &cbia64p},      // 22
    {&cbu32p, &cbua32p},      // 23
    {&cbu64p, &cbua64p},      // 24
};
static_assert(sizeof tables_of_code / sizeof tables_of_code[0] == ZOEAVL_KEYTYPE_GENERATED);

void take_zero_length_operations(ZOEAVLTree *tree) {
    tree->adder = ZOEAVLZeroAdd;
    tree->finder = ZOEAVLZeroFind;
    tree->fuzzier = ZOEAVLZeroFuzzy;
    tree->killer = ZOEAVLZeroKill;
}

bool take_operations_in_force(ZOEAVLTree *tree) {
    const ZOEAVLOpTable *const table = tree->optable;
    if (table == nullptr)
        return false;
    if (tree->root.rw != nullptr) {
        tree->adder = table->safe_adder;
        tree->finder = table->safe_finder;
        tree->fuzzier = table->safe_fuzzier;
        tree->killer = table->safe_killer;
    } else {
        tree->adder = table->adder;
        tree->finder = table->finder;
        tree->fuzzier = table->fuzzier;
        tree->killer = table->killer;
    }
    return tree->adder != nullptr;
}

} // namespace

bool select_operations(ZOEAVLTree *tree, const ZOEAVLParms *parms) {
    const ZOEAVLKeyType keytype = parms->keytype;
    if (keytype == ZOEAVL_KEYTYPE_OPTABLE) {
        tree->optable = parms->optable;
        return take_operations_in_force(tree);
    }
    if (parms->keylen == 0) {
        take_zero_length_operations(tree);
        return true;
    }
    if (keytype == ZOEAVL_KEYTYPE_GENERATED) {
        tree->optable = nullptr;
        return true;
    }
    if (keytype < ZOEAVL_KEYTYPE_GENERATED) {
        const TablesOfCode &tables = tables_of_code[keytype];
        const ZOEAVLOpTable *const table = parms->keylen == 1 ? tables.for_one : tables.for_more;
        if (table != nullptr)
            tree->optable = table;
    }
    return take_operations_in_force(tree);
}

} // namespace zoe::inline v2::engine
