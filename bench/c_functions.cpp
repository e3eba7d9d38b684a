/* The C functions beside what people would pick instead, key type by key type. */
#include "operations.h"
#include "tables.h"

namespace {

template <class Key, Extra extra>
using BesideIntrusive = Rows<Key, CFunctions<Key, extra>, BoostIntrusive<Key, AvlFamily, extra>,
                             BoostIntrusive<Key, RedBlackFamily, extra>>;
template <class Key, class... More>
using BesidePeers =
    Rows<Key, CFunctions<Key>, BoostIntrusive<Key, AvlFamily>, BoostIntrusive<Key, RedBlackFamily>,
         KeySet<Key, StdFamily>, KeySet<Key, BtreeFamily>, More...>;
template <class Key>
using BesideAll = BesidePeers<Key, GlibTree<Key>, Tsearch<Key>>;

const std::vector<std::size_t> sizes = {100, 1000, 100000};

template <class Key>
void offer_key() {
    BesidePeers<Key>{.sizes = sizes}
        .template offer<FindPresent, FindAbsent, Neighbours, Insert, Erase>();
}

template <class Key>
void offer_long_key() {
    BesidePeers<Key>{.sizes = {100, 1000, 10000, 100000, 1000000}}
        .template offer<FindPresent, FindAbsent>();
    BesidePeers<Key>{.sizes = sizes}.template offer<Neighbours, Insert, Erase>();
}

/* An order of the caller's own, known at build time and at run time. */
struct BuildTime : CFunctions<Ordered> {
    using CFunctions::CFunctions;
    static constexpr const char *name = "zoeavl_order.h";
};
struct BuildTimeControl : BuildTime {
    using BuildTime::BuildTime;
    static constexpr const char *name = "zoeavl_order.h, control";
};
struct RunTime : CFunctions<Generated> {
    using CFunctions::CFunctions;
    static constexpr const char *name = "zoeavl, key type 25";
};

} // namespace

void offer_c_functions() {
    BesidePeers<I64>{}.offer<FindPresent, FindAbsent, Neighbours, Insert, Erase, Walk, Scan>();
    BesideIntrusive<I64, Extra::list>{}.offer<Flatten>();
    BesideIntrusive<I64, Extra::other_key>{.sizes = sizes}.offer<Rekey>();
    BesidePeers<WideI64>{.sizes = {1000, 100000, 1000000}}
        .offer<FindPresent, FindAbsent, Neighbours, Walk, Scan>();
    BesidePeers<WideI64>{.sizes = {1000, 100000}}.offer<Insert, Erase>();
    BesideIntrusive<WideI64, Extra::list>{.sizes = {1000, 100000, 1000000}}.offer<Flatten>();
    offer_key<I32>();
    offer_key<F64>();
    offer_key<MissingF64>();
    offer_key<IndirectI64>();
    offer_long_key<Char16>();
    offer_long_key<Words>();
    BesideAll<Generated>{.sizes = sizes}
        .offer<FindPresent, FindAbsent, Neighbours, Insert, Erase>();
    Rows<Ordered, BuildTime, BuildTimeControl, RunTime>{.sizes = sizes}
        .offer<FindPresent, FindAbsent, Neighbours, Insert, Erase>();
}
