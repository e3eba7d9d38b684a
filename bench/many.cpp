/* Work on many records at a time, beside the same one by one and beside peers. */
#include "face.h"
#include "operations.h"
#include "tables.h"

namespace {

template <class Key>
struct BesideOneByOne
    : Rows<Key, FaceOfMany<Key>, FaceOneByOne<Key>, BoostIntrusive<Key, AvlFamily>,
           KeySet<Key, StdFamily>, KeySet<Key, BtreeFamily>> {};

const std::vector<std::size_t> sizes = {1000, 100000, 1000000};

template <class Key>
auto many(const std::vector<std::size_t> &at) {
    return BesideOneByOne<Key>{{std::string("many at a time: ") + Key::name, at}};
}

} // namespace

void offer_many() {
    many<I64>({100, 1000, 100000, 1000000, 4000000}).offer<FindMany>();
    many<I64>(sizes).offer<EraseMany, InsertMany, BuildSorted, Build, Append, Scan, Merge>();
    many<I64>({100000, 1000000}).offer<Cut>();
    many<WideI64>({100000, 1000000}).offer<FindMany, EraseMany, InsertMany, BuildSorted, Scan>();
    many<Char16>(sizes).offer<FindMany>();
    many<Strings>({1000, 100000}).offer<FindMany>();
    many<PrefixedStrings>(sizes).offer<FindMany>();
    many<Pairs>({1000, 100000}).offer<FindMany>();
}
