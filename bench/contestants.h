/* The contestants: the C functions and what people would pick instead, all with one interface. Each
 * owns its records, which stand in memory in the order of the keys given. An operation that a
 * contestant hasn't is absent. */
#ifndef ZOEAVL_BENCH_CONTESTANTS_H
#define ZOEAVL_BENCH_CONTESTANTS_H

#include <set>
#include <stdexcept>
#include <vector>

#include <absl/container/btree_set.h>
#include <boost/intrusive/avl_set.hpp>
#include <boost/intrusive/set.hpp>
#include <glib.h>
#include <search.h>

#include "keys.h"
#include "results.h"
#include "zoeavl.h"
#include "zoeavl_host.h"

using Order = std::vector<std::size_t>; /* of records, by their place in memory */

inline ZOEAVLExtension *factory() {
    static ZOEAVLExtension *const made = [] {
        zoextent(zoeavl_host());
        return zoeavl(nullptr, nullptr);
    }();
    return made;
}

/* Takes the answers of a neighbour look-up, each an address or null, so that none is left out. */
inline void take(const void *found, const void *previous, const void *next) {
    asm volatile("" : : "r"(found), "r"(previous), "r"(next));
}

/* The neighbours in a standard container, from the first element that isn't below the key. */
template <class Set>
void take_neighbours(const Set &set, typename Set::const_iterator at, auto equals_key) {
    const auto element = [&](typename Set::const_iterator it) {
        return it != set.end() ? &*it : nullptr;
    };
    const bool found = at != set.end() && equals_key(*at);
    take(found ? &*at : nullptr, at != set.begin() ? &*std::prev(at) : nullptr,
         element(found ? std::next(at) : at));
}

/* What a record holds beside its links and its key, as the operation asks for it. */
enum class Extra { none, other_key, list };

template <Extra>
struct Extras {
    explicit Extras(std::size_t) {}
};
/* A second key for re-keying: as good as random, and different for every record. */
template <>
struct Extras<Extra::other_key> {
    explicit Extras(std::size_t i) : other(static_cast<std::int64_t>(i * 0x9E3779B97F4A7C15)) {}
    std::int64_t other;
};
/* The links of a list, for who can't use those of the tree. */
template <>
struct Extras<Extra::list> {
    explicit Extras(std::size_t) {}
    Extras *list_previous = nullptr, *list_next = nullptr;
};

struct NoLinks {};

template <class Links, class Key, Extra extra = Extra::none>
struct Record : Links, Room<Key> {
    Record(const typename Key::Value &key_, std::size_t i) : Links{}, key(key_), more(i) {}
    typename StoredAs<Key>::Type key;
    [[no_unique_address]] Extras<extra> more;
};

template <class Record>
std::vector<Record> records_of(const auto &keys) {
    std::vector<Record> records;
    records.reserve(keys.size());
    for (std::size_t i = 0; i < keys.size(); i++)
        records.emplace_back(keys[i], i);
    return records;
}

/* Reads a record, as a scan does that wants more than the order. */
std::uint64_t read(const auto &record) {
    std::uint64_t word = 0;
    std::memcpy(&word, &record.key, std::min(sizeof word, sizeof record.key));
    return word;
}

template <class Key, Extra extra = Extra::none>
class CFunctions {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = "zoeavl";
    static constexpr Kind kind = Kind::ours;

    explicit CFunctions(const std::vector<Value> &keys) : records(records_of<Node>(keys)) {
        const ZOEAVLParms parms = parms_for_key();
        tree = factory()->Create(factory(), &parms, nullptr, nullptr);
        if constexpr (Key::keytype == ZOEAVL_KEYTYPE_GENERATED) {
            ZOCodegen *const codegen = zoeavl_host_codegen(nullptr);
            codegen->addText(codegen, 1, Key::comparison, -1);
            module = tree->Codegen(tree, codegen, 0, 0);
            codegen->Destroy(codegen);
            if (module == nullptr)
                throw std::runtime_error("the comparison doesn't compile");
        }
    }
    ~CFunctions() {
        tree->destroy(tree);
        if (module != nullptr)
            module->Destroy(module);
    }
    CFunctions(const CFunctions &) = delete;
    CFunctions &operator=(const CFunctions &) = delete;

    void insert(std::size_t i) { tree->adder(&tree->root, &records[i]); }
    const void *find(const Value &key) { return tree->finder(&tree->root, &key); }
    void neighbours(const Value &key) {
        ZOEAVLp previous;
        ZOEAVLp next;
        const ZOEAVLp found = tree->fuzzier(&tree->root, &key, &previous, &next);
        take(found, previous, next);
    }
    void erase(const Value &key) { tree->killer(&tree->root, &key); }
    std::size_t walk() {
        std::size_t count = 0;
        for (ZOEAVLp node = tree->First(&tree->root); node != nullptr; node = tree->Next(node))
            count++;
        return count;
    }
    std::uint64_t scan() {
        std::uint64_t sum = 0;
        for (ZOEAVLp node = tree->First(&tree->root); node != nullptr; node = tree->Next(node))
            sum += read(*static_cast<Node *>(node));
        return sum;
    }
    void flatten() requires(extra == Extra::list) {
        tree->ToList(tree, nullptr);
        tree->root.headptr = nullptr;
    }
    void rekey() requires(extra == Extra::other_key) {
        ZOEAVLParms parms = parms_for_key();
        parms.keytype = ZOEAVL_KEYTYPE_I64;
        parms.keylen = 1;
        parms.keyoff = offset_of(&records[0], &records[0].more.other);
        tree->ReTree(tree, &parms, nullptr, nullptr, nullptr);
    }
    void clear() {
        tree->root.headptr = nullptr;
        const ZOEAVLParms parms = parms_for_key();
        ZOEAVLReCreate(factory(), tree, &parms, nullptr, nullptr);
    }

  private:
    /* The links of the tree are those of the list too. */
    using Node = Record<ZOEAVLNODE, Key, extra == Extra::list ? Extra::none : extra>;
    ZOEAVLParms parms_for_key() {
        const ZOEAVLOpTable *table = nullptr;
        if constexpr (requires { Key::table; })
            table = Key::table;
        return {Key::keylen,  offset_of(&records[0], &records[0].key),
                Key::keytype, ZOEAVL_PARM_NOLOCK,
                table,        0};
    }
    static std::int32_t offset_of(const Node *record, const void *field) {
        return static_cast<std::int32_t>(static_cast<const char *>(field) -
                                         reinterpret_cast<const char *>(record));
    }
    std::vector<Node> records;
    ZOEAVLTree *tree;
    ZOModule *module = nullptr;
};

/* The same once more: how far two measurements of one thing lie apart. */
template <class Key, Extra extra = Extra::none>
struct CControl : CFunctions<Key, extra> {
    using CFunctions<Key, extra>::CFunctions;
    static constexpr const char *name = "zoeavl, control";
};

namespace bi = boost::intrusive;

struct AvlFamily {
    static constexpr const char *name = "boost avl_set";
    using Hook = bi::avl_set_base_hook<bi::link_mode<bi::normal_link>, bi::optimize_size<true>>;
    template <class Record, class Less>
    using Set = bi::avl_set<Record, bi::compare<Less>, bi::constant_time_size<false>>;
};
struct RedBlackFamily {
    static constexpr const char *name = "boost set";
    using Hook = bi::set_base_hook<bi::link_mode<bi::normal_link>, bi::optimize_size<true>>;
    template <class Record, class Less>
    using Set = bi::set<Record, bi::compare<Less>, bi::constant_time_size<false>>;
};

template <class Key, class Family, Extra extra = Extra::none>
class BoostIntrusive {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = Family::name;
    static constexpr Kind kind = Kind::peer;

    explicit BoostIntrusive(const std::vector<Value> &keys) : records(records_of<Node>(keys)) {}
    ~BoostIntrusive() { clear(); }
    BoostIntrusive(const BoostIntrusive &) = delete;
    BoostIntrusive &operator=(const BoostIntrusive &) = delete;

    void insert(std::size_t i) { set.insert(records[i]); }
    void insert_other(std::size_t i) { other_set.insert(records[i]); }
    const void *find(const Value &key) {
        const auto at = set.find(key, KeyLess{});
        return at != set.end() ? &*at : nullptr;
    }
    void neighbours(const Value &key) {
        take_neighbours(set, set.lower_bound(key, KeyLess{}),
                        [&](const Node &record) { return !Less{}(key, record.key); });
    }
    void erase(const Value &key) { set.erase(key, KeyLess{}); }
    void cut(const Value &low, const Value &high) {
        set.erase(set.lower_bound(low, KeyLess{}), set.lower_bound(high, KeyLess{}));
    }
    void build_sorted(const Order &ascending) {
        for (const std::size_t i : ascending)
            set.push_back(records[i]);
    }
    void append(const Order &ascending) { build_sorted(ascending); }
    void merge() { set.merge(other_set); }
    std::size_t walk() {
        std::size_t count = 0;
        for (Node &record : set) {
            count++;
            asm volatile("" : : "r"(&record));
        }
        return count;
    }
    std::uint64_t scan() {
        std::uint64_t sum = 0;
        for (const Node &record : set)
            sum += read(record);
        return sum;
    }
    void flatten() requires(extra == Extra::list) {
        Extras<extra> *previous = nullptr;
        for (Node &record : set) {
            record.more.list_previous = previous;
            if (previous != nullptr)
                previous->list_next = &record.more;
            previous = &record.more;
        }
        if (previous != nullptr)
            previous->list_next = nullptr;
        set.clear();
    }
    void rekey() requires(extra == Extra::other_key) {
        typename Family::template Set<Node, OtherLess> by_other;
        while (Node *const first = set.unlink_leftmost_without_rebalance())
            by_other.insert(*first);
        by_other.clear();
    }
    void clear() { set.clear(), other_set.clear(); }

  private:
    using Less = typename Key::Less;
    using Node = Record<typename Family::Hook, Key, extra>;
    struct KeyLess {
        bool operator()(const Node &a, const Node &b) const { return Less{}(a.key, b.key); }
        bool operator()(const Value &a, const Node &b) const { return Less{}(a, b.key); }
        bool operator()(const Node &a, const Value &b) const { return Less{}(a.key, b); }
    };
    struct OtherLess {
        bool operator()(const Node &a, const Node &b) const { return a.more.other < b.more.other; }
    };
    std::vector<Node> records;
    typename Family::template Set<Node, KeyLess> set, other_set;
};

/* An index that owns no records: elements are keys with the address of a record. */
template <class Key>
struct IndexEntry {
    typename Key::Value key;
    const Record<NoLinks, Key> *record;
    friend bool operator<(const IndexEntry &a, const IndexEntry &b) {
        return typename Key::Less{}(a.key, b.key);
    }
};

struct StdFamily {
    static constexpr const char *name = "std::set";
    template <class Entry>
    using Set = std::set<Entry>;
};
struct BtreeFamily {
    static constexpr const char *name = "absl::btree_set";
    template <class Entry>
    using Set = absl::btree_set<Entry>;
};

template <class Key, class Family>
class KeySet {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = Family::name;
    static constexpr Kind kind = Kind::peer;

    explicit KeySet(const std::vector<Value> &keys) : records(records_of<Node>(keys)) {}
    void insert(std::size_t i) { set.insert(entry(i)); }
    void insert_other(std::size_t i) { other_set.insert(entry(i)); }
    const void *find(const Value &key) {
        const auto at = set.find(Entry{key, nullptr});
        return at != set.end() ? at->record : nullptr;
    }
    void neighbours(const Value &key) {
        take_neighbours(set, set.lower_bound(Entry{key, nullptr}),
                        [&](const Entry &entry) { return !typename Key::Less{}(key, entry.key); });
    }
    void erase(const Value &key) { set.erase(Entry{key, nullptr}); }
    void cut(const Value &low, const Value &high) {
        set.erase(set.lower_bound(Entry{low, nullptr}), set.lower_bound(Entry{high, nullptr}));
    }
    /* What insertion of a sorted range does. */
    void build_sorted(const Order &ascending) {
        for (const std::size_t i : ascending)
            set.insert(set.end(), entry(i));
    }
    void append(const Order &ascending) { build_sorted(ascending); }
    void merge() { set.merge(other_set); }
    std::size_t walk() {
        std::size_t count = 0;
        for (const Entry &entry : set) {
            count++;
            asm volatile("" : : "r"(&entry));
        }
        return count;
    }
    std::uint64_t scan() {
        std::uint64_t sum = 0;
        for (const Entry &entry : set)
            sum += read(*entry.record);
        return sum;
    }
    void clear() { set.clear(), other_set.clear(); }

  private:
    using Node = Record<NoLinks, Key>;
    using Entry = IndexEntry<Key>;
    Entry entry(std::size_t i) const { return {records[i].key, &records[i]}; }
    std::vector<Node> records;
    typename Family::template Set<Entry> set, other_set;
};

template <class Key>
int compare_keys(const void *a, const void *b) {
    using Value = typename Key::Value;
    const Value &x = *static_cast<const Value *>(a);
    const Value &y = *static_cast<const Value *>(b);
    const typename Key::Less less;
    return less(x, y) ? -1 : less(y, x) ? 1 : 0;
}

template <class Key>
class GlibTree {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = "GTree";
    static constexpr Kind kind = Kind::peer;

    explicit GlibTree(const std::vector<Value> &keys_) : keys(keys_) {}
    ~GlibTree() { g_tree_destroy(tree); }
    GlibTree(const GlibTree &) = delete;
    GlibTree &operator=(const GlibTree &) = delete;
    void insert(std::size_t i) { g_tree_insert(tree, &keys[i], &keys[i]); }
    const void *find(const Value &key) { return g_tree_lookup(tree, &key); }
    void neighbours(const Value &key) {
        GTreeNode *const at = g_tree_lower_bound(tree, &key);
        const bool found = at != nullptr && compare_keys<Key>(g_tree_node_key(at), &key) == 0;
        take(found ? at : nullptr, at ? g_tree_node_previous(at) : g_tree_node_last(tree),
             found ? g_tree_node_next(at) : at);
    }
    void erase(const Value &key) { g_tree_remove(tree, &key); }
    std::size_t walk() {
        std::size_t count = 0;
        for (GTreeNode *node = g_tree_node_first(tree); node != nullptr;
             node = g_tree_node_next(node))
            count++;
        return count;
    }
    void clear() { g_tree_remove_all(tree); }

  private:
    std::vector<Value> keys;
    GTree *tree = g_tree_new(compare_keys<Key>);
};

template <class Key>
class Tsearch {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = "tsearch";
    static constexpr Kind kind = Kind::peer;

    explicit Tsearch(const std::vector<Value> &keys_) : keys(keys_) {}
    ~Tsearch() { clear(); }
    Tsearch(const Tsearch &) = delete;
    Tsearch &operator=(const Tsearch &) = delete;
    void insert(std::size_t i) { tsearch(&keys[i], &root, compare_keys<Key>); }
    const void *find(const Value &key) { return tfind(&key, &root, compare_keys<Key>); }
    void erase(const Value &key) { tdelete(&key, &root, compare_keys<Key>); }
    void clear() {
        tdestroy(root, [](void *) {});
        root = nullptr;
    }

  private:
    std::vector<Value> keys;
    void *root = nullptr;
};

#endif
