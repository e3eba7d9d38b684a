/* The contestants: zoeavl and what people would pick instead, all with one interface. Each owns its
 * records, which stand in memory in the order given. An operation that a contestant hasn't is
 * absent. */
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

#include "zoeavl.h"
#include "zoeavl_host.h"

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

template <class Key, Extra extra>
class Zoeavl {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = "zoeavl";
    static constexpr std::size_t overhead = sizeof(ZOEAVLNODE);

    explicit Zoeavl(const std::vector<Value> &keys) {
        records.reserve(keys.size());
        for (std::size_t i = 0; i < keys.size(); i++)
            records.emplace_back(keys[i], i);
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
    ~Zoeavl() {
        tree->destroy(tree);
        if (module != nullptr)
            module->Destroy(module);
    }
    Zoeavl(const Zoeavl &) = delete;
    Zoeavl &operator=(const Zoeavl &) = delete;

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
    struct Record : ZOEAVLNODE {
        Record(const Value &key_, std::size_t i) : ZOEAVLNODE{}, key(key_), more(i) {}
        Value key;
        [[no_unique_address]] Extras<extra == Extra::list ? Extra::none : extra> more;
    };
    static ZOEAVLParms parms_for_key() {
        return {Key::keylen, sizeof(ZOEAVLNODE), Key::keytype, ZOEAVL_PARM_NOLOCK, nullptr, 0};
    }
    static std::int32_t offset_of(const Record *record, const void *field) {
        return static_cast<std::int32_t>(static_cast<const char *>(field) -
                                         reinterpret_cast<const char *>(record));
    }
    std::vector<Record> records;
    ZOEAVLTree *tree;
    ZOModule *module = nullptr;
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

template <class Key, class Family, Extra extra>
class BoostIntrusive {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = Family::name;
    static constexpr std::size_t overhead = sizeof(typename Family::Hook);

    explicit BoostIntrusive(const std::vector<Value> &keys) {
        records.reserve(keys.size());
        for (std::size_t i = 0; i < keys.size(); i++)
            records.emplace_back(keys[i], i);
    }
    ~BoostIntrusive() { clear(); }
    BoostIntrusive(const BoostIntrusive &) = delete;
    BoostIntrusive &operator=(const BoostIntrusive &) = delete;

    void insert(std::size_t i) { set.insert(records[i]); }
    const void *find(const Value &key) {
        const auto at = set.find(key, KeyLess{});
        return at != set.end() ? &*at : nullptr;
    }
    void neighbours(const Value &key) {
        take_neighbours(set, set.lower_bound(key, KeyLess{}),
                        [&](const Record &record) { return !Less{}(key, record.key); });
    }
    void erase(const Value &key) { set.erase(key, KeyLess{}); }
    std::size_t walk() {
        std::size_t count = 0;
        for (Record &record : set) {
            count++;
            asm volatile("" : : "r"(&record));
        }
        return count;
    }
    void flatten() requires(extra == Extra::list) {
        Extras<extra> *previous = nullptr;
        for (Record &record : set) {
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
        typename Family::template Set<Record, OtherLess> by_other;
        while (Record *const first = set.unlink_leftmost_without_rebalance())
            by_other.insert(*first);
        by_other.clear();
    }
    void clear() { set.clear(); }

  private:
    using Less = typename Key::Less;
    struct Record : Family::Hook {
        Record(const Value &key_, std::size_t i) : key(key_), more(i) {}
        Value key;
        [[no_unique_address]] Extras<extra> more;
    };
    struct KeyLess {
        bool operator()(const Record &a, const Record &b) const { return Less{}(a.key, b.key); }
        bool operator()(const Value &a, const Record &b) const { return Less{}(a, b.key); }
        bool operator()(const Record &a, const Value &b) const { return Less{}(a.key, b); }
    };
    struct OtherLess {
        bool operator()(const Record &a, const Record &b) const {
            return a.more.other < b.more.other;
        }
    };
    std::vector<Record> records;
    typename Family::template Set<Record, KeyLess> set;
};

/* An index that owns no records: elements are keys with the address of a record. */
template <class Key>
struct IndexEntry {
    typename Key::Value key;
    const void *record;
    friend bool operator<(const IndexEntry &a, const IndexEntry &b) {
        return typename Key::Less{}(a.key, b.key);
    }
};

template <class Key>
struct StdFamily {
    static constexpr const char *name = "std::set";
    static constexpr std::size_t overhead = 4 * sizeof(void *) + sizeof(void *);
    using Set = std::set<IndexEntry<Key>>;
};
template <class Key>
struct BtreeFamily {
    static constexpr const char *name = "absl::btree_set";
    static constexpr std::size_t overhead = 0; // depends on how full its nodes are
    using Set = absl::btree_set<IndexEntry<Key>>;
};

template <class Key, class Family>
class KeySet {
  public:
    using Value = typename Key::Value;
    using Entry = IndexEntry<Key>;
    static constexpr const char *name = Family::name;
    static constexpr std::size_t overhead = Family::overhead;

    explicit KeySet(const std::vector<Value> &keys_) : keys(keys_) {}
    void insert(std::size_t i) { set.insert(Entry{keys[i], &keys[i]}); }
    const void *find(const Value &key) {
        const auto at = set.find(Entry{key, nullptr});
        return at != set.end() ? at->record : nullptr;
    }
    void neighbours(const Value &key) {
        take_neighbours(set, set.lower_bound(Entry{key, nullptr}),
                        [&](const Entry &entry) { return !typename Key::Less{}(key, entry.key); });
    }
    void erase(const Value &key) { set.erase(Entry{key, nullptr}); }
    std::size_t walk() {
        std::size_t count = 0;
        for (const Entry &entry : set) {
            count++;
            asm volatile("" : : "r"(&entry));
        }
        return count;
    }
    void clear() { set.clear(); }

  private:
    const std::vector<Value> &keys;
    typename Family::Set set;
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
    static constexpr std::size_t overhead = 40;

    explicit GlibTree(const std::vector<Value> &keys_) : keys(keys_) {}
    ~GlibTree() { g_tree_destroy(tree); }
    GlibTree(const GlibTree &) = delete;
    GlibTree &operator=(const GlibTree &) = delete;
    void insert(std::size_t i) { g_tree_insert(tree, writable(keys[i]), writable(keys[i])); }
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
    static gpointer writable(const Value &key) { return const_cast<Value *>(&key); }
    const std::vector<Value> &keys;
    GTree *tree = g_tree_new(compare_keys<Key>);
};

template <class Key>
class Tsearch {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = "tsearch";
    static constexpr std::size_t overhead = 24;

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
    const std::vector<Value> &keys;
    void *root = nullptr;
};

#endif
