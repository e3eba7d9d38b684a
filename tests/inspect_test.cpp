/* The library that inspects trees: slips and what names them, link words changed at random and bit
 * by bit, and what is told of sound trees. */
#include <cmath>
#include <cstring>
#include <numeric>
#include <regex>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <linux/filter.h>
#include <linux/seccomp.h>

#include "corrupted_tree.h"
#include "recording_host.h"

namespace {

/* What a function writes to its stream; its result goes to `result`. */
template <class Write>
std::string text_of(Write write, std::int64_t *result = nullptr) {
    char *text = nullptr;
    std::size_t size = 0;
    FILE *const stream = open_memstream(&text, &size);
    const std::int64_t gave = write(stream);
    std::fclose(stream);
    std::string written(text, size);
    std::free(text);
    if (result != nullptr)
        *result = gave;
    else
        EXPECT_EQ(gave, std::count(written.begin(), written.end(), '\n')) << written;
    return written;
}

std::string report_on(const ZOEAVLTree *tree) {
    return text_of([&](FILE *out) { return zoeavl_check(tree, ZOEAVL_CHECK_ORDER, out); });
}

struct Record {
    ZOEAVLNODE node;
    std::int64_t key;
};

/* A place to commit slips at: a host whose freed blocks don't look like anything, and a tree. */
class Desk {
  public:
    Desk() {
        recording.pool.Free = [](ZOPool *, void *block) { std::memset(block, 0xDD, 4); };
        recording.pool.Destroy = [](ZOPool *pool) {
            for (void *block : static_cast<Recorded<ZOPool> *>(pool)->owner->live)
                std::memset(block, 0xDD, 4);
        };
        zoextent(&recording.host);
        factory = zoeavl(nullptr, nullptr);
        tree = make({1, offsetof(Record, key), ZOEAVL_KEYTYPE_I64, ZOEAVL_PARM_NOLOCK, nullptr, 0});
        for (std::size_t i = 0; i < std::size(records); i++) {
            records[i].key = static_cast<std::int64_t>(10 * i);
            add(tree, i);
        }
    }
    ZOEAVLTree *make(const ZOEAVLParms &parms) {
        return factory->Create(factory, &parms, nullptr, "desk");
    }
    void add(ZOEAVLTree *to, std::size_t i) { to->adder(&to->root, &records[i].node); }

    RecordingHost recording;
    ZOEAVLExtension *factory;
    ZOEAVLTree *tree;
    Record records[20]{};
};

constexpr ZOEAVLParms plain(std::int32_t keylen, std::int32_t keyoff, ZOEAVLKeyType type) {
    return {keylen, keyoff, type, ZOEAVL_PARM_NOLOCK, nullptr, 0};
}

/* Each is committed at the desk, whose tree is reported on then. */
const struct {
    const char *name, *told;
    void (*commit)(Desk &desk);
} slips[] = {
    {"flattened without a null in the head", "was the head set to null after flattening",
     [](Desk &desk) { desk.tree->ToList(desk.tree, nullptr); }},
    {"a list for a tree", "was the head set to null after flattening",
     [](Desk &desk) { desk.tree->root.headptr = desk.tree->ToList(desk.tree, nullptr); }},
    {"a list by its end", "was the head set to null after flattening",
     [](Desk &desk) { desk.tree->ToList(desk.tree, &desk.tree->root.headptr); }},
    {"a record in two trees",
     "place 6: left link: expected the thread to the record before[\\s\\S]*"
     "place 7: right link: expected the thread to the next record.*is the record in two trees",
     [](Desk &desk) {
         ZOEAVLTree *const other = desk.make(plain(1, offsetof(Record, key), ZOEAVL_KEYTYPE_I64));
         desk.add(other, 6);
         desk.add(other, 8);
     }},
    {"a record removed from another tree", "this record was removed",
     [](Desk &desk) {
         ZOEAVLTree *const other = desk.make(plain(1, offsetof(Record, key), ZOEAVL_KEYTYPE_I64));
         desk.add(other, 6);
         other->killer(&other->root, &desk.records[6].key);
     }},
    {"a record added again under another key", "was the record added twice",
     [](Desk &desk) {
         desk.records[12].key = -5;
         desk.add(desk.tree, 12);
     }},
    {"a key changed in the tree",
     "^record [^\n]*place 16: key: expected a key above that of the record.*isn't found by its own "
     "key.*\n$",
     [](Desk &desk) { desk.records[16].key = 3; }},
    {"a key changed by little",
     "place 11: key: expected a key above .*found one below.*Records below this one aren't found",
     [](Desk &desk) { desk.records[11].key = 75; }},
    {"a key changed to another's", "place 19: key: expected a key above .*found an equal key",
     [](Desk &desk) { desk.records[19].key = 180; }},
    {"the first key changed", "place 0: key: expected a key below",
     [](Desk &desk) { desk.records[0].key = 25; }},
    {"the key of the root changed in the tree",
     "place 7: key: expected a key below.*found one above.*Records below this one aren't found",
     [](Desk &desk) {
         desk.records[7].key = 1000;
         EXPECT_EQ(desk.tree->root.headptr, &desk.records[7].node);
     }},
    {"a key changed under the caller's own operations", "isn't found by its own key",
     [](Desk &desk) {
         static const ZOEAVLOpTable own = cbi64;
         desk.tree->optable = &own;
         EXPECT_EQ(report_on(desk.tree), "");
         desk.records[16].key = 3;
     }},
    {"a copy of the root from earlier",
     "place 6: right link: expected the null thread of the last record, found the thread 0x",
     [](Desk &desk) {
         const ZOEAVLp copy = std::exchange(desk.tree->root.headptr, &desk.records[3].node);
         EXPECT_EQ(zoeavl_check_root(desk.tree, &copy, ZOEAVL_CHECK_ORDER, nullptr), 0);
     }},
    {"the right child for the root",
     "place 0: left link: expected the null thread of the first record",
     [](Desk &desk) { desk.tree->root.headptr = desk.records[7].node.rlink; }},
    {"a link made null", "place 8: left link: expected a child or a thread, found null",
     [](Desk &desk) { desk.records[8].node.llink = nullptr; }},
    {"a head with a tag", "^head [^\n]*: expected a plain address",
     [](Desk &desk) {
         ZOEAVLp &head = desk.tree->root.headptr;
         head = reinterpret_cast<ZOEAVLp>(model::word(head) | 1);
     }},
    {"a head whose memory is gone", "^head [^\n]*: expected a record, found the unreadable address",
     [](Desk &desk) { desk.tree->root.headptr = reinterpret_cast<ZOEAVLp>(Guarded(1).begin()); }},
    {"a record whose memory is gone", "^record [^\n]*was the record freed, or moved[^\n]*\n$",
     [](Desk &desk) {
         auto *const gone = reinterpret_cast<Record *>(Guarded(1).begin());
         desk.records[4].node.llink = &gone->node;
     }},
    {"a record moved within memory that is there", "or was it copied or moved",
     [](Desk &desk) {
         static Record moved;
         moved = desk.records[19];
         std::memset(&desk.records[19], 0x42, sizeof(Record));
         desk.records[18].node.rlink = &moved.node;
         moved.node.llink = reinterpret_cast<ZOEAVLp>(model::word(&desk.records[17].node) + 2);
     }},
    {"length and offset swapped", "were length and offset of the key swapped",
     [](Desk &desk) {
         desk.tree = desk.make(plain(24, 1, ZOEAVL_KEYTYPE_I64));
         desk.add(desk.tree, 0);
     }},
    {"a NaN as the key of a double tree", "place 0: key: expected a number, found a NaN",
     [](Desk &desk) {
         desk.tree = desk.make(plain(1, offsetof(Record, key), ZOEAVL_KEYTYPE_DBL));
         const double nan = NAN;
         std::memcpy(&desk.records[0].key, &nan, sizeof nan);
         desk.add(desk.tree, 0);
     }},
    {"numbers where pointers to the keys belong",
     "place 0: key: expected a key that can be read[\\s\\S]*place 1: key: .*a pointer of the right "
     "kind",
     [](Desk &desk) {
         desk.tree = desk.make(plain(1, offsetof(Record, key), ZOEAVL_KEYTYPE_I64P));
         static std::int64_t numbers[] = {1, 2};
         for (std::size_t i = 0; i < std::size(numbers); i++) {
             desk.records[i].key = reinterpret_cast<std::intptr_t>(numbers + i);
             desk.add(desk.tree, i);
         }
         desk.records[0].key = desk.records[1].key = 10;
     }},
    {"records added to a tree without keys", "since all keys of length 0 are equal",
     [](Desk &desk) {
         desk.tree = desk.make(plain(1, offsetof(Record, key), ZOEAVL_KEYTYPE_I64));
         desk.add(desk.tree, 0);
         desk.add(desk.tree, 1);
         const ZOEAVLParms parms = plain(0, 0, ZOEAVL_KEYTYPE_CHAR);
         ZOEAVLReCreate(desk.factory, desk.tree, &parms, nullptr, nullptr);
     }},
    {"the table of operations is gone", "^tree at 0x.*was the table freed ahead of the tree",
     [](Desk &desk) {
         desk.tree->optable = reinterpret_cast<ZOEAVLOpTable *>(Guarded(1).begin());
     }},
    {"generated operations that are gone", "was the module ended ahead of the tree",
     [](Desk &desk) {
         desk.tree->optable = nullptr;
         desk.tree->finder = reinterpret_cast<ZOEAVLFinder>(Guarded(1).begin());
     }},
    {"a balance bit cleared", "place 7: balance: expected leaning right, found level",
     [](Desk &desk) {
         ZOEAVLNODE &root = desk.records[7].node;
         root.rlink = reinterpret_cast<ZOEAVLp>(model::word(root.rlink) & ~1UL);
     }},
    {"a balance bit too many", "place 7: balance: expected at most one balance bit",
     [](Desk &desk) {
         ZOEAVLNODE &root = desk.records[7].node;
         root.llink = reinterpret_cast<ZOEAVLp>(model::word(root.llink) | 1);
     }},
    {"a subtree cut off", "place 0: heights: .* differ by at most one, found the right one higher",
     [](Desk &desk) { desk.records[7].node.llink = reinterpret_cast<ZOEAVLp>(2); }},
    {"use after destroy", "was the tree destroyed",
     [](Desk &desk) { desk.tree->destroy(desk.tree); }},
    {"a factory ended ahead of its tree", "or its factory ended ahead of it",
     [](Desk &desk) { desk.factory->RealDestroy(desk.factory); }},
    {"null for a tree", "was the tree destroyed", [](Desk &desk) { desk.tree = nullptr; }},
};

TEST(Slips, AreNamed) {
    for (const auto &slip : slips) {
        SCOPED_TRACE(slip.name);
        Desk desk;
        ASSERT_EQ(report_on(desk.tree), "");
        slip.commit(desk);
        const std::string report = report_on(desk.tree);
        EXPECT_TRUE(std::regex_search(report, std::regex(slip.told))) << report;
        EXPECT_FALSE(std::regex_search(report, std::regex("record ([^,]*),.*of the record \\1")))
            << "beside itself: " << report;
    }
    Desk desk;
    const auto *const word = reinterpret_cast<const ZOEAVLp *>(Guarded(1).begin());
    EXPECT_NE(text_of([&](FILE *out) {
                  return zoeavl_check_root(desk.tree, word, ZOEAVL_CHECK_LINKS, out);
              }).find("expected a root word, found unreadable memory"),
              std::string::npos);
}

TEST(Slips, OrdersThatCantBeAskedAreSaidToBe) {
    const auto note_on = [](const ZOEAVLTree *tree) {
        std::int64_t faults = -1;
        const std::string note = text_of(
            [&](FILE *out) { return zoeavl_check(tree, ZOEAVL_CHECK_ORDER, out); }, &faults);
        EXPECT_EQ(faults, 0);
        const std::string start = "tree at 0x";
        EXPECT_EQ(note.substr(0, start.size()), start);
        return note;
    };
    Desk desk;
    desk.tree->optable = nullptr; // as of a tree whose operations were generated
    EXPECT_EQ(report_on(desk.tree), "");
    desk.tree->root.rw = &desk.recording.lock;
    EXPECT_NE(note_on(desk.tree).find("no look-up without a lock"), std::string::npos);
    desk.tree->root.rw = nullptr;
    desk.tree->finder = [](ZOEAVLRootp, const void *key) -> ZOEAVLp {
        EXPECT_NE(*static_cast<const std::int64_t *>(key), -1); // reads it at once
        return nullptr;
    };
    EXPECT_NE(note_on(desk.tree).find("another form"), std::string::npos);
    desk.tree->root.headptr = nullptr;
    EXPECT_EQ(report_on(desk.tree), "");
    const ZOEAVLParms sound[] = {
        plain(1, offsetof(Record, key), ZOEAVL_KEYTYPE_MDBL), // of a missing value
        plain(1, -8, ZOEAVL_KEYTYPE_I64),                     // right ahead of the links
        plain(0, 0, ZOEAVL_KEYTYPE_CHAR),
    };
    desk.records[1].key = -1;
    for (const ZOEAVLParms &parms : sound) {
        desk.tree = desk.make(parms);
        desk.add(desk.tree, 1);
        EXPECT_EQ(report_on(desk.tree), "");
    }
    desk.tree = desk.make(plain(-1, offsetof(Record, key), ZOEAVL_KEYTYPE_CHAR));
    EXPECT_NE(note_on(desk.tree).find("key length is negative"), std::string::npos);
}

TEST(Parameters, AreExplained) {
    ZOEAVLOpTable partial = cbi64;
    partial.killer = nullptr;
    partial.safe_adder = nullptr;
    ZOEAVLOpTable locked = cbi64;
    locked.adder = nullptr;
    locked.safe_killer = nullptr;
    const ZOEAVLOpTable empty{};
    const auto *const gone = reinterpret_cast<const ZOEAVLOpTable *>(Guarded(1).begin());
    const struct {
        ZOEAVLParms parms;
        int warnings;
        const char *told;
    } rows[] = {
        {{1, 16, 0, 1, gone, 0}, 1, "would crash: the table of operations can't be read"},
        {plain(1, 16, 5), 0,
         "cbi64, one signed 64-bit integer; in bytes 16 to 23 of the record\nno"},
        {plain(16, 16, 9), 0, "cbia32, 16 of: signed 32-bit integer; in bytes 16 to 79"},
        {plain(7, 20, 13), 0, "behind the ZOEAVLVaryingKey in bytes 20 to 31"},
        {plain(1, -8, 20), 0, "behind the pointer in bytes -8 to -1"},
        {plain(0, 16, 3), 1, "at most one record\n"},
        {plain(0, 16, 13), 1, "keys of varying length want any other"},
        {plain(2, 16, 7), 1, "gives null too"},
        {plain(2, 16, 8), 1, "gives null too"},
        {plain(2, 16, 19), 1, "keeps the operations in force"},
        {plain(1, 16, 26), 1, "no key type 26"},
        {plain(-1, 16, 1), 1, "without end"},
        {plain(-2, 16, 9), 1, "all keys are equal"},
        {plain(8, 12, 1), 1, "overlaps the links"},
        {plain(1, 0, 1), 1, "overlaps the links"},
        {plain(1, -4, 5), 1, "overlaps the links"},
        {plain(16, 15, 5), 3, "look swapped"},
        {plain(16, 1, 5), 3, "look swapped"},
        {plain(1, 16, 25), 0, "compiled at run time"},
        {plain(1, 16, 0), 1, "without a table"},
        {{1, 16, 0, 0, &cbi64, 0}, 0, "slots 4 to 7"},
        {{1, 16, 0, 1, &cbi64, 0}, 0, "slots 0 to 3"},
        {{1, 16, 0, 0, &locked, 0}, 1, "slots 4 to 7 aren't all filled"},
        {{1, 16, 0, 1, &partial, 0}, 1, "slots 0 to 3 aren't all filled"},
        {{1, 16, 0, 0, &partial, 0}, 1, "no adder in slot 4"},
        {{1, 16, 0, 1, &empty, 0}, 1, "no adder in slot 0"},
        {{1, 16, 5, 0x15, &partial, 9}, 4, "flags 0x10 mean nothing"},
    };
    const auto expect = [](const ZOEAVLParms &parms, int warnings, const std::string &told) {
        std::int64_t warned = -1;
        const std::string text =
            text_of([&](FILE *out) { return zoeavl_explain(&parms, out); }, &warned);
        EXPECT_EQ(warned, warnings) << text;
        EXPECT_NE(text.find(told), text.npos) << text;
    };
    for (const auto &row : rows)
        expect(row.parms, row.warnings, row.told);
    for (ZOEAVLKeyType type = 1; type <= std::size(table_names); type++) {
        const std::string name = table_names[type - 1];
        const bool array = name[3] == 'a';
        expect(plain(array ? 2 : 1, 16, type), 0,
               "key type " + std::to_string(type) + ": " + name + ",");
        if (array)
            expect(plain(1, 16, type), 0, "an array of one is the same tree as a scalar");
        else if (name[2] == 'i' || name[2] == 'u')
            expect(plain(4, 16, type), 1, "the length isn't in bytes");
    }
    EXPECT_NE(text_of([&](FILE *out) {
                  return zoeavl_explain(reinterpret_cast<const ZOEAVLParms *>(gone), out);
              }).find("can't be read"),
              std::string::npos);
}

TEST(Check, SeesEveryBitOfEveryLink) {
    Record records[9]{};
    for (std::size_t nodes = 1; nodes <= std::size(records); nodes++)
        for (const model::ShapeP &shape : model::all_shapes(nodes)) {
            model::Tree tree{{}, shape};
            for (std::size_t i = 0; i < nodes; i++)
                tree.order.push_back(&records[i].node);
            ZOEAVLp head = nullptr;
            model::build(tree, &head);
            const auto faults = [&](int level) {
                return zoeavl_check_words(&head, nullptr, nullptr, level, nullptr);
            };
            ASSERT_EQ(faults(ZOEAVL_CHECK_HEIGHTS), 0);
            for (const ZOEAVLp node : tree.order)
                for (ZOEAVLp *link : {&node->llink, &node->rlink})
                    for (unsigned bit = 0; bit < 64; bit++) {
                        const ZOEAVLp sound = *link;
                        *link = reinterpret_cast<ZOEAVLp>(model::word(sound) ^ (1UL << bit));
                        const bool of_child = (model::word(sound) & 2) == 0;
                        ASSERT_GT(faults(bit == 0 && of_child ? ZOEAVL_CHECK_HEIGHTS
                                                              : ZOEAVL_CHECK_LINKS),
                                  0)
                            << nodes << " nodes, bit " << bit;
                        *link = sound;
                    }
        }
}

TEST(Check, ComparesLongKeysToTheirEnds) {
    struct Long {
        ZOEAVLNODE node;
        char key[1000];
    } records[3]{};
    Desk desk;
    ZOEAVLTree *const tree =
        desk.make(plain(sizeof(Long::key), offsetof(Long, key), ZOEAVL_KEYTYPE_CHAR));
    char last = 0;
    for (Long &record : records) {
        std::iota(std::begin(record.key), std::end(record.key), '\0');
        record.key[500] = last++;
        *std::rbegin(record.key) = static_cast<char>(-last);
        tree->adder(&tree->root, &record.node);
    }
    EXPECT_EQ(report_on(tree), "");
    std::swap(records[0].key, records[1].key);
    EXPECT_NE(report_on(tree).find("key: expected a key above"), std::string::npos);
}

TEST(Check, SurvivesWhateverStandsInATree) {
    for (const std::size_t count : {0U, 1U, 2U, 3U, 5U, 8U, 400U}) {
        CorruptedTree tree(count);
        RandomBytes random;
        for (int round = 0; round < 5000 && !HasFailure(); round++)
            tree.step(random);
    }
}

/* The emulator of other processors neither limits memory nor filters calls. */
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Check, LacksMemoryOrTheCallToReadIt) {
    Desk desk;
    std::vector<Record> many(200000);
    for (std::size_t i = 0; i < many.size(); i++) {
        many[i].key = static_cast<std::int64_t>(1000 + i);
        desk.tree->adder(&desk.tree->root, &many[i].node);
    }
    const auto look = [&] {
        ZOEAVLStatistics statistics;
        std::exit(static_cast<int>(zoeavl_check(desk.tree, ZOEAVL_CHECK_ORDER, stderr) +
                                   10 * zoeavl_statistics(desk.tree, nullptr, &statistics)) +
                  20);
    };
    const auto with_little_memory = [&] {
        rlimit limit{16 << 20, 16 << 20};
        setrlimit(RLIMIT_AS, &limit);
        for (std::size_t size = 1 << 20; size >= 64; size /= 2) // what was freed before is taken
            for (void *block = &size; block != nullptr;) {
                block = std::malloc(size);
                asm volatile("" : "+r"(block));
            }
        look();
    };
    EXPECT_EXIT(with_little_memory(), testing::ExitedWithCode(9), "can't go on: Cannot allocate");
    const auto where_reading_is_refused = [&] {
        sock_filter filter[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_readv, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        rlimit limit{32, 32}; // so the pipe must be the same for all pages
        setrlimit(RLIMIT_NOFILE, &limit);
        const sock_fprog program{std::size(filter), filter};
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
        desk.records[3].node.llink = reinterpret_cast<ZOEAVLp>(Guarded(1).begin());
        look();
    };
    EXPECT_EXIT(where_reading_is_refused(), testing::ExitedWithCode(31), "was the record freed");
}
#endif

TEST(Statistics, TellShapeAndDistances) {
    struct alignas(32) HalfLine {
        ZOEAVLNODE node;
        std::int64_t key;
    };
    alignas(4096) HalfLine halves[169];
    ZOEAVL_ROOT root{nullptr, offsetof(HalfLine, key), 1, nullptr};
    for (std::size_t i = 0; i < std::size(halves); i++) {
        halves[i].key = static_cast<std::int64_t>(i < 84 ? i : 252 - i); // up, then down
        if ((0x2222F >> i % 21 & 1) != 0) // three steps of a half, one of two, four of four
            cbi64.adder(&root, &halves[i].node);
    }
    ZOEAVLStatistics told;
    ASSERT_EQ(zoeavl_statistics(nullptr, &root.headptr, &told), 0);
    EXPECT_EQ(told.records, 65U);
    EXPECT_EQ(told.height, 7U);
    EXPECT_EQ(told.least_height, 7U);
    EXPECT_DOUBLE_EQ(told.average_depth, (1 + 4 + 12 + 32 + 80 + 32 * 6.0 + 2 * 7) / 65);
    EXPECT_DOUBLE_EQ(told.level_share, 60.0 / 65);
    EXPECT_DOUBLE_EQ(told.same_line, 12.0 / 64);
    EXPECT_DOUBLE_EQ(told.same_page, 62.0 / 64);
    EXPECT_EQ(told.median_distance, 64U);
    root.headptr = nullptr;
    ASSERT_EQ(zoeavl_statistics(nullptr, &root.headptr, &told), 0);
    EXPECT_EQ(told.same_line + told.average_depth, 0) << "of nothing";
}

TEST(Picture, ShowsChildrenThreadsLeansAndFaults) {
    Desk desk;
    ZOEAVLp head = &desk.records[17].node;
    std::int64_t faults = -1;
    const auto drawn = [&](std::uint32_t depth) {
        const ZOEAVLDrawing drawing{[](void *, ZOEAVLp record, char *text, std::size_t size) {
                                        std::snprintf(text, size, "\"%ld\" é",
                                                      reinterpret_cast<Record *>(record)->key);
                                    },
                                    nullptr, depth, nullptr};
        return text_of([&](FILE *out) { return zoeavl_draw(nullptr, &head, &drawing, out); },
                       &faults);
    };
    const model::ShapeP leaf = model::join(nullptr, nullptr);
    model::build({{&desk.records[15].node, &desk.records[16].node, &desk.records[17].node,
                   &desk.records[18].node, &desk.records[19].node},
                  model::join(model::join(leaf, nullptr), model::join(nullptr, leaf))},
                 &head);
    const std::string whole = drawn(0);
    EXPECT_EQ(whole, R"(digraph tree {
ordering=out;
node [shape=ellipse, fontname="sans-serif", fontsize=11];
edge [dir=none];
"2" [label="\"170\" é"];
"2" -> "1";
"2" -> "1" [style=dashed, dir=back, color=gray50, arrowsize=0.6, weight=0];
"2 below" [style=invis, label="", width=0.1];
"2" -> "2 below" [style=invis, weight=10];
"2" -> "3" [style=dashed, dir=back, color=gray50, arrowsize=0.6, weight=0];
"2" -> "3";
"1" [label="\"160\" é", style=filled, fillcolor="#ffe3a3"];
"1" -> "0" [penwidth=3];
"1" -> "0" [style=dashed, dir=back, color=gray50, arrowsize=0.6, weight=0];
"1 below" [style=invis, label="", width=0.1];
"1" -> "1 below" [style=invis, weight=10];
"0" [label="\"150\" é"];
"3" [label="\"180\" é", style=filled, fillcolor="#ffe3a3"];
"3 below" [style=invis, label="", width=0.1];
"3" -> "3 below" [style=invis, weight=10];
"3" -> "4" [style=dashed, dir=back, color=gray50, arrowsize=0.6, weight=0];
"3" -> "4" [penwidth=3];
"4" [label="\"190\" é"];
}
)");
    const std::string top = drawn(1);
    EXPECT_EQ(std::count(top.begin(), top.end(), '\n'), 12) << top;
    EXPECT_NE(top.find("\"3\" [shape=triangle, label=\"2\"]"), whole.npos);
    EXPECT_NE(text_of([&](FILE *out) { return zoeavl_draw(nullptr, &head, nullptr, out); }, &faults)
                  .find("\"3\" [label=\"0x"),
              whole.npos);
    EXPECT_EQ(faults, 0);
    desk.records[19].node.rlink = &desk.records[15].node;
    desk.records[15].node = {nullptr, nullptr};
    const std::string faulty = drawn(0);
    EXPECT_EQ(faults, 2);
    EXPECT_NE(faulty.find("\"4\" -> \"0\" [dir=forward, color=red"), whole.npos);
    const char *const null_link = "\"0\" -> \"0x0\" [dir=forward, color=red";
    EXPECT_NE(faulty.find(null_link), whole.npos);
    EXPECT_NE(faulty.find(null_link), faulty.rfind(null_link)) << "one for each side";
    EXPECT_NE(faulty.find("\"0x0\" [shape=box, color=red];"), whole.npos);
}

} // namespace
