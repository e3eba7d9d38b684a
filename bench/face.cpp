/* The C++ face beside the C functions, where both have the order, and beside peers, where only the
 * face has it. */
#include "face.h"
#include "operations.h"
#include "tables.h"

namespace {

const std::vector<std::size_t> sizes = {100, 1000, 10000, 100000};

template <class Key>
void offer_beside_c_functions() {
    Rows<Key, Face<Key>, FaceControl<Key>, CFunctions<Key>>{
        std::string("face and C functions: ") + Key::name, sizes}
        .template offer<FindPresent, FindAbsent, Neighbours, Insert, Erase, Walk>();
}

template <class Key>
void offer_beside_peers() {
    Rows<Key, Face<Key>, BoostIntrusive<Key, AvlFamily>, KeySet<Key, StdFamily>,
         KeySet<Key, BtreeFamily>>{Key::name, sizes}
        .template offer<FindPresent, FindAbsent, Insert, Erase>();
}

} // namespace

void offer_face() {
    offer_beside_c_functions<I64>();
    offer_beside_c_functions<I32>();
    offer_beside_c_functions<F64>();
    offer_beside_c_functions<Char16>();
    offer_beside_peers<Pairs>();
    offer_beside_peers<Triples>();
    offer_beside_peers<Strings>();
    offer_beside_peers<PrefixedStrings>();
}
