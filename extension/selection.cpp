#include "selection.h"

#include "zoeavl/keys/codes.hpp"

namespace zoe::inline v2::engine {
namespace {

const ZOEAVLOpTable *const tables[] = {
#define ADDRESS_OF_TABLE(type) &cb##type,
    ZOEAVL_FOR_EACH_KEYTYPE(ADDRESS_OF_TABLE)
#undef ADDRESS_OF_TABLE
};

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
        const Table table = table_for(keytype, parms->keylen);
        if (table != Table::none)
            tree->optable = tables[static_cast<std::size_t>(table)];
    }
    return take_operations_in_force(tree);
}

} // namespace zoe::inline v2::engine
