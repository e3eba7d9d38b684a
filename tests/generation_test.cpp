/* Generation: the form of the text, the driver's calls on every path, and compiled operations
 * against the model. */
#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <thread>

#include "lock_discipline.h"
#include "zoeavl_host.h"

namespace {

/* Others rely on every byte of the text, comments and blanks included. Whoever means to change it
 * puts the new digest (64-bit FNV-1a) here. */
TEST(Text, IsWhatItWas) {
    EXPECT_EQ(codesize, std::strlen(code) + 1);
    std::uint64_t digest = 0xCBF29CE484222325;
    for (const char c : std::string_view(code))
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    EXPECT_EQ(digest, 0x2630E660656D0EFF) << std::hex << digest;
}

/* ---- The driver ------------------------------------------------------------------------------ */

std::array<void *, 4> slots_of(const ZOEAVLTree *tree) {
    std::array<void *, 4> slots{};
    std::memcpy(slots.data(), &tree->adder, sizeof slots);
    return slots;
}

/* A generation service that writes down what it is given and answers with what it is told. */
struct Service : ZOCodegen, RecordingHost {
    struct Module : ZOModule {
        Service *service;
    };
    Service() : ZOCodegen{} {
        addText = [](ZOCodegen *cg, uint32_t line, const char *text, int64_t length) {
            return of(cg)->answer("text " + std::to_string(line) + " " + std::to_string(length) +
                                  " " + (text == code ? "code" : text));
        };
        addFormat = add_format;
        addStructs = [](ZOCodegen *cg, const ZOCodegenStruct *s, uint32_t count) {
            of(cg)->seen = s;
            return of(cg)->answer("structs " + std::to_string(count));
        };
        compile = [](ZOCodegen *cg, ZOWord first, ZOWord second) -> ZOModule * {
            of(cg)->record("compile " + std::to_string(first) + " " + std::to_string(second));
            return of(cg)->compiles ? &of(cg)->module : nullptr;
        };
        module.service = this;
        module.symbol = [](ZOModule *m, const char *name) -> void * {
            Service *const self = static_cast<Module *>(m)->service;
            self->record(std::string("symbol ") + name);
            self->slots_at_lookup.push_back(slots_of(self->tree));
            return std::strcmp(name, self->absent) == 0
                       ? nullptr
                       : self->symbols + self->slots_at_lookup.size();
        };
    }
    static uint32_t add_format(ZOCodegen *cg, uint32_t line, const char *format, ...) {
        char text[200];
        va_list list;
        va_start(list, format);
        std::vsnprintf(text, sizeof text, format, list);
        va_end(list);
        return of(cg)->answer("format " + std::to_string(line) + " " + format + " -> " + text);
    }
    static Service *of(ZOCodegen *cg) { return static_cast<Service *>(cg); }
    uint32_t answer(const std::string &call) {
        record(call);
        const auto it = statuses.find(++additions);
        return it == statuses.end() ? 0 : it->second;
    }

    std::map<int, uint32_t> statuses;
    int additions = 0;
    bool compiles = true;
    const char *absent = "";
    const ZOCodegenStruct *seen = nullptr;
    Module module{};
    ZOEAVLTree *tree = nullptr;
    char symbols[8] = {};
    std::vector<std::array<void *, 4>> slots_at_lookup;
};

Calls seven_additions(bool locked) {
    const std::string slot = "format 1 #define %s%s (*(%s (**)())(((char *)(h))+%d))%s -> #define ";
    return {"text 1 -1 //\n// Start of ZOEAVL-generated code\n//\n"
            "typedef struct ZOEAVLNODE *ZOEAVLp;\ntypedef struct ZOEAVL_ROOT *ZOEAVLRootp;\n"
            "#define NULL ((void *)0)\n",
            "format 0 typedef %s%d_t %s;\n -> typedef int64_t intptr_t;\n",
            slot + "zotLockGet(h,wr,wa) (*(uint32_t (**)())(((char *)(h))+24))(h,wr,wa)",
            slot + "zotLockRelease(h) (*(uint32_t (**)())(((char *)(h))+32))(h)",
            "structs 4294967295",
            locked ? "text 1 -1 \n#define ZOEAVL_DO_LOCK(l, rw)    zotLockGet(l, rw, TRUE)\n"
                     "#define ZOEAVL_DO_UNLOCK(l)      zotLockRelease(l)\n"
                   : "text 1 -1 \n#define ZOEAVL_DO_LOCK(l, rw)\n#define ZOEAVL_DO_UNLOCK(l)\n",
            "text 1 -1 code"};
}

TEST(Driver, MakesItsCallsInOrderAndJudgesOnce) {
    for (const bool locked : {true, false})
        for (int failing = 0; failing <= 10; failing++) {
            SCOPED_TRACE(failing);
            Service service;
            ZOEAVLTree tree{};
            service.tree = &tree;
            tree.optable = &cbi32;
            tree.root.rw = locked ? &service.lock : nullptr;
            tree.adder = cbi32.adder;
            if (failing >= 1 && failing <= 7)
                service.statuses[failing] = failing % 2 ? 1 : 0x80000000;
            if (failing == 8)
                service.statuses = {{1, 1}, {4, 0xFFFFFFFF}, {6, 1}};
            service.compiles = failing != 9;
            service.absent = failing == 10 ? "Killer" : "";
            ZOModule *const module = ZOEAVLCodegen(&tree, &service, 31, -32);
            Calls expected = seven_additions(locked);
            const bool additions_fail = failing >= 1 && failing <= 8;
            if (!additions_fail)
                expected.emplace_back("compile 31 -32");
            if (!additions_fail && service.compiles)
                expected.insert(expected.end(), {"symbol Adder", "symbol Finder",
                                                 "symbol FuzzyFinder", "symbol Killer"});
            EXPECT_EQ(service.calls(), expected);
            EXPECT_EQ(tree.optable, &cbi32);
            if (additions_fail || !service.compiles) {
                EXPECT_EQ(module, nullptr);
                EXPECT_EQ(tree.adder, cbi32.adder);
                EXPECT_EQ(tree.finder, nullptr);
                continue;
            }
            EXPECT_EQ(module, &service.module);
            const auto slots = slots_of(&tree);
            for (std::size_t i = 0; i < 4; i++) {
                EXPECT_EQ(slots[i], failing == 10 && i == 3 ? nullptr : service.symbols + i + 1);
                for (std::size_t j = 0; j < i; j++)
                    EXPECT_EQ(service.slots_at_lookup[i][j], slots[j])
                        << "stored before the next lookup";
            }
        }
}

TEST(Driver, DescribesTheLayouts) {
    Service service;
    ZOEAVLTree tree{};
    service.tree = &tree;
    ZOEAVLCodegen(&tree, &service, 0, 0);
    std::string described;
    for (const ZOCodegenStruct *s = service.seen;; s++) {
        described += s->name ? s->name : "end";
        described += " " + std::to_string(s->size) + (s->members ? ":" : "");
        for (const ZOCodegenMember *m = s->members; m != nullptr; m = m->name ? m + 1 : nullptr)
            described += std::string(" ") + (m->name ? m->name : "end") + " " +
                         std::to_string(m->size) + " " + std::to_string(m->offset) + " " +
                         (m->decl ? m->decl : "none") + ";";
        described += "\n";
        if (s->name == nullptr)
            break;
    }
    EXPECT_EQ(described,
              "ZOEAVL_ROOT 24: headptr 8 0 ZOEAVLp %s; keyoff 4 8 int %s; keylen 4 12 int %s;"
              " rw 8 16 void *%s; end 0 0 none;\n"
              "ZOEAVLNODE 16: llink 8 0 ZOEAVLp %s; rlink 8 8 ZOEAVLp %s; end 0 0 none;\n"
              "end 0\n");
}

/* ---- Compiled operations --------------------------------------------------------------------- */

/* An order as the table that was compiled from it at build time, and as text of its like. */
struct Order {
    Type type;
    const char *text;
};

const Order orders[] = {
    {{&order_of_bytes, units_less<unsigned char>, 1, 4, Form::direct},
     "#define ZOEAVL_COMP(a,b,n,p,f) { int c = __builtin_memcmp((a), (b), (n)); \\\n"
     "    if (c < 0) goto p; else if (c > 0) goto f; }"},
    {{&order_of_integers, units_less<std::int32_t>, 4, 1, Form::direct},
     "#define ZOEAVL_COMP(a,b,n,p,f) { int x = *(int *)(a), y = *(int *)(b); \\\n"
     "    if (x < y) goto p; else if (x > y) goto f; }"},
    {{&order_by_halves, [](const Key &x, const Key &y) { return units_less<std::int32_t>(y, x); },
      4, 1, Form::direct, true},
     "static int by_half(void *a, void *b) { long x = *(long *)a / 2, y = *(int *)b; \\\n"
     "    return (x < y) - (x > y); }\n"
     "#define ZOEAVL_COMP(a,b,n,p,f) if (*(int *)(a) > *(int *)(b)) goto p; else \\\n"
     "    if (*(int *)(a) < *(int *)(b)) goto f;\n"
     "#define ZOEAVL_FINDCOMP(a,b,n,p,f) { int c = by_half((a), (b)); if (c < 0) goto p; else if "
     "(c > 0) goto f; }"},
};

class Generated : public testing::Test {
  protected:
    /* A folder for temporary files that no other process writes to. */
    static void SetUpTestSuite() {
        temporary = (std::filesystem::temp_directory_path() / "tests-XXXXXX").string();
        ASSERT_NE(mkdtemp(temporary.data()), nullptr);
        setenv("TMPDIR", temporary.c_str(), 1);
    }
    static void TearDownTestSuite() {
        std::filesystem::remove_all(temporary);
        unsetenv("TMPDIR");
    }
    static bool nothing_left_behind() { return std::filesystem::is_empty(temporary); }
    static inline std::string temporary;

    Generated() : extension((zoextent(zoeavl_host()), zoeavl(nullptr, nullptr))) {}
    ~Generated() override {
        for (ZOEAVLTree *tree : created)
            tree->destroy(tree);
        extension->RealDestroy(extension);
    }

    ZOEAVLTree *create(const Order &order, std::uint32_t flags,
                       ZOEAVLKeyType keytype = ZOEAVL_KEYTYPE_GENERATED) {
        const ZOEAVLParms parms{
            order.type.keylen, sizeof(ZOEAVLNODE), keytype, flags, order.type.table, 0};
        return created.emplace_back(extension->Create(extension, &parms, nullptr, nullptr));
    }
    static ZOModule *generate(ZOEAVLTree *tree, const char *text, ZOJournal *journal = nullptr,
                              const char *options = nullptr) {
        ZOCodegen *const codegen = zoeavl_host_codegen(journal);
        codegen->addText(codegen, 1, text, -1);
        ZOModule *const module = tree->Codegen(tree, codegen, reinterpret_cast<ZOWord>(options), 0);
        codegen->Destroy(codegen);
        return module;
    }
    ZOEAVLExtension *extension;
    std::vector<ZOEAVLTree *> created;
};

TEST_F(Generated, OperationsAgreeWithTheModel) {
    std::vector<ZOEAVLTree *> trees;
    for (const Order &order : orders)
        for (const std::uint32_t flags : {0U, ZOEAVL_PARM_NOLOCK})
            trees.push_back(create(order, flags));
    std::vector<ZOModule *> modules(trees.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < trees.size(); i++)
        threads.emplace_back([&, i] {
            ZOJournal *const journal = zoeavl_host_journal(nullptr);
            modules[i] = generate(trees[i], orders[i / 2].text, journal,
                                  "-Wall -Werror -fstack-protector-all");
            EXPECT_NE(modules[i], nullptr) << zoeavl_host_journal_text(journal);
            zoeavl_host_journal_end(journal);
        });
    for (std::thread &thread : threads)
        thread.join();
    for (std::size_t i = 0; i < trees.size(); i++) {
        ASSERT_NE(modules[i], nullptr);
        for (ZOEAVLTree *const tree :
             {trees[i], create(orders[i / 2], i % 2, ZOEAVL_KEYTYPE_OPTABLE)}) {
            for (const std::size_t limit : {7U, 200U}) { // small trees get empty
                RandomBytes random;
                Operations run(orders[i / 2].type, i % 2 == 0, sizeof(ZOEAVLNODE), limit);
                run.use(&tree->adder);
                for (int step = 0; step < 2000 && !HasFailure(); step++)
                    run.step(random);
            }
            if (i / 2 == 1)
                expect_room_for_the_longest_path(tree->root, tree->adder, tree->killer);
        }
    }
    for (ZOModule *const module : modules)
        module->Destroy(module);
    EXPECT_TRUE(nothing_left_behind());
}

TEST_F(Generated, LockedOperationsTakeTheLockAsTheBuiltInTwinsDo) {
    RecordingHost host;
    ZOEAVLTree *const generated = create(orders[1], 0);
    ZOModule *const module = generate(generated, orders[1].text);
    for (ZOEAVLTree *const tree : {generated, create(orders[1], 0, ZOEAVL_KEYTYPE_OPTABLE)})
        expect_lock_discipline(host, *tree, orders[1].type);
    module->Destroy(module);
}

TEST_F(Generated, RefusalsReachTheJournalAndLeaveNothingBehind) {
    ZOJournal *const journal = zoeavl_host_journal(nullptr);
    ZOEAVLTree *const tree = create(orders[0], 0);
    const ZOEAVLTree before = *tree;
    EXPECT_EQ(generate(tree, "// no comparison", journal), nullptr);
    EXPECT_NE(std::strstr(zoeavl_host_journal_text(journal), "ZOEAVL_COMP"), nullptr);
    EXPECT_EQ(generate(tree, "#error \"the caller's own words\"", journal), nullptr);
    EXPECT_NE(std::strstr(zoeavl_host_journal_text(journal), "the caller's own words"), nullptr);
    EXPECT_EQ(generate(tree, orders[0].text, journal, "--no-such-option"), nullptr);
    EXPECT_NE(std::strstr(zoeavl_host_journal_text(journal), "no-such-option"), nullptr);
    const char *const cc = std::getenv("CC");
    const std::string own = cc != nullptr ? cc : "cc";
    setenv("CC", "/nonexistent/compiler -O1", 1);
    EXPECT_EQ(generate(tree, orders[0].text, journal), nullptr);
    setenv("CC", own.c_str(), 1);
    EXPECT_NE(std::strstr(zoeavl_host_journal_text(journal), "/nonexistent/compiler"), nullptr);
    EXPECT_EQ(std::memcmp(&before, tree, sizeof before), 0);
    EXPECT_TRUE(nothing_left_behind());
    zoeavl_host_journal_end(journal);
}

} // namespace
