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

template <class Key>
void offer_searches_and_changes() {
    BesidePeers<Key>{.sizes = {100, 1000, 100000, 1000000}}
        .template offer<FindPresent, FindAbsent, Neighbours>();
    BesidePeers<Key>{.sizes = {100, 1000, 100000}}.template offer<Insert, Erase>();
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
    BesideAll<I64>{}.offer<FindPresent, FindAbsent, Neighbours, Insert, Erase, Walk, Scan>();
    BesideIntrusive<I64, Extra::list>{}.offer<Flatten>();
    BesideIntrusive<I64, Extra::other_key>{}.offer<Rekey>();
    BesidePeers<WideI64>{}.offer<FindPresent, FindAbsent, Neighbours, Insert, Erase, Walk, Scan>();
    BesideIntrusive<WideI64, Extra::list>{}.offer<Flatten>();
    offer_searches_and_changes<I32>();
    offer_searches_and_changes<F64>();
    offer_searches_and_changes<MissingF64>();
    offer_searches_and_changes<Char16>();
    offer_searches_and_changes<Words>();
    offer_searches_and_changes<IndirectI64>();
    BesideAll<Generated>{.sizes = {100, 1000, 10000, 100000}}
        .offer<FindPresent, FindAbsent, Neighbours, Insert, Erase>();
    Rows<Ordered, BuildTime, BuildTimeControl, RunTime>{.sizes = {100, 1000, 10000, 100000}}
        .offer<FindPresent, FindAbsent, Neighbours, Insert, Erase>();
}
