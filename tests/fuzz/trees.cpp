/* Operations on a tree, for every key type, with and without a lock, against the model; the order
 * that the model takes for granted is written out here once more, on values. */
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "../model.h"
#include "fuzz.h"

extern "C" const ZOEAVLOpTable order_of_integers;

namespace {

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
bool missing_less(const Key &x, const Key &y) {
    const auto place = [](const Key &key) {
        const double value = units<double>(key)[0];
        const int code = 256 - static_cast<unsigned char>(key[5]);
        return std::isnan(value) ? std::pair(code >= 1 && code <= 28 ? code : 2, 0.0)
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
};

#define SCALAR_AND_ARRAY(name, Unit)                                                               \
    {&cb##name, units_less<Unit>, sizeof(Unit), 1, Form::direct}, {                                \
        &cb##name##p, units_less<Unit>, sizeof(Unit), 1, Form::indirect                            \
    }
const Type types[] = {
    {&cbchar, units_less<unsigned char>, 1, 5, Form::direct},
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

/* A lock that knows what it is held for. */
struct Lock : ZOLock {
    Lock() : ZOLock{} {
        Get = [](ZOLock *lock, std::uint32_t writing, std::uint32_t wait) -> std::uint32_t {
            DEMAND(wait == 1 && !std::exchange(static_cast<Lock *>(lock)->held, true));
            static_cast<Lock *>(lock)->writes += writing;
            return 0;
        };
        Release = [](ZOLock *lock) -> std::uint32_t {
            DEMAND(std::exchange(static_cast<Lock *>(lock)->held, false));
            static_cast<Lock *>(lock)->turns++;
            return 0;
        };
    }
    bool held = false;
    unsigned turns = 0, writes = 0;
};

constexpr std::size_t most_records = 48;

/* A node at an address that is 4 modulo 8, and its key field behind it. */
struct alignas(8) Record {
    char gap[4];
    ZOEAVLNODE node;
    char field[24];
    Key key;

    void set(const Type &type, const Key &value) {
        key = value;
        if (type.form == Form::direct) {
            std::memcpy(field, key.data(), key.size());
            return;
        }
        const char *const outside = key.data();
        const auto length = static_cast<std::uint32_t>(key.size() / type.unit);
        std::memcpy(field, &outside, sizeof outside);
        std::memcpy(field + sizeof outside, &length, sizeof length);
    }
};

/* A new key, or one of a record's with a byte changed: keys are to meet and to be near. */
Key some_key(FuzzedDataProvider &bytes, const Type &type, const std::vector<Record> &records) {
    const auto length = type.form == Form::varying ? bytes.ConsumeIntegralInRange<std::size_t>(0, 9)
                                                   : static_cast<std::size_t>(type.keylen);
    const std::size_t pick = bytes.ConsumeIntegralInRange<std::size_t>(0, most_records);
    Key key =
        pick < most_records ? records[pick].key : bytes.ConsumeBytesAsString(length * type.unit);
    key.resize(length * type.unit);
    if (!key.empty() && bytes.ConsumeBool())
        key[bytes.ConsumeIntegral<std::uint8_t>() % key.size()] ^=
            static_cast<char>(bytes.ConsumeIntegral<std::uint8_t>());
    if (type.less == units_less<double> && std::isnan(units<double>(key)[0]))
        key.assign(8, '\0'); // equal to everything, which is no order
    return key;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    const Type &type = bytes.PickValueInArray(types);
    const bool locked = bytes.ConsumeBool();
    Lock lock;
    const std::size_t half = locked ? 4 : 0;
    ZOEAVLOpTable in_force{};
    std::memcpy(&in_force, reinterpret_cast<const ZOEAVLAdder *>(type.table) + half, 32);
    ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), type.keylen, locked ? &lock : nullptr};
    std::vector<Record> records(most_records);
    std::vector<bool> present(most_records);
    model::Tree expected;
    unsigned operations = 0;
    unsigned writes = 0;

    while (bytes.remaining_bytes() > 0) {
        const Key key = some_key(bytes, type, records);
        const auto at = [&](ZOEAVLp node) -> Record & {
            return *reinterpret_cast<Record *>(reinterpret_cast<char *>(node) -
                                               offsetof(Record, node));
        };
        const auto place = static_cast<std::size_t>(
            std::partition_point(expected.order.begin(), expected.order.end(),
                                 [&](ZOEAVLp node) { return type.less(at(node).key, key); }) -
            expected.order.begin());
        const ZOEAVLp candidate = expected.at(place);
        const ZOEAVLp here =
            candidate != nullptr && !type.less(key, at(candidate).key) ? candidate : nullptr;
        Record sought{};
        sought.set(type, key);
        const unsigned action = bytes.ConsumeIntegralInRange(0U, 7U);
        operations++;
        writes += action >= 2;
        if (action == 0) {
            DEMAND(in_force.finder(&root, sought.field) == here);
        } else if (action == 1) {
            ZOEAVLp around[] = {&sought.node, &sought.node};
            DEMAND(in_force.fuzzier(&root, sought.field, &around[0], &around[1]) == here);
            DEMAND(around[0] == expected.before(place));
            DEMAND(around[1] == expected.at(here != nullptr ? place + 1 : place));
        } else if (action < 6) {
            const auto pick = static_cast<std::size_t>(
                std::find(present.begin(), present.end(), false) - present.begin());
            if (here == nullptr && pick == most_records) {
                operations--, writes--;
                continue;
            }
            Record &added = here != nullptr ? sought : records[pick];
            added.set(type, key);
            DEMAND(in_force.adder(&root, &added.node) == (here != nullptr ? here : &added.node));
            if (here == nullptr) {
                expected.insert(place, &added.node);
                present[pick] = true;
            }
        } else {
            DEMAND(in_force.killer(&root, sought.field) == here);
            if (here != nullptr) {
                DEMAND(model::words_of(here) == model::Words(0, 0));
                expected.remove(place);
                present[static_cast<std::size_t>(&at(here) - records.data())] = false;
            }
        }
        DEMAND(model::same(expected, root.headptr));
        DEMAND(lock.turns == (locked ? operations : 0) && lock.writes == (locked ? writes : 0));
    }
    DEMAND(model::walks_alike(expected, &root));
    ZOEAVLp tail = nullptr;
    ZOEAVLp node = ZOEAVLSTToList(nullptr, &root.headptr, &tail);
    DEMAND(tail == (expected.order.empty() ? nullptr : expected.order.back()));
    for (const ZOEAVLp listed : expected.order) {
        DEMAND(node == listed);
        node = node->rlink;
    }
    DEMAND(node == nullptr);
    return 0;
}
