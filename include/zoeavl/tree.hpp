/* The face over tree objects of the binary contract: a tree of one's own, and a view of somebody
 * else's. Programs that use it link zoeavl (target zoeavl::zoeavl). */
#ifndef ZOEAVL_TREE_HPP
#define ZOEAVL_TREE_HPP

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "access.hpp"
#include "engine/deletion.hpp"
#include "engine/insertion.hpp"
#include "engine/lookup.hpp"
#include "index.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

/* The four operations over a key policy of the core (zoeavl/keys/), plain and locked: a table for
 * key type 0, whose `keyoff` is where the policy's key stands. */
template <class Policy>
class operation_table {
    template <class Lock>
    static ZOEAVLp adder(ZOEAVLRootp root, ZOEAVLp node) {
        return engine::insert<Policy, Lock>(root, node);
    }
    template <class Lock>
    static ZOEAVLp finder(ZOEAVLRootp root, const void *key) {
        return engine::find<Policy, Lock>(root, key);
    }
    template <class Lock>
    static ZOEAVLp fuzzier(ZOEAVLRootp root, const void *key, ZOEAVLp *previous, ZOEAVLp *next) {
        return engine::find_with_neighbours<Policy, Lock>(root, key, previous, next);
    }
    template <class Lock>
    static ZOEAVLp killer(ZOEAVLRootp root, const void *key) {
        return engine::remove<Policy, Lock>(root, key);
    }

  public:
    /* The table. Constant; it lasts as long as the code that instantiated it. */
    static constexpr ZOEAVLOpTable table{adder<engine::NoHold>,   finder<engine::NoHold>,
                                         fuzzier<engine::NoHold>, killer<engine::NoHold>,
                                         adder<engine::Hold>,     finder<engine::Hold>,
                                         fuzzier<engine::Hold>,   killer<engine::Hold>};
};

namespace detail {

/* ---- What a tree object must be like ------------------------------------------------------------
 */

/* The order as a key policy of the core. The key field is the member where there is one key that is
 * a member; else it is the whole record. */
template <class Hook, auto... keys>
struct field_policy {
    using ordering = detail::ordering<Hook, keys...>;
    using record = typename Hook::record;
    using first = typename ordering::template key<0>;
    static constexpr bool is_member = sizeof...(keys) == 1 && first::is_member;

    static constexpr bool takes_long = true;
    using Sought = const void *;
    template <class Length>
    static Sought load(const void *key, const Length &) {
        return key;
    }
    static engine::Outcome compare(Sought sought, const void *key) {
        if constexpr (is_member) {
            using value = typename first::value;
            return part_for<first>(first::order::sought(*static_cast<const value *>(sought)))
                .against_value(*static_cast<const value *>(key));
        } else {
            const auto values = ordering::values_of(*static_cast<const record *>(sought));
            return detail::compared(ordering::search(values),
                                    Hook::node_of(*static_cast<const record *>(key)));
        }
    }
    static std::ptrdiff_t offset() {
        if constexpr (is_member)
            return first::offset() - Hook::node_offset();
        else
            return -Hook::node_offset();
    }
};

/* The tables of the library by key-type code, with the names that a refusal tells. */
struct named_table {
    const ZOEAVLOpTable *table;
    const char *name;
};
inline named_table library_table(ZOEAVLKeyType type) {
    static const named_table by_code[] = {
        {nullptr, ""},         {&cbchar, "cbchar"},   {&cbzochar, "cbzochar"},
        {&cbi32, "cbi32"},     {&cbu32, "cbu32"},     {&cbi64, "cbi64"},
        {&cbu64, "cbu64"},     {&cbdbl, "cbdbl"},     {&cbmdbl, "cbmdbl"},
        {&cbia32, "cbia32"},   {&cbia64, "cbia64"},   {&cbua32, "cbua32"},
        {&cbua64, "cbua64"},   {&cbvchar, "cbvchar"}, {&cbvzochar, "cbvzochar"},
        {&cbi32p, "cbi32p"},   {&cbu32p, "cbu32p"},   {&cbi64p, "cbi64p"},
        {&cbu64p, "cbu64p"},   {&cbdblp, "cbdblp"},   {&cbmdblp, "cbmdblp"},
        {&cbia32p, "cbia32p"}, {&cbia64p, "cbia64p"}, {&cbua32p, "cbua32p"},
        {&cbua64p, "cbua64p"}};
    return by_code[type];
}

/* The parameters that the members of a record call for. */
template <class Hook, auto... keys>
ZOEAVLParms parameters() {
    using policy = field_policy<Hook, keys...>;
    using first = typename policy::first;
    using order = typename first::order;
    constexpr bool is_behind = sizeof...(keys) == 1 && first::is_behind;
    constexpr code direct = policy::is_member ? order::direct : is_behind ? order::behind : code{};
    ZOEAVLParms parms{};
    parms.keylen = direct.length;
    parms.keytype = direct.type;
    if constexpr (direct.type == ZOEAVL_KEYTYPE_OPTABLE)
        parms.optable = &operation_table<policy>::table;
    if constexpr (is_behind && direct.type != ZOEAVL_KEYTYPE_OPTABLE)
        parms.keyoff = static_cast<std::int32_t>(first::offset() - Hook::node_offset());
    else
        parms.keyoff = static_cast<std::int32_t>(policy::offset());
    return parms;
}

/* Tables are told by what they hold: a program that isn't compiled with -fPIC sees copies of the
 * library's. */
inline bool same_table(const ZOEAVLOpTable *a, const ZOEAVLOpTable *b) {
    return a == b || (a != nullptr && b != nullptr && std::memcmp(a, b, sizeof *a) == 0);
}

inline std::string described(const ZOEAVLOpTable *table, std::int32_t offset, std::int32_t length) {
    std::string name = table == nullptr ? "no table" : "a table of its own";
    for (ZOEAVLKeyType type = ZOEAVL_KEYTYPE_CHAR; type < ZOEAVL_KEYTYPE_GENERATED; type++)
        if (same_table(library_table(type).table, table))
            name = std::string("table ") + library_table(type).name;
    return name + ", offset " + std::to_string(offset) + ", length " + std::to_string(length);
}

/* Throws std::invalid_argument that tells both sides unless the tree is what the members call for.
 */
inline void require_tree_like(const ZOEAVLTree *tree, const ZOEAVLParms &parms) {
    if (tree == nullptr)
        throw std::invalid_argument("zoeavl: a view of no tree");
    const ZOEAVLOpTable *const table = parms.keytype == ZOEAVL_KEYTYPE_OPTABLE
                                           ? parms.optable
                                           : library_table(parms.keytype).table;
    const bool any_length =
        parms.keytype == ZOEAVL_KEYTYPE_OPTABLE || parms.keytype == ZOEAVL_KEYTYPE_VCHAR;
    if (!same_table(tree->optable, table) || tree->root.keyoff != parms.keyoff ||
        (tree->root.keylen != parms.keylen && !any_length))
        throw std::invalid_argument(
            "zoeavl: the members call for " + described(table, parms.keyoff, parms.keylen) +
            "; the tree has " + described(tree->optable, tree->root.keyoff, tree->root.keylen));
    const bool locked = tree->root.rw != nullptr;
    if (tree->adder != (locked ? table->safe_adder : table->adder) ||
        tree->finder != (locked ? table->safe_finder : table->finder) ||
        tree->fuzzier != (locked ? table->safe_fuzzier : table->fuzzier) ||
        tree->killer != (locked ? table->safe_killer : table->killer))
        throw std::invalid_argument("zoeavl: the members call for the operations of " +
                                    described(table, parms.keyoff, parms.keylen) +
                                    "; the tree has others in force");
}

/* ---- Access -------------------------------------------------------------------------------------
 */

template <class Hook, auto... keys>
class tree_access;

/* The operations on the head word of somebody else's tree, which keeps no count. Only views copy
 * them: a copy would reach the tree without its lock. */
template <class Hook, auto... keys>
class tree_operations : public batches<tree_operations<Hook, keys...>, Hook, keys...> {
    template <class, class, auto...>
    friend class operations;
    template <class, class, auto...>
    friend class batches;

  public:
    explicit tree_operations(ZOEAVLp *word_) noexcept : word(word_) {}
    ~tree_operations() = default;

  private:
    friend class tree_access<Hook, keys...>;
    tree_operations(const tree_operations &other) noexcept : tree_operations(other.word) {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): it is one word
    tree_operations &operator=(const tree_operations &other) noexcept {
        word = other.word;
        return *this;
    }
    [[nodiscard]] ZOEAVLp *head_word() const noexcept { return word; }
    void counted(std::ptrdiff_t) noexcept {}
    void emptied() noexcept {}
    void joined(const basic_index<Hook, keys...> &) noexcept {}
    void cut() noexcept {}
    ZOEAVLp *word;
};

/* Holds a tree's lock, if it has one. */
template <engine::LockMode mode>
class tree_lock {
  public:
    explicit tree_lock(const ZOEAVLTree &tree) : lock(tree.root.rw) {
        if (lock != nullptr)
            lock->Get(lock, mode, engine::wait_until_granted);
    }
    ~tree_lock() {
        if (lock != nullptr)
            lock->Release(lock);
    }
    tree_lock(const tree_lock &) = delete;
    tree_lock &operator=(const tree_lock &) = delete;

  private:
    ZOLock *lock;
};

/** What trees and views have in common: read() and write(). */
template <class Hook, auto... keys>
class tree_access {
    using operations = tree_operations<Hook, keys...>;

  public:
    /* Takes the tree's lock, if it has one, once, and gives an object with -> and * that reaches
     * the operations of an index and lets go at its end. What is called inside runs the plain
     * operations, neighbours() included: beside writers that is the safe way to look them up. A
     * thread that holds either must not ask for another, nor call the tree's own slots. */
    [[nodiscard]] access<const operations, tree_lock<engine::reading>> read() const {
        return {*object, records};
    }
    [[nodiscard]] access<operations, tree_lock<engine::writing>> write() const {
        return {*object, records};
    }

    /* The tree object, for the functions of zoeavl.h. */
    [[nodiscard]] ZOEAVLTree *get() const noexcept { return object; }

  protected:
    tree_access(ZOEAVLTree *object_, ZOEAVLp *word) noexcept : object(object_), records(word) {}
    explicit tree_access(ZOEAVLTree *tree) noexcept : tree_access(tree, &tree->root.headptr) {}
    tree_access(const tree_access &) noexcept = default;
    tree_access &operator=(const tree_access &) noexcept = default;
    ~tree_access() = default;
    void swap(tree_access &other) noexcept {
        const tree_access mine = *this;
        *this = other;
        other = mine;
    }

    ZOEAVLTree *object;

  private:
    mutable operations records;
};

} // namespace detail

/* How a tree is made. The name is copied. */
struct options {
    const char *name = nullptr;   /* for the host to show; null for none */
    bool locked = true;           /* have the host make a lock */
    bool lock_variant = false;    /* the other kind of lock that the host has */
    ZOJournal *journal = nullptr; /* where a failure is reported, or null */
};

/* Owns a tree object made by `factory`; key type, length and offset are those of the members. What
 * has no key type of its own gets key type 0 with a table made here. Records keep their links when
 * the tree ends. Move-only. */
template <class Hook, auto... keys>
class basic_tree : public detail::tree_access<Hook, keys...> {
    using base = detail::tree_access<Hook, keys...>;

  public:
    /* std::invalid_argument for a null factory; std::runtime_error if there is no tree to be had,
     * of which the journal, if there is one, tells more. */
    explicit basic_tree(ZOEAVLExtension *factory, const options &how = {})
        : base(made(factory, how)) {}

    /* Take over the tree object of `other`, which may then only end or be assigned to. */
    basic_tree(basic_tree &&other) noexcept : base(other) { other.object = nullptr; }
    basic_tree &operator=(basic_tree &&other) noexcept {
        basic_tree taken(std::move(other));
        this->swap(taken);
        return *this;
    }
    ~basic_tree() {
        if (this->object != nullptr)
            this->object->destroy(this->object);
    }

  private:
    static ZOEAVLTree *made(ZOEAVLExtension *factory, const options &how) {
        if (factory == nullptr)
            throw std::invalid_argument("zoeavl: a tree without a factory");
        ZOEAVLParms parms = detail::parameters<Hook, keys...>();
        parms.flags = (how.locked ? 0 : ZOEAVL_PARM_NOLOCK) |
                      (how.lock_variant ? ZOEAVL_PARM_LOCKVARIANT : 0);
        ZOEAVLTree *const tree = factory->Create(factory, &parms, how.journal, how.name);
        if (tree == nullptr)
            throw std::runtime_error("zoeavl: the factory gave no tree");
        return tree;
    }
};

/* The face over a tree object that somebody else owns, or over a root word served by it. Throws
 * std::invalid_argument that tells both sides if the tree's table, operations in force, offset or
 * length differ from what the members call for. Both must outlive the view. */
template <class Hook, auto... keys>
class basic_view : public detail::tree_access<Hook, keys...> {
    using base = detail::tree_access<Hook, keys...>;

  public:
    /* Over the tree's own root, or over the word at `root_word`. std::invalid_argument as above. */
    explicit basic_view(ZOEAVLTree *tree) : base(fitting(tree)) {}
    basic_view(ZOEAVLTree *tree, ZOEAVLp *root_word) : base(fitting(tree), root_word) {}
    basic_view(ZOEAVLTree *tree, ZOEAVLp &root_word) : base(fitting(tree), &root_word) {}

  private:
    static ZOEAVLTree *fitting(ZOEAVLTree *tree) {
        detail::require_tree_like(tree, detail::parameters<Hook, keys...>());
        return tree;
    }
};

/* A tree over records derived from `node`, or over a member node. */
template <class Record, auto... keys>
using tree = basic_tree<detail::base_hook<Record>, keys...>;
template <auto hook, auto... keys>
using tree_on = basic_tree<detail::member_hook<hook>, keys...>;

/* A view over records with a ZOEAVLNODE or `node` as base class, or as a member. */
template <class Record, auto... keys>
using view = basic_view<detail::base_hook<Record>, keys...>;
template <auto hook, auto... keys>
using view_on = basic_view<detail::member_hook<hook>, keys...>;

} // namespace ZOEAVL_FACE_NAMESPACE

#endif
