/* The key types: every table, plain and locked, through the same sequence of operations on keys
 * with the same relative order, compared with the model after every step; what a comparison reads;
 * and the tables as objects. The keys of each type are chosen around its boundaries. */
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <set>

#include "guarded.h"
#include "model.h"
#ifdef __x86_64__
#    include "watched.h"
#endif
#include "zoeavl_host.h"
#include "zoeavl_inspect.h"

namespace {

constexpr std::size_t ranks = 120;

/* The bytes of a key in memory, or of what an indirect or varying key points at. */
using Bytes = std::string;

template <class Value>
Bytes bytes_of(Value value) {
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

/* A key by its place in the order. A key may have several spellings that are equal as keys. */
using Spell = std::function<Bytes(std::size_t rank, unsigned spelling)>;

Bytes big_endian(std::size_t rank, unsigned) {
    const std::size_t spread =
        rank * 139793; // over all of three bytes, both sides of 0x80 and zeros
    return {static_cast<char>(spread >> 16), static_cast<char>(spread >> 8),
            static_cast<char>(spread)};
}

Bytes wide(std::size_t rank, unsigned) {
    constexpr std::int32_t units[] = {INT32_MIN, -1, 0, 0x41, INT32_MAX};
    return bytes_of(units[rank / 25]) + bytes_of(units[rank / 5 % 5]) + bytes_of(units[rank % 5]);
}

/* Strings of up to five of three units in lexicographic order, the empty one first. */
template <class Unit>
Spell strings_over(std::array<Unit, 3> units) {
    std::vector<Bytes> all;
    const std::function<void(const Bytes &, int)> extend = [&](const Bytes &prefix, int more) {
        all.push_back(prefix);
        if (more > 0)
            for (const Unit unit : units)
                extend(prefix + bytes_of(unit), more - 1);
    };
    extend({}, 5);
    return [all](std::size_t rank, unsigned) { return all.at(rank); };
}

template <class Integer>
Bytes integer(std::size_t rank, unsigned) {
    constexpr Integer low = std::numeric_limits<Integer>::min();
    constexpr Integer high = std::numeric_limits<Integer>::max();
    if (rank < ranks / 3)
        return bytes_of(static_cast<Integer>(low + static_cast<Integer>(rank)));
    if (rank >= ranks - ranks / 3)
        return bytes_of(static_cast<Integer>(high - static_cast<Integer>(ranks - 1 - rank)));
    const auto middle = static_cast<Integer>(low / 2 + high / 2);
    return bytes_of(static_cast<Integer>(middle + static_cast<Integer>(rank - ranks / 2)));
}

template <class Integer>
Bytes three_integers(std::size_t rank, unsigned spelling) {
    const std::size_t steps[] = {0, 1, ranks / 2, ranks / 2 + 5, ranks - 1};
    return integer<Integer>(steps[rank / 25], spelling) +
           integer<Integer>(steps[rank / 5 % 5], spelling) +
           integer<Integer>(steps[rank % 5], spelling);
}

Bytes number(std::size_t rank, std::size_t count, unsigned spelling) {
    if (rank == 0)
        return bytes_of(-INFINITY + 0.0);
    if (rank == count - 1)
        return bytes_of(INFINITY + 0.0);
    const double steps = static_cast<double>(rank) - static_cast<double>(count / 2);
    if (steps == 0)
        return bytes_of(spelling % 2 ? -0.0 : 0.0);
    return bytes_of(
        std::copysign(std::ldexp(5e-324, 52 * (std::abs(static_cast<int>(steps)) - 1) / 2), steps));
}

Bytes plain_double(std::size_t rank, unsigned spelling) {
    return number(rank, ranks, spelling);
}

/* A NaN with that byte 5; all else of it may be anything. */
Bytes missing(std::uint8_t byte5, unsigned spelling) {
    std::uint64_t noise = 0x7FF0000000000001 | (std::uint64_t{spelling} * 0x9E3779B97F4A7C15 >> 12);
    noise = (noise & ~(std::uint64_t{0xFF} << 40)) | std::uint64_t{byte5} << 40;
    return bytes_of(noise | (spelling % 3 == 0 ? std::uint64_t{1} << 63 : 0));
}

Bytes missing_double(std::size_t rank, unsigned spelling) {
    constexpr std::size_t codes = 28;
    constexpr std::uint8_t code_two[] = {0xFE, 0x00, 0xE3, 0x01, 0x80};
    if (rank >= codes)
        return number(rank - codes, ranks - codes, spelling);
    return missing(rank == 1 ? code_two[spelling % 5] : static_cast<std::uint8_t>(0xFF - rank),
                   spelling);
}

enum class Form { direct, varying, indirect };

struct Type {
    const char *name;
    const ZOEAVLOpTable *table;
    std::vector<std::uint32_t> codes;
    std::int32_t keylen;
    bool reads_keylen;
    Form form;
    std::size_t unit; /* bytes that a varying length counts as one */
    Spell spell;
};

const std::vector<Type> &types() {
    static const Spell characters = strings_over<unsigned char>({0x00, 0x7F, 0x80});
    static const Spell wide_characters = strings_over<std::int32_t>({INT32_MIN, 0, INT32_MAX});
    static const std::vector<Type> all = {
        {"char", &cbchar, {1}, 3, true, Form::direct, 1, big_endian},
        {"zochar", &cbzochar, {2}, 3, true, Form::direct, 4, wide},
        {"vchar", &cbvchar, {13}, 1, false, Form::varying, 1, characters},
        {"vzochar", &cbvzochar, {14}, 9, false, Form::varying, 4, wide_characters},
        {"i32", &cbi32, {3, 9}, 1, false, Form::direct, 4, integer<std::int32_t>},
        {"i64", &cbi64, {5, 10}, 1, false, Form::direct, 8, integer<std::int64_t>},
        {"u32", &cbu32, {4, 11}, 1, false, Form::direct, 4, integer<std::uint32_t>},
        {"u64", &cbu64, {6, 12}, 1, false, Form::direct, 8, integer<std::uint64_t>},
        {"ia32", &cbia32, {3, 9}, 3, true, Form::direct, 4, three_integers<std::int32_t>},
        {"ia64", &cbia64, {5, 10}, 3, true, Form::direct, 8, three_integers<std::int64_t>},
        {"ua32", &cbua32, {4, 11}, 3, true, Form::direct, 4, three_integers<std::uint32_t>},
        {"ua64", &cbua64, {6, 12}, 3, true, Form::direct, 8, three_integers<std::uint64_t>},
        {"dbl", &cbdbl, {7}, 1, false, Form::direct, 8, plain_double},
        {"mdbl", &cbmdbl, {8}, 1, false, Form::direct, 8, missing_double},
        {"i32p", &cbi32p, {15, 21}, 1, false, Form::indirect, 4, integer<std::int32_t>},
        {"i64p", &cbi64p, {17, 22}, 1, false, Form::indirect, 8, integer<std::int64_t>},
        {"u32p", &cbu32p, {16, 23}, 1, false, Form::indirect, 4, integer<std::uint32_t>},
        {"u64p", &cbu64p, {18, 24}, 1, false, Form::indirect, 8, integer<std::uint64_t>},
        {"ia32p", &cbia32p, {15, 21}, 3, true, Form::indirect, 4, three_integers<std::int32_t>},
        {"ia64p", &cbia64p, {17, 22}, 3, true, Form::indirect, 8, three_integers<std::int64_t>},
        {"ua32p", &cbua32p, {16, 23}, 3, true, Form::indirect, 4, three_integers<std::uint32_t>},
        {"ua64p", &cbua64p, {18, 24}, 3, true, Form::indirect, 8, three_integers<std::uint64_t>},
        {"dblp", &cbdblp, {19}, 1, false, Form::indirect, 8, plain_double},
        {"mdblp", &cbmdblp, {20}, 1, false, Form::indirect, 8, missing_double},
    };
    return all;
}

/* The key field for those bytes; `outside` holds what it points at. */
Bytes key_field(const Type &type, const char *outside, std::size_t length) {
    switch (type.form) {
    case Form::direct:
        return {outside, length};
    case Form::indirect:
        return bytes_of(outside);
    case Form::varying:
        break;
    }
    return bytes_of(length == 0 ? nullptr : outside) +
           bytes_of(static_cast<std::uint32_t>(length / type.unit));
}

/* A record at an address that is 4 modulo 8, with room for an unaligned key field on both sides. */
struct alignas(8) Record {
    char fill[44];
    ZOEAVLNODE node;
    char after[36];
};
static_assert(offsetof(Record, node) % 8 == 4);
constexpr std::int32_t key_offsets[] = {16 + 3, -27};

struct KeyedRecord {
    Record record;
    Bytes outside;

    void set(const Type &type, std::int32_t keyoff, std::size_t rank, unsigned spelling) {
        outside = type.spell(rank, spelling);
        const Bytes field = key_field(type, outside.data(), outside.size());
        std::memcpy(reinterpret_cast<char *>(&record.node) + keyoff, field.data(), field.size());
    }
};

class Keys : public testing::Test {
  protected:
    Keys() {
        zoextent(zoeavl_host());
        extension = zoeavl(nullptr, nullptr);
    }
    ~Keys() override { extension->RealDestroy(extension); }
    ZOEAVLExtension *extension;
};

/* The sequence is the same for all types: nothing of it depends on what a key looks like. */
void run_sequence(const Type &type, ZOEAVLTree *tree) {
    ZOEAVL_ROOT *const root = &tree->root;
    std::vector<KeyedRecord> records(ranks);
    std::vector<bool> present(ranks);
    model::Tree expected;
    std::mt19937 random(11);
    for (unsigned step = 0; step < 3000; step++) {
        const std::size_t rank = random() % ranks;
        const auto place = static_cast<std::size_t>(
            std::count(present.begin(), present.begin() + static_cast<std::ptrdiff_t>(rank), true));
        KeyedRecord other{};
        other.set(type, root->keyoff, rank, step);
        const ZOEAVLp here = present[rank] ? &records[rank].record.node : nullptr;
        const char *const sought = reinterpret_cast<char *>(&other.record.node) + root->keyoff;

        ZOEAVLp previous = nullptr;
        ZOEAVLp next = nullptr;
        ASSERT_EQ(tree->finder(root, sought), here);
        ASSERT_EQ(tree->fuzzier(root, sought, &previous, &next), here);
        ASSERT_EQ(previous, expected.before(place));
        ASSERT_EQ(next, expected.at(here ? place + 1 : place));
        if (random() % 5 < (step / 400 % 2 == 0 ? 4U : 1U)) {
            if (here != nullptr) {
                ASSERT_EQ(tree->adder(root, &other.record.node), here);
            } else {
                records[rank].set(type, root->keyoff, rank, step + 1);
                ASSERT_EQ(tree->adder(root, &records[rank].record.node),
                          &records[rank].record.node);
                expected.insert(place, &records[rank].record.node);
            }
            present[rank] = true;
        } else {
            ASSERT_EQ(tree->killer(root, sought), here);
            if (here != nullptr)
                expected.remove(place);
            present[rank] = false;
        }
        ASSERT_TRUE(model::same(expected, root->headptr)) << "step " << step;
    }
    ASSERT_EQ(zoeavl_check(tree, ZOEAVL_CHECK_ORDER, stderr), 0);
    const auto lowest = std::find(present.begin(), present.end(), true) - present.begin();
    records[static_cast<std::size_t>(lowest)].set(type, root->keyoff, ranks - 1, 0);
    ASSERT_GT(zoeavl_check(tree, ZOEAVL_CHECK_ORDER, nullptr), 0);
}

TEST_F(Keys, AllTypesMakeTheSameTrees) {
    for (const Type &type : types())
        for (const std::uint32_t code : type.codes)
            for (const std::uint32_t flags : {0U, ZOEAVL_PARM_NOLOCK}) {
                SCOPED_TRACE(testing::Message()
                             << type.name << " by code " << code << " flags " << flags);
                const ZOEAVLParms parms{type.keylen, key_offsets[flags], code, flags, nullptr, 0};
                ZOEAVLTree *const tree = extension->Create(extension, &parms, nullptr, nullptr);
                ASSERT_EQ(tree->optable, type.table);
                if (!type.reads_keylen)
                    tree->root.keylen = -123456;
                ASSERT_NO_FATAL_FAILURE(run_sequence(type, tree));
                tree->destroy(tree);
            }
}

TEST_F(Keys, NothingBeyondAKeyIsRead) {
    for (const Type &type : types()) {
        SCOPED_TRACE(type.name);
        const std::size_t field_size = type.form == Form::direct    ? type.spell(1, 0).size()
                                       : type.form == Form::varying ? 12
                                                                    : 8;
        ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), type.keylen, nullptr};
        std::vector<std::unique_ptr<Guarded>> memory;
        /* Puts bytes where they end at an inaccessible page, or, behind a node, begin unaligned. */
        const auto at_the_end = [&](const Bytes &bytes) {
            memory.push_back(std::make_unique<Guarded>(256));
            char *const place = memory.back()->end() - bytes.size();
            std::memcpy(place, bytes.data(), bytes.size());
            return place;
        };
        for (std::size_t rank = 0; rank < ranks; rank += 7) {
            const Bytes outside = type.spell(rank, 0);
            const char *const kept = at_the_end(outside);
            const Bytes field = key_field(type, kept, outside.size());
            ASSERT_EQ(field.size(), field_size);
            const char *const sought = at_the_end(field);
            /* A node's words may stand at multiples of four alone: leave a gap ahead of odd keys.
             */
            const std::size_t gap = (4 - field_size % 4) % 4;
            root.keyoff = static_cast<std::int32_t>(sizeof(ZOEAVLNODE) + gap);
            auto *const node = reinterpret_cast<ZOEAVLp>(
                at_the_end(Bytes(sizeof(ZOEAVLNODE) + gap, '\0') + field));
            EXPECT_EQ(type.table->finder(&root, sought), nullptr);
            EXPECT_EQ(type.table->adder(&root, node), node);
            EXPECT_EQ(type.table->fuzzier(&root, sought, nullptr, nullptr), node);
            EXPECT_EQ(type.table->killer(&root, sought), node);
            EXPECT_EQ(type.table->adder(&root, node), node);
        }
    }
}

TEST(KeyReads, ArraysStopAtTheFirstDifference) {
    for (const ZOEAVLOpTable *table : {&cbia32, &cbua32, &cbia64, &cbua64}) {
        const std::size_t width = table == &cbia32 || table == &cbua32 ? 4 : 8;
        Guarded nodes(64);
        Guarded sought(64);
        auto *const node = reinterpret_cast<ZOEAVLp>(nodes.end() - sizeof(ZOEAVLNODE) - 2 * width);
        ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), 1000, nullptr};
        char *const key = sought.end() - 2 * width;
        std::memset(sought.begin(), 0, 64);
        key[width] = 1;
        EXPECT_EQ(table->adder(&root, node), node);
        EXPECT_EQ(table->finder(&root, key), nullptr);
        root.keylen = -3;
        EXPECT_EQ(table->finder(&root, key), node) << "no element counts";
    }
}

TEST(KeyReads, CharactersWithoutEndStopAtTheFirstDifference) {
    for (const ZOEAVLOpTable *table : {&cbchar, &cbzochar})
        for (const std::size_t size : {4U, 8U, 12U, 2000U}) {
            Guarded nodes(size + sizeof(ZOEAVLNODE));
            Guarded sought(size);
            auto *const node = reinterpret_cast<ZOEAVLp>(nodes.end() - sizeof(ZOEAVLNODE) - size);
            ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), -1, nullptr};
            table->adder(&root, node);
            for (const bool after : {true, false}) {
                const std::size_t unit = table == &cbchar ? 1 : 4;
                std::memset(nodes.end() - unit, after ? 0 : 2, 1);
                std::memset(sought.end() - unit, 1, 1);
                ZOEAVLp around[2];
                EXPECT_EQ(table->fuzzier(&root, sought.end() - size, &around[0], &around[1]),
                          nullptr);
                EXPECT_EQ(around[after ? 0 : 1], node) << size;
            }
        }
}

TEST(KeyReads, NothingIsReadOfTheKeyOfAnEmptyTree) {
    for (const Type &type : types()) {
        ZOEAVL_ROOT root{nullptr, 0, type.keylen, nullptr};
        ZOEAVLp previous = reinterpret_cast<ZOEAVLp>(&root);
        ZOEAVLp next = previous;
        EXPECT_EQ(type.table->finder(&root, nullptr), nullptr);
        EXPECT_EQ(type.table->killer(&root, nullptr), nullptr);
        EXPECT_EQ(type.table->fuzzier(&root, nullptr, &previous, &next), nullptr);
        EXPECT_EQ(previous, nullptr);
        EXPECT_EQ(next, nullptr);
        Guarded memory(sizeof(ZOEAVLNODE));
        auto *const node = reinterpret_cast<ZOEAVLp>(memory.end() - sizeof(ZOEAVLNODE));
        root.keyoff = sizeof(ZOEAVLNODE);
        EXPECT_EQ(type.table->adder(&root, node), node);
        EXPECT_EQ(model::words_of(node), (model::Words{2, 2}));
    }
}

struct DoubleRecord {
    ZOEAVLNODE node;
    double key;
    const double *elsewhere;
};

/* Where `code_of` gives 0 for a number, and the plain type sees no missing values at all. */
unsigned code_of(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const unsigned code = static_cast<std::uint8_t>(-(bits >> 40));
    return !std::isnan(value) ? 0 : code >= 1 && code <= 28 ? code : 2;
}

TEST(DoubleKeys, EveryPairOfBitPatternsComparesAsDoublesDo) {
    std::vector<double> values;
    for (const std::uint64_t magnitude :
         {0x0000000000000000UL, 0x0000000000000001UL, 0x000FFFFFFFFFFFFFUL, 0x0010000000000000UL,
          0x3FF0000000000000UL, 0x3FF0000000000001UL, 0x7FEFFFFFFFFFFFFFUL, 0x7FF0000000000000UL,
          0x7FF0000000000001UL, 0x7FF0FF0000000000UL, 0x7FF8E30000000000UL, 0x7FFFE4FFFFFFFFFFUL,
          0x7FFFFFFFFFFFFFFFUL})
        for (const std::uint64_t sign : {0x0000000000000000UL, 0x8000000000000000UL}) {
            const std::uint64_t bits = magnitude | sign;
            std::memcpy(&values.emplace_back(), &bits, sizeof bits);
        }
    for (const double sought : values)
        for (const double there : values)
            for (const ZOEAVLOpTable *table : {&cbdbl, &cbmdbl, &cbdblp, &cbmdblp}) {
                DoubleRecord old{{}, there, &there};
                DoubleRecord added{{}, sought, &sought};
                ZOEAVL_ROOT root{nullptr, offsetof(DoubleRecord, key), 1, nullptr};
                if (table == &cbdblp || table == &cbmdblp)
                    root.keyoff = offsetof(DoubleRecord, elsewhere);
                const unsigned codes[] = {code_of(sought), code_of(there)};
                const bool by_code =
                    (table == &cbmdbl || table == &cbmdblp) && (codes[0] != 0 || codes[1] != 0);
                const bool below = by_code ? codes[0] != 0 && (codes[1] == 0 || codes[0] < codes[1])
                                           : sought < there;
                const bool above = by_code ? codes[1] != 0 && (codes[0] == 0 || codes[0] > codes[1])
                                           : sought > there;
                table->adder(&root, &old.node);
                table->adder(&root, &added.node);
                EXPECT_EQ(ZOEAVLFirst(&root) == &added.node, below) << sought << " " << there;
                EXPECT_EQ(ZOEAVLLast(&root) == &added.node, above) << sought << " " << there;
            }
}

TEST(Tables, AreAdjacentConstantAndShareNoFunction) {
    std::set<const void *> functions;
    for (std::size_t i = 0; i < types().size(); i++) {
        const ZOEAVLOpTable *const table = types()[i].table;
        EXPECT_EQ(reinterpret_cast<const char *>(table),
                  reinterpret_cast<const char *>(&cbchar) + 64 * i);
        std::array<const void *, 8> slots{};
        std::memcpy(slots.data(), table, sizeof slots);
        functions.insert(slots.begin(), slots.end());
    }
    EXPECT_EQ(functions.size(), 192U);

    EXPECT_DEATH(const_cast<ZOEAVLOpTable &>(cbmdblp).adder = nullptr, "");
}

#ifdef __x86_64__
/* A lock that has the tree's memory open while it is held, and closed otherwise. */
struct OpeningLock : ZOLock {
    explicit OpeningLock(Watched &memory_) : ZOLock{}, memory(memory_) {
        Get = [](ZOLock *lock, std::uint32_t, std::uint32_t) -> std::uint32_t {
            static_cast<OpeningLock *>(lock)->memory.open();
            return 0;
        };
        Release = [](ZOLock *lock) -> std::uint32_t {
            static_cast<OpeningLock *>(lock)->memory.close();
            return 0;
        };
    }
    Watched &memory;
};

TEST(Locking, NothingOfTheTreeIsTouchedOutsideTheLockButTheRootAsTold) {
    struct Memory {
        ZOEAVLTree tree;
        Record records[9];
    };
    Watched watched(sizeof(Memory));
    OpeningLock lock(watched);
    auto *const memory = reinterpret_cast<Memory *>(watched.begin());
    ZOEAVL_ROOT *const root = &memory->tree.root;
    using Places = std::set<std::ptrdiff_t>;
    const std::ptrdiff_t head = offsetof(ZOEAVLTree, root.headptr);
    const std::ptrdiff_t keyoff = offsetof(ZOEAVLTree, root.keyoff);
    const std::ptrdiff_t rw = offsetof(ZOEAVLTree, root.rw);
    const ZOEAVLOpTable zero_length{nullptr,       nullptr,        nullptr,         nullptr,
                                    ZOEAVLZeroAdd, ZOEAVLZeroFind, ZOEAVLZeroFuzzy, ZOEAVLZeroKill};
    const ZOEAVLOpTable wrappers{nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 ZOEAVLGenericSafeAdder,
                                 ZOEAVLGenericSafeFinder,
                                 ZOEAVLGenericSafeFuzzier,
                                 cbi32.safe_killer};
    const auto drive = [&](const Type &type, const ZOEAVLOpTable &table, Places by_all,
                           Places by_neighbours, Places by_killer) {
        SCOPED_TRACE(type.name);
        std::vector<Bytes> outside;
        outside.reserve(std::size(memory->records));
        *root = {nullptr, key_offsets[0], type.keylen, &lock};
        memory->tree.optable = type.table;
        for (Record &record : memory->records) { // keys in no order
            outside.push_back(type.spell((outside.size() * 31 + 7) % ranks, 0));
            const Bytes field = key_field(type, outside.back().data(), outside.back().size());
            std::memcpy(reinterpret_cast<char *>(&record.node) + key_offsets[0], field.data(),
                        field.size());
        }
        std::vector<Record> sought(std::begin(memory->records), std::end(memory->records));
        watched.close();
        for (const bool again : {false, true})
            for (Record &record : memory->records) {
                EXPECT_EQ(table.safe_adder(root, &record.node) != nullptr, true) << again;
                EXPECT_EQ(watched.touched(), by_all);
            }
        for (const bool again : {false, true})
            for (Record &record : sought) {
                const char *const key = reinterpret_cast<char *>(&record.node) + key_offsets[0];
                ZOEAVLp around[2];
                const ZOEAVLp found = table.safe_finder(root, key);
                EXPECT_EQ(watched.touched(), by_all);
                EXPECT_EQ(table.safe_fuzzier(root, key, &around[0], &around[1]), found);
                EXPECT_EQ(watched.touched(), by_neighbours);
                EXPECT_EQ(table.safe_killer(root, key), found) << again;
                EXPECT_EQ(watched.touched(), by_killer);
            }
        watched.open();
        EXPECT_EQ(root->headptr, nullptr);
    };
    for (const Type &type : types())
        drive(type, *type.table, {keyoff, rw}, {head, keyoff, rw}, {keyoff, rw});
    drive(types()[0], zero_length, {rw}, {rw}, {rw});
    drive(types()[4], wrappers, {rw}, {rw}, {keyoff, rw});
}
#endif

} // namespace
