/* The frame: what is called of the host on every path, what creation selects, what each slot does.
 */
#include <array>
#include <tuple>
#include <utility>

#include "lock_discipline.h"

namespace {

const char *const resource_report = "Status 4 ffffffff803fc002";
const char *const pool_created =
    "PoolCreate 000182000000000000400000000000000000000000000000 ZOEAVL Extension";

struct Record {
    ZOEAVLNODE node;
    std::int64_t key;
};

ZOEAVLParms parms_for(std::uint32_t keytype, std::int32_t keylen, std::uint32_t flags = 0) {
    return {keylen, offsetof(Record, key), keytype, flags, nullptr, 0};
}

class Frame : public testing::Test {
  protected:
    Frame() {
        zoextent(&host.host);
        extension = zoeavl(nullptr, nullptr);
        host.calls();
    }
    ZOEAVLTree *create(const ZOEAVLParms &parms, const char *name = nullptr) {
        return extension->Create(extension, &parms, &host.journal, name);
    }
    RecordingHost host;
    ZOEAVLExtension *extension;
};

TEST_F(Frame, FactoryIsMadeOrTheFailureReported) {
    std::uint64_t major = 0;
    std::uint64_t minor = 0;
    std::uint64_t patch = 7;
    zoextent(nullptr);
    EXPECT_EQ(zoextver(&host.host, &major, &minor), 0U);
    EXPECT_EQ(Exported_ZOHandle, &host.host);
    EXPECT_EQ(std::pair(major, minor), std::pair(std::uint64_t{9}, std::uint64_t{1}));

    ZOEAVLExtension *const made = zoeavlx(&major, &host.journal);
    EXPECT_EQ(host.calls(), (Calls{std::string(pool_created) + " journal", "Alloc 88 zero"}));
    std::array<void *, 11> words{};
    std::memcpy(words.data(), made, sizeof words);
    EXPECT_EQ(std::memcmp(made, "nevo\0\0\0", 8), 0);
    for (const std::size_t empty : {1U, 2U, 5U, 7U, 8U})
        EXPECT_EQ(words[empty], nullptr) << empty;
    EXPECT_EQ(made->pool, &host.pool);
    EXPECT_EQ(made->Create, ZOEAVLCreate);
    major = minor = 7;
    EXPECT_EQ(made->GetVersion(nullptr, &major, &minor, &patch), 0U);
    EXPECT_EQ(std::tuple(major, minor, patch), std::tuple(2U, 1U, 0U));
    major = minor = patch = 7;
    EXPECT_EQ(made->GetReqVersion(nullptr, &major, &minor, &patch), 0U);
    EXPECT_EQ(std::tuple(major, minor, patch), std::tuple(9U, 1U, 1U));
    EXPECT_EQ(made->RealDestroy(made), 0U);
    EXPECT_EQ(host.calls(), Calls{"Pool.Destroy"});

    for (ZOJournal *journal :
         {static_cast<ZOJournal *>(&host.journal), static_cast<ZOJournal *>(nullptr)}) {
        const std::string created = std::string(pool_created) + (journal ? " journal" : "");
        host.fail_at(1);
        EXPECT_EQ(zoeavl(nullptr, journal), nullptr);
        EXPECT_EQ(host.calls(), journal ? (Calls{created, resource_report}) : Calls{created});
        host.fail_at(2);
        EXPECT_EQ(zoeavl(nullptr, journal), nullptr);
        Calls expected{created, "Alloc 88 zero", "Pool.Destroy"};
        if (journal)
            expected.emplace_back(resource_report);
        EXPECT_EQ(host.calls(), expected);
    }
}

TEST_F(Frame, TreeIsFilledAsToldAndNothingElseIsWritten) {
    for (const std::uint32_t flags : {0U, ZOEAVL_PARM_NOLOCK, ZOEAVL_PARM_LOCKVARIANT,
                                      ZOEAVL_PARM_LOCKVARIANT | ZOEAVL_PARM_NOLOCK, 0xFFFFFFF2U}) {
        const bool locked = (flags & ZOEAVL_PARM_NOLOCK) == 0;
        ZOEAVLParms parms = parms_for(ZOEAVL_KEYTYPE_GENERATED, -5, flags);
        parms.keyoff = -300;
        parms.context = 0x1122334455667788;
        const char *const name = "birds";
        ZOEAVLTree *const tree = create(parms, name);
        Calls expected{"Alloc 224", "Alloc 5"};
        if (locked) {
            expected.push_back(std::string("LockCreate 000") + (flags & 4 ? "0" : "1") +
                               " journal");
            EXPECT_EQ(host.lock_name, name);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(host.rw_of_tree), 0xA5A5A5A5A5A5A5A5)
                << "stored once";
        }
        ASSERT_EQ(host.calls(), expected);
        const auto *const bytes = reinterpret_cast<const unsigned char *>(tree);
        EXPECT_EQ(std::memcmp(bytes, "nevo\xA5\xA5\xA5\xA5", 8), 0);
        for (std::size_t unwritten = 48; unwritten < 80; unwritten++)
            EXPECT_EQ(bytes[unwritten], 0xA5) << "the operations are filled by Codegen";
        EXPECT_EQ(std::memcmp(bytes + 220, "\xA5\xA5\xA5\xA5", 4), 0);
        EXPECT_EQ(std::memcmp(tree->name, name, 5), 0);
        EXPECT_EQ(tree->root.headptr, nullptr);
        EXPECT_EQ(tree->root.keyoff, -300);
        EXPECT_EQ(tree->root.keylen, -5);
        EXPECT_EQ(tree->root.rw, locked ? &host.lock : nullptr);
        EXPECT_EQ(tree->context, flags & ZOEAVL_PARM_CONTEXT ? parms.context : 0);
        EXPECT_EQ(tree->treeflags, 0U);
        EXPECT_EQ(tree->optable, nullptr);
        EXPECT_EQ(tree->extension, extension);
        const void *const slots[] = {
            reinterpret_cast<void *>(ZOEAVLFirst),   reinterpret_cast<void *>(ZOEAVLLast),
            reinterpret_cast<void *>(ZOEAVLNext),    reinterpret_cast<void *>(ZOEAVLPrev),
            reinterpret_cast<void *>(ZOEAVLSTAdd),   reinterpret_cast<void *>(ZOEAVLSTFind),
            reinterpret_cast<void *>(ZOEAVLSTFFnd),  reinterpret_cast<void *>(ZOEAVLSTRemove),
            reinterpret_cast<void *>(ZOEAVLSTFirst), reinterpret_cast<void *>(ZOEAVLSTLast),
            reinterpret_cast<void *>(ZOEAVLToList),  reinterpret_cast<void *>(ZOEAVLSTToList),
            reinterpret_cast<void *>(ZOEAVLCodegen)};
        EXPECT_EQ(std::memcmp(bytes + 80, slots, sizeof slots), 0);
        EXPECT_EQ(tree->ReTree, ZOEAVLReTree);
        EXPECT_EQ(tree->destroy(tree), 0U);
        EXPECT_EQ(host.calls(),
                  locked ? (Calls{"Lock.Destroy", "Free", "Free"}) : (Calls{"Free", "Free"}));
    }
}

/* The decision table, as rows of code, table for `keylen` 1, table for any other. */
struct Row {
    std::uint32_t code;
    const ZOEAVLOpTable *for_one, *for_more;
};
const Row rows[] = {
    {1, &cbchar, &cbchar},    {2, &cbzochar, &cbzochar},    {3, &cbi32, &cbia32},
    {4, &cbu32, &cbua32},     {5, &cbi64, &cbia64},         {6, &cbu64, &cbua64},
    {7, &cbdbl, nullptr},     {8, &cbmdbl, nullptr},        {9, &cbi32, &cbia32},
    {10, &cbi64, &cbia64},    {11, &cbu32, &cbua32},        {12, &cbu64, &cbua64},
    {13, &cbvchar, &cbvchar}, {14, &cbvzochar, &cbvzochar}, {15, &cbi32p, &cbia32p},
    {16, &cbu32p, &cbua32p},  {17, &cbi64p, &cbia64p},      {18, &cbu64p, &cbua64p},
    {19, &cbdblp, nullptr},   {20, &cbmdblp, nullptr},      {21, &cbi32p, &cbia32p},
    {22, &cbi64p, &cbia64p},  {23, &cbu32p, &cbua32p},      {24, &cbu64p, &cbua64p},
    {25, nullptr, nullptr},   {26, nullptr, nullptr},       {999, nullptr, nullptr},
};

void expect_operations(const ZOEAVLTree *tree, const ZOEAVLOpTable *table) {
    const std::size_t half = tree->root.rw != nullptr ? 32 : 0;
    EXPECT_EQ(tree->optable, table);
    EXPECT_EQ(std::memcmp(&tree->adder, reinterpret_cast<const char *>(table) + half, 32), 0);
}

TEST_F(Frame, SelectionFollowsTheDecisionTable) {
    const ZOEAVLOpTable zero{ZOEAVLZeroAdd, ZOEAVLZeroFind, ZOEAVLZeroFuzzy, ZOEAVLZeroKill,
                             nullptr,       nullptr,        nullptr,         nullptr};
    for (const std::uint32_t flags : {0U, ZOEAVL_PARM_NOLOCK})
        for (const Row &row : rows)
            for (const std::int32_t keylen : {0, 1, 2, 77, -1, INT32_MIN}) {
                SCOPED_TRACE(testing::Message() << "code " << row.code << " keylen " << keylen);
                const ZOEAVLOpTable *const table = keylen == 1 ? row.for_one : row.for_more;
                const ZOEAVLParms parms = parms_for(row.code, keylen, flags);
                const bool rejected = keylen > 1 && (row.code == 7 || row.code == 8);

                ZOEAVLTree *const fresh = create(parms);
                const Calls calls = host.calls();
                if (keylen == 0) {
                    ASSERT_NE(fresh, nullptr);
                    EXPECT_EQ(std::memcmp(&fresh->adder, &zero, 32), 0);
                    EXPECT_EQ(fresh->optable, nullptr);
                } else if (row.code == ZOEAVL_KEYTYPE_GENERATED) {
                    EXPECT_NE(fresh, nullptr) << "what it gets is told elsewhere";
                } else if (table != nullptr) {
                    ASSERT_NE(fresh, nullptr);
                    expect_operations(fresh, table);
                } else {
                    EXPECT_EQ(fresh, nullptr);
                    Calls expected{"Alloc 224"};
                    if (flags == 0)
                        expected.insert(expected.end(),
                                        {"LockCreate 0001 journal", "Lock.Destroy"});
                    expected.emplace_back("Free");
                    EXPECT_EQ(calls, rejected ? Calls{} : expected);
                }

                ZOEAVLTree *const tree = create(parms_for(13, 1, flags | ZOEAVL_PARM_CONTEXT));
                tree->context = 5;
                tree->root.headptr = reinterpret_cast<ZOEAVLp>(tree);
                tree->treeflags = 0x200;
                host.calls();
                EXPECT_EQ(ZOEAVLReCreate(extension, tree, &parms, &host.journal, "new"),
                          rejected ? nullptr : tree);
                EXPECT_EQ(host.calls(), Calls{});
                EXPECT_EQ(tree->root.keylen, rejected ? 1 : keylen);
                EXPECT_EQ(tree->context, rejected ? 5U : 0U);
                EXPECT_EQ(tree->root.headptr, reinterpret_cast<ZOEAVLp>(tree));
                EXPECT_EQ(tree->treeflags, 0x200U);
                EXPECT_EQ(tree->name, nullptr);
                if (keylen == 0) {
                    EXPECT_EQ(std::memcmp(&tree->adder, &zero, 32), 0);
                    EXPECT_EQ(tree->optable, &cbvchar);
                } else if (row.code == ZOEAVL_KEYTYPE_GENERATED) {
                    EXPECT_EQ(std::exchange(tree->optable, &cbvchar), nullptr);
                    expect_operations(tree, &cbvchar);
                } else {
                    expect_operations(tree, table != nullptr ? table : &cbvchar);
                }
            }
}

TEST_F(Frame, CallersTableNeedsTheAdderOfItsHalf) {
    ZOEAVLOpTable plain{};
    ZOEAVLOpTable safe{};
    plain.adder = cbi32.adder;
    safe.safe_adder = cbi32.safe_adder;
    for (const bool locked : {true, false})
        for (const ZOEAVLOpTable *table : {&plain, &safe})
            for (const std::int32_t keylen : {0, 1}) {
                ZOEAVLParms parms = parms_for(0, keylen, locked ? 0 : ZOEAVL_PARM_NOLOCK);
                parms.optable = table;
                const bool good = locked == (table == &safe);
                ZOEAVLTree *const tree = create(parms);
                EXPECT_EQ(tree != nullptr, good);
                EXPECT_EQ(host.calls().back() == "Free", !good);
                if (good) {
                    expect_operations(tree, table);
                }
            }
    EXPECT_EQ(create(parms_for(0, 0)), nullptr);
}

TEST_F(Frame, CreationFailsAtEachHostCall) {
    const ZOEAVLParms parms = parms_for(3, 1);
    host.fail_at(1);
    EXPECT_EQ(create(parms, "n"), nullptr);
    EXPECT_EQ(host.calls(), (Calls{"Alloc 224", resource_report}));
    host.fail_at(2);
    ZOEAVLTree *const nameless = create(parms, "n");
    EXPECT_EQ(nameless->name, nullptr);
    EXPECT_EQ(host.calls(), (Calls{"Alloc 224", "Alloc 1", "LockCreate 0001 journal"}));
    host.fail_at(3);
    EXPECT_EQ(create(parms, "n"), nullptr);
    EXPECT_EQ(host.calls(),
              (Calls{"Alloc 224", "Alloc 1", "LockCreate 0001 journal", resource_report, "Free"}));
    host.fail_at(1);
    EXPECT_EQ(extension->Create(extension, &parms, nullptr, nullptr), nullptr);
    EXPECT_EQ(host.calls(), Calls{"Alloc 224"});
    EXPECT_EQ(nameless->destroy(nameless), 0U);
    EXPECT_EQ(host.calls(), (Calls{"Lock.Destroy", "Free"}));
    ZOEAVLTree *const empty_name = create(parms, "");
    EXPECT_NE(empty_name->name, nullptr);
    EXPECT_EQ(host.calls()[1], "Alloc 0");
}

TEST_F(Frame, OwnedTableIsFreedFirst) {
    ZOEAVLTree *const tree = create(parms_for(3, 1), "n");
    auto *const table =
        static_cast<ZOEAVLOpTable *>(extension->pool->Alloc(extension->pool, 64, 0));
    tree->optable = table;
    tree->treeflags |= ZOEAVL_TREE_OWNS_OPTABLE;
    void *const name = tree->name;
    host.calls();
    tree->destroy(tree);
    EXPECT_EQ(host.calls(), (Calls{"Free", "Lock.Destroy", "Free", "Free"}));
    EXPECT_EQ(host.freed, (std::vector<void *>{table, name, tree}));
}

TEST_F(Frame, ZeroLengthTreesHoldOneNode) {
    for (const std::uint32_t flags : {0U, ZOEAVL_PARM_NOLOCK}) {
        ZOEAVLTree *const tree = create(parms_for(1, 0, flags));
        ZOEAVL_ROOT *const root = &tree->root;
        Record first{{&first.node, &first.node}, 1};
        Record second{{&first.node, nullptr}, 2};
        ZOEAVLp head = nullptr;
        if (flags == 0) { // the head counts while the lock is held, and then alone
            host.on_get = [&] { root->headptr = head; };
            host.on_release = [&] { head = std::exchange(root->headptr, &second.node); };
            root->headptr = &second.node;
        }
        const auto once = [&](ZOEAVLp result) {
            EXPECT_EQ(host.calls(), flags == 0 ? (Calls{"Get 1 1", "Release"}) : Calls{});
            return result;
        };
        ZOEAVLp previous = &first.node;
        ZOEAVLp next = &first.node;
        host.calls();
        EXPECT_EQ(once(tree->killer(root, nullptr)), nullptr);
        for (int round = 0; round < 2; round++) {
            EXPECT_EQ(once(tree->finder(root, nullptr)), nullptr);
            EXPECT_EQ(once(tree->adder(root, &first.node)), &first.node);
            EXPECT_EQ(model::words_of(&first.node), (model::Words{2, 2}));
            EXPECT_EQ(once(tree->adder(root, &second.node)), &first.node);
            EXPECT_EQ(model::words_of(&second.node), (model::Words{model::word(&first.node), 0}));
            if (flags == 0)
                host.on_release = [&, take_away = host.on_release] {
                    EXPECT_NE(next, nullptr) << "stored after the release";
                    take_away();
                };
            EXPECT_EQ(once(tree->fuzzier(root, nullptr, &previous, &next)), &first.node);
            EXPECT_EQ(std::exchange(previous, &first.node), nullptr);
            EXPECT_EQ(std::exchange(next, &first.node), nullptr);
            EXPECT_EQ(once(tree->killer(root, nullptr)), &first.node);
            EXPECT_EQ(model::words_of(&first.node), (model::Words{2, 2}));
        }
        host.on_get = host.on_release = nullptr;
    }
}

TEST_F(Frame, GenericWrappersLockAroundTheTablesSlots) {
    ZOEAVLOpTable table = cbi64;
    table.safe_adder = ZOEAVLGenericSafeAdder;
    table.safe_finder = ZOEAVLGenericSafeFinder;
    table.safe_fuzzier = ZOEAVLGenericSafeFuzzier;
    table.safe_killer = [](ZOEAVLRootp root, const void *key) { // of which there is none
        root->rw->Get(root->rw, 1, 1);
        const ZOEAVLp gone = cbi64.killer(root, key);
        root->rw->Release(root->rw);
        return gone;
    };
    ZOEAVLParms parms = parms_for(0, 1);
    parms.optable = &table;
    expect_lock_discipline(host, *create(parms),
                           {&cbi64, units_less<std::int64_t>, 8, 1, Form::direct}, true);
}

TEST_F(Frame, ExternalRootsUseTheTreeAsConfigurationAlone) {
    static ZOEAVLTree *tree;
    tree = create(parms_for(5, 1));
    Record own{{}, 1};
    tree->adder(&tree->root, &own.node);
    const ZOEAVLOpTable external{
        [](ZOEAVLRootp word, ZOEAVLp node) { return tree->STAdd(tree, &word->headptr, node); },
        [](ZOEAVLRootp word, const void *key) { return tree->STFind(tree, &word->headptr, key); },
        [](ZOEAVLRootp word, const void *key, ZOEAVLp *previous, ZOEAVLp *next) {
            return tree->STFFnd(tree, &word->headptr, key, previous, next);
        },
        [](ZOEAVLRootp word, const void *key) { return tree->STRemove(tree, &word->headptr, key); },
        nullptr,
        nullptr,
        nullptr,
        nullptr};
    Operations run({&external, units_less<std::int64_t>, 8, 1, Form::direct}, false);
    RandomBytes random;
    host.calls();
    for (int step = 0; step < 500; step++) {
        run.step(random);
        const Calls calls = host.calls();
        EXPECT_TRUE(calls.empty() || calls.size() == 2) << "the tree's lock is taken once";
    }
    EXPECT_EQ(tree->root.headptr, &own.node);

    /* What an operation sees of the temporary root, and when the root word is written back. */
    static ZOEAVLp head;
    tree->context = 0xC0FFEE;
    static const auto check = [](ZOEAVLRootp root) {
        EXPECT_EQ(std::memcmp(&root->keyoff, &tree->root.keyoff, 16), 0);
        std::uint64_t context = 0;
        std::memcpy(&context, reinterpret_cast<const char *>(root) + 160, sizeof context);
        EXPECT_EQ(context, 0xC0FFEEU);
        EXPECT_EQ(root->headptr, head);
        root->headptr = reinterpret_cast<ZOEAVLp>(64);
        head = reinterpret_cast<ZOEAVLp>(128);
        return ZOEAVLp{nullptr};
    };
    tree->adder = [](ZOEAVLRootp root, ZOEAVLp) { return check(root); };
    tree->finder = [](ZOEAVLRootp root, const void *) { return check(root); };
    tree->fuzzier = [](ZOEAVLRootp root, const void *, ZOEAVLp *, ZOEAVLp *) {
        return check(root);
    };
    tree->killer = tree->finder;
    EXPECT_EQ(tree->STFind(tree, &head, nullptr), nullptr);
    EXPECT_EQ(model::word(head), 128U);
    EXPECT_EQ(tree->STFFnd(tree, &head, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(model::word(head), 128U);
    EXPECT_EQ(tree->STAdd(tree, &head, nullptr), nullptr);
    EXPECT_EQ(model::word(head), 64U);
    EXPECT_EQ(tree->STRemove(tree, &head, nullptr), nullptr);
    EXPECT_EQ(model::word(head), 64U);
}

struct TwoKeys {
    ZOEAVLNODE node;
    std::int64_t first;
    std::int32_t second;
};

TEST_F(Frame, ReTreeBringsDuplicatesBackInTheOldOrder) {
    for (const std::size_t count :
         {0U, 1U, 3U, 100U, 20000U}) // of which the last is looked ahead in
        for (const std::int32_t kinds : {1, 7, 1000}) {
            std::vector<TwoKeys> records(count);
            ZOEAVLTree *const tree = create(parms_for(5, 1));
            for (std::size_t i = 0; i < count; i++) {
                records[i] = {{},
                              static_cast<std::int64_t>(i * 37 % 20011),
                              static_cast<std::int32_t>(i * 37 % 20011) % kinds};
                tree->adder(&tree->root, &records[i].node);
            }
            model::Tree expected;
            std::vector<ZOEAVLp> duplicates;
            std::map<std::int32_t, ZOEAVLp> seen;
            for (ZOEAVLp node = tree->First(&tree->root); node; node = tree->Next(node)) {
                const auto at = seen.emplace(reinterpret_cast<TwoKeys *>(node)->second, node);
                if (at.second)
                    expected.insert(static_cast<std::size_t>(std::distance(seen.begin(), at.first)),
                                    node);
                else
                    duplicates.push_back(node);
            }
            ZOEAVLParms parms = parms_for(3, 1);
            parms.keyoff = offsetof(TwoKeys, second);
            TwoKeys stale{};
            ZOEAVLp head = &stale.node;
            ZOEAVLp tail = head;
            host.calls();
            ASSERT_EQ(tree->ReTree(tree, &parms, &head, count % 2 ? &tail : nullptr, nullptr),
                      tree);
            EXPECT_EQ(host.calls().size(), 2 * count) << "one adder a record, and nothing else";
            EXPECT_TRUE(model::same(expected, tree->root.headptr));
            EXPECT_EQ(head, duplicates.empty() ? nullptr : duplicates.front());
            if (count % 2) {
                EXPECT_EQ(tail, duplicates.empty() ? nullptr : duplicates.back());
            }
            for (std::size_t i = 0; i < duplicates.size(); i++) {
                EXPECT_EQ(duplicates[i]->llink, i > 0 ? duplicates[i - 1] : nullptr);
                EXPECT_EQ(duplicates[i]->rlink,
                          i + 1 < duplicates.size() ? duplicates[i + 1] : nullptr);
            }
            EXPECT_EQ(tree->ReTree(tree, nullptr, nullptr, nullptr, nullptr), tree);
            EXPECT_TRUE(model::walks_alike(expected, &tree->root));
        }
}

/* The adder of a caller may relink what the walk hasn't come to, and end the rest. */
TEST_F(Frame, ReTreeReadsNothingButTheWalkBesideOwnAdders) {
    constexpr std::size_t count = (1 << 13) - 1;
    static const Guarded memory(count * sizeof(Record));
    static auto *const records = reinterpret_cast<Record *>(memory.begin());
    ZOEAVLTree *const tree = create(parms_for(5, 1));
    for (std::size_t i = 0; i < count; i++) {
        records[i].key = static_cast<std::int64_t>(i);
        tree->adder(&tree->root, &records[i].node);
    }
    tree->adder = [](ZOEAVLRootp, ZOEAVLp node) {
        constexpr std::size_t top = 255; /* of the first eight levels */
        if (node == &records[0].node) {
            records[1].node.rlink = reinterpret_cast<ZOEAVLp>(model::word(&records[top].node) + 2);
            records[top].node.rlink = reinterpret_cast<ZOEAVLp>(2);
            mprotect(memory.begin() + 8192, count * sizeof(Record) - 8192, PROT_NONE);
        }
        return node;
    };
    EXPECT_EQ(tree->ReTree(tree, nullptr, nullptr, nullptr, nullptr), tree);
}

TEST_F(Frame, ReTreeFailsAsTold) {
    std::vector<Record> records(10);
    const auto filled = [&] {
        ZOEAVLTree *const tree = create(parms_for(5, 1));
        for (std::size_t i = 0; i < records.size(); i++) {
            records[i].key = static_cast<std::int64_t>(i);
            tree->adder(&tree->root, &records[i].node);
        }
        host.calls();
        return tree;
    };
    ZOEAVLp head = &records[0].node;
    ZOEAVLp tail = head;

    ZOEAVLTree *tree = filled();
    const std::vector<Record> before = records;
    ZOEAVLParms parms = parms_for(7, 2, ZOEAVL_PARM_CONTEXT);
    EXPECT_EQ(tree->ReTree(tree, &parms, &head, &tail, &host.journal), nullptr);
    EXPECT_EQ(tree->First(&tree->root), nullptr);
    EXPECT_EQ(tree->root.keylen, 1);
    EXPECT_EQ(host.calls(), Calls{});
    EXPECT_EQ(std::memcmp(before.data(), records.data(), sizeof(Record) * records.size()), 0);

    tree = filled();
    parms = parms_for(0, 1);
    EXPECT_EQ(tree->ReTree(tree, &parms, &head, &tail, &host.journal), nullptr);
    EXPECT_EQ(host.calls(), (Calls{"Lock.Destroy", "Free"}));

    /* An adder that gives up after three records, and slots of the caller's that are called. */
    tree = filled();
    static int added;
    static int nexts;
    added = nexts = 0;
    tree->adder = [](ZOEAVLRootp root, ZOEAVLp node) {
        EXPECT_EQ(model::words_of(node), (model::Words{0, 0}));
        return ++added > 3 ? nullptr : cbi64.adder(root, node);
    };
    tree->Next = [](ZOEAVLp node) {
        nexts++;
        EXPECT_EQ(model::word(node->rlink) & 2, 0U);
        return ZOEAVLNext(node);
    };
    EXPECT_EQ(tree->ReTree(tree, nullptr, &head, &tail, nullptr), nullptr);
    EXPECT_GT(nexts, 0);
    EXPECT_EQ(model::words_of(&records[3].node), (model::Words{0, 0}));
    EXPECT_NE(records[4].node.rlink, nullptr);
    EXPECT_EQ(tree->First(&tree->root), &records[0].node);
    EXPECT_EQ(ZOEAVLLast(&tree->root), &records[2].node);
    EXPECT_EQ(head, &records[0].node);
    EXPECT_EQ(tail, head);
}

} // namespace
