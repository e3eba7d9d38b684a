/* Operations by any order, plain or locked, on keys taken from bytes, against the model: the run
 * that unit tests feed with random bytes and fuzz targets with their input. The order that the
 * model takes for granted is written out here once more, on values. */
#ifndef ZOEAVL_TESTS_OPERATIONS_H
#define ZOEAVL_TESTS_OPERATIONS_H

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>

#include "choices.h"
#include "model.h"

extern "C" const ZOEAVLOpTable order_of_bytes, order_of_integers, order_by_halves;

enum class Form { direct, varying, indirect };

using Key = std::string; /* the units of a key, one behind the other */

template <class Unit>
std::vector<Unit> units(const Key &key) {
    std::vector<Unit> all;
    for (std::size_t i = 0; i < key.size(); i += sizeof(Unit))
        std::memcpy(&all.emplace_back(), &key[i], sizeof(Unit));
    return all;
}

template <class Unit>
bool units_less(const Key &x, const Key &y) {
    return units<Unit>(x) < units<Unit>(y);
}

/* Missing values by the code that their sixth byte holds, then the numbers. */
inline bool missing_less(const Key &x, const Key &y) {
    const auto place = [](const Key &key) {
        const double value = units<double>(key)[0];
        const int missing = 256 - static_cast<unsigned char>(key[5]);
        return std::isnan(value) ? std::pair(missing >= 1 && missing <= 28 ? missing : 2, 0.0)
                                 : std::pair(29, value);
    };
    return place(x) < place(y);
}

struct Type {
    const ZOEAVLOpTable *table;
    bool (*less)(const Key &, const Key &);
    std::size_t unit;
    std::int32_t keylen;
    Form form;
    bool finds_by_twice_the_key = false;
};

#define SCALAR_AND_ARRAY(name, Unit)                                                               \
    {&cb##name, units_less<Unit>, sizeof(Unit), 1, Form::direct}, {                                \
        &cb##name##p, units_less<Unit>, sizeof(Unit), 1, Form::indirect                            \
    }
inline const Type types[] = {
    {&cbchar, units_less<unsigned char>, 1, 11, Form::direct},
    {&cbzochar, units_less<std::int32_t>, 4, 3, Form::direct},
    {&cbvchar, units_less<unsigned char>, 1, 1, Form::varying},
    {&cbvzochar, units_less<std::int32_t>, 4, 1, Form::varying},
    SCALAR_AND_ARRAY(i32, std::int32_t),
    SCALAR_AND_ARRAY(u32, std::uint32_t),
    SCALAR_AND_ARRAY(i64, std::int64_t),
    SCALAR_AND_ARRAY(u64, std::uint64_t),
    SCALAR_AND_ARRAY(dbl, double),
    {&cbia32, units_less<std::int32_t>, 4, 3, Form::direct},
    {&cbia64, units_less<std::int64_t>, 8, 3, Form::direct},
    {&cbua32, units_less<std::uint32_t>, 4, 3, Form::direct},
    {&cbua64, units_less<std::uint64_t>, 8, 3, Form::direct},
    {&cbia32p, units_less<std::int32_t>, 4, 3, Form::indirect},
    {&cbia64p, units_less<std::int64_t>, 8, 3, Form::indirect},
    {&cbua32p, units_less<std::uint32_t>, 4, 3, Form::indirect},
    {&cbua64p, units_less<std::uint64_t>, 8, 3, Form::indirect},
    {&cbmdbl, missing_less, 8, 1, Form::direct},
    {&cbmdblp, missing_less, 8, 1, Form::indirect},
    {&order_of_integers, units_less<std::int32_t>, 4, 1, Form::direct},
};
#undef SCALAR_AND_ARRAY

/* The key, unless it is one that equals everything, which is no order. */
inline Key orderable(const Type &type, const Key &key) {
    const bool unordered = type.less == units_less<double> && std::isnan(units<double>(key)[0]);
    return unordered ? Key(8, '\0') : key;
}

/* So many keys in ascending order. */
inline std::vector<Key> sorted_keys(const Type &type, std::size_t count) {
    RandomBytes random;
    std::set<Key, decltype(type.less)> keys(type.less);
    while (keys.size() < count) {
        const std::size_t length = type.form == Form::varying
                                       ? random.ConsumeIntegralInRange(0U, 9U)
                                       : static_cast<std::size_t>(type.keylen);
        keys.insert(orderable(type, random.ConsumeBytesAsString(length * type.unit)));
    }
    return {keys.begin(), keys.end()};
}

/* A node at an address that is 4 modulo 8, with room for an unaligned key field on both sides. */
struct alignas(8) KeyedRecord {
    char before[44];
    ZOEAVLNODE node;
    char after[36];
    Key key; /* what the field holds or points at */

    char *field(std::int32_t keyoff) { return reinterpret_cast<char *>(&node) + keyoff; }

    void set(const Type &type, std::int32_t keyoff, const Key &value) {
        key = value;
        const char *const outside = key.empty() ? nullptr : key.data();
        const auto length = static_cast<std::uint32_t>(key.size() / type.unit);
        if (type.form == Form::direct) {
            key.copy(field(keyoff), key.size());
        } else {
            std::memcpy(field(keyoff), &outside, sizeof outside);
            if (type.form == Form::varying)
                std::memcpy(field(keyoff) + sizeof outside, &length, sizeof length);
        }
    }
};

/* Counts its turns, of which no two may overlap. */
struct CountingLock : ZOLock {
    CountingLock() : ZOLock{} {
        Get = [](ZOLock *lock, std::uint32_t writing, std::uint32_t wait) -> std::uint32_t {
            DEMAND(wait == 1 && !std::exchange(static_cast<CountingLock *>(lock)->held, true));
            static_cast<CountingLock *>(lock)->writes += writing;
            return 0;
        };
        Release = [](ZOLock *lock) -> std::uint32_t {
            DEMAND(std::exchange(static_cast<CountingLock *>(lock)->held, false));
            static_cast<CountingLock *>(lock)->turns++;
            return 0;
        };
    }
    bool held = false;
    unsigned turns = 0, writes = 0;
};

class Operations {
  public:
    Operations(const Type &type_, bool locked_, std::int32_t keyoff = sizeof(ZOEAVLNODE),
               std::size_t limit = 48)
        : type(type_), locked(locked_), records(limit),
          present(limit), root{nullptr, keyoff, type.keylen, locked ? &lock : nullptr} {
        use(reinterpret_cast<const ZOEAVLAdder *>(type.table) + (locked ? 4 : 0));
    }
    void use(const void *slots) { std::memcpy(&in_force, slots, 32); }

    template <class Bytes>
    void step(Bytes &bytes) {
        const Key key = some_key(bytes);
        const auto place = static_cast<std::size_t>(
            std::partition_point(expected.order.begin(), expected.order.end(),
                                 [&](ZOEAVLp node) { return type.less(of(node).key, key); }) -
            expected.order.begin());
        const ZOEAVLp candidate = expected.at(place);
        const ZOEAVLp here =
            candidate != nullptr && !type.less(key, of(candidate).key) ? candidate : nullptr;
        KeyedRecord other{};
        other.set(type, root.keyoff, key);
        const void *wanted = other.field(root.keyoff);
        std::int64_t twice = 0;
        if (type.finds_by_twice_the_key) {
            twice = 2 * std::int64_t{units<std::int32_t>(key)[0]};
            wanted = &twice;
        }
        const auto action = bytes.ConsumeIntegralInRange(0U, 7U);
        const auto pick = static_cast<std::size_t>(
            std::find(present.begin(), present.end(), false) - present.begin());
        if (action >= 2 && action < 6 && here == nullptr && pick == records.size())
            return;
        if (action == 0) {
            DEMAND(in_force.finder(&root, wanted) == here);
        } else if (action == 1) {
            ZOEAVLp around[] = {&other.node, &other.node};
            DEMAND(in_force.fuzzier(&root, wanted, &around[0], &around[1]) == here);
            DEMAND(around[0] == expected.before(place));
            DEMAND(around[1] == expected.at(here != nullptr ? place + 1 : place));
        } else if (action < 6) {
            KeyedRecord &added = here != nullptr ? other : records[pick];
            added.set(type, root.keyoff, key);
            DEMAND(in_force.adder(&root, &added.node) == (here != nullptr ? here : &added.node));
            if (here == nullptr) {
                expected.insert(place, &added.node);
                present[pick] = true;
            }
        } else {
            DEMAND(in_force.killer(&root, other.field(root.keyoff)) == here);
            if (here != nullptr) {
                DEMAND(model::words_of(here) == model::Words(0, 0));
                expected.remove(place);
                present[static_cast<std::size_t>(&of(here) - records.data())] = false;
            }
        }
        DEMAND(model::same(expected, root.headptr));
        operations++;
        writes += action >= 2;
        DEMAND(lock.turns == (locked ? operations : 0) && lock.writes == (locked ? writes : 0));
    }

    static KeyedRecord &of(ZOEAVLp node) {
        return *reinterpret_cast<KeyedRecord *>(reinterpret_cast<char *>(node) -
                                                offsetof(KeyedRecord, node));
    }

  private:
    const Type type;
    const bool locked;
    CountingLock lock;
    ZOEAVLOpTable in_force{};
    std::vector<KeyedRecord> records;
    std::vector<bool> present;
    unsigned operations = 0, writes = 0;

    /* A new key, or one of a record's, with a byte changed or not: keys are to meet and be near. */
    template <class Bytes>
    Key some_key(Bytes &bytes) const {
        const auto length = type.form == Form::varying
                                ? bytes.template ConsumeIntegralInRange<std::size_t>(0, 9)
                                : static_cast<std::size_t>(type.keylen);
        const auto pick = bytes.template ConsumeIntegralInRange<std::size_t>(0, records.size());
        Key key = pick < records.size() ? records[pick].key
                                        : bytes.ConsumeBytesAsString(length * type.unit);
        key.resize(length * type.unit);
        if (!key.empty() && bytes.ConsumeBool())
            key[bytes.template ConsumeIntegral<std::uint8_t>() % key.size()] ^=
                static_cast<char>(bytes.template ConsumeIntegral<std::uint8_t>());
        return orderable(type, key);
    }

  public:
    ZOEAVL_ROOT root;
    model::Tree expected;
};

/* For 32-bit integers. No tree is as high as the array for its path is long, but a chain is that
 * leans left down to its last node, which leans right, so that nothing moves when it gets a left
 * child. */
inline void expect_room_for_the_longest_path(ZOEAVL_ROOT &root, ZOEAVLAdder adder,
                                             ZOEAVLKiller killer) {
    constexpr std::size_t length = 90;
    std::vector<KeyedRecord> chain(length + 2);
    const auto link = [](KeyedRecord &record, std::uintptr_t tags) {
        return reinterpret_cast<ZOEAVLp>(model::word(&record.node) + tags);
    };
    const auto key = [](KeyedRecord &record) -> std::int32_t & {
        return *reinterpret_cast<std::int32_t *>(record.after);
    };
    for (std::size_t i = 0; i < length; i++) {
        key(chain[i]) = static_cast<std::int32_t>(2 * (length - i));
        chain[i].node = {link(chain[i + 1], 1), i > 0 ? link(chain[i - 1], 2) : nullptr};
    }
    KeyedRecord &last = chain[length - 1];
    KeyedRecord &right = chain[length];
    KeyedRecord &added = chain[length + 1];
    key(right) = key(last) + 1;
    right.node = {link(last, 2), link(chain[length - 2], 2)};
    last.node = {reinterpret_cast<ZOEAVLp>(2), link(right, 1)};
    root.headptr = &chain[0].node;
    EXPECT_EQ(adder(&root, &added.node), &added.node);
    EXPECT_EQ(model::words_of(&last.node),
              (model::Words{model::word(&added.node), model::word(&right.node)}));
    EXPECT_EQ(killer(&root, added.after), &added.node);
    EXPECT_EQ(model::words_of(&last.node), (model::Words{2, model::word(link(right, 1))}));
}

#endif
