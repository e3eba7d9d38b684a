/* The embedded host, and a locked tree under several threads. */
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <malloc.h>

#include <gtest/gtest.h>

#include "zoeavl.hpp"
#include "zoeavl/check.hpp"
#include "zoeavl_host.h"
#include "zosupport.h"

namespace {

/* Does the statement end the process with this line? In a program with the address sanitizer that
 * one may be faster to speak. */
#define EXPECT_FAULT(statement, line)                                                              \
    EXPECT_DEATH((void)(statement), std::string("zoeavl_host: ") + (line) + "|AddressSanitizer")

ZOPool *pool_of(ZOHost *host, ZOJournal *journal = nullptr) {
    const ZOPoolParms parms{};
    return host->PoolCreate(host, &parms, journal, "test");
}

ZOLock *lock_of(ZOHost *host, bool prefer_writers, ZOJournal *journal = nullptr) {
    ZOLockParms parms{};
    parms.variant = prefer_writers;
    return host->LockCreate(host, &parms, journal, "test");
}

class BothHosts : public testing::TestWithParam<ZOHost *(*)()> {
  protected:
    ZOHost *host = GetParam()();
};
INSTANTIATE_TEST_SUITE_P(Embedded, BothHosts, testing::Values(zoeavl_host, zoeavl_host_checked));

TEST(EmbeddedHost, IsCheckedIfTheEnvironmentSaysSo) {
    const char *const name = "ZOEAVL_HOST_CHECKED";
    EXPECT_EQ(zoeavl_host() == zoeavl_host_checked(), std::getenv(name) != nullptr);
#if defined(__x86_64__) // a program for another processor can't start itself again in an emulator
    const std::string before = std::getenv(name) != nullptr ? std::getenv(name) : "0";
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a new process asks anew
    for (const char *const value : {"1", "yes", "0", ""}) {
        setenv(name, value, 1);
        EXPECT_EXIT(std::exit(zoeavl_host() == zoeavl_host_checked()),
                    testing::ExitedWithCode(std::strlen(value) > 0 && *value != '0'), "");
    }
    GTEST_FLAG_SET(death_test_style, "fast");
    setenv(name, before.c_str(), 1);
#endif
}

/* Blocks are aligned, apart, and hold what was put there; what is freed comes back. */
TEST_P(BothHosts, PoolsGiveAlignedBlocksThatKeepTheirContents) {
    ZOPool *const pool = pool_of(host);
    const auto run = [pool](unsigned seed) {
        std::vector<std::pair<char *, std::uint64_t>> blocks;
        std::mt19937 random(seed);
        for (int turn = 0; turn < 20000; turn++) {
            const std::uint64_t size = random() % 2 == 0 ? random() % 41 : random() % 3000;
            const std::uint32_t flags = random() % 2 == 0 ? ZOPOOL_ZEROFILL : 0;
            auto *const block = static_cast<char *>(pool->Alloc(pool, size, flags));
            ASSERT_NE(block, nullptr);
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
            ASSERT_TRUE(flags == 0 || skMemNot(0, block, size) == 1);
            skMemSet(block, static_cast<std::uint32_t>(size), size);
            blocks.emplace_back(block, size);
            if (blocks.size() == 16) {
                std::swap(blocks[random() % 16], blocks.back());
                const auto [old, length] = blocks.back();
                ASSERT_EQ(skMemNot(static_cast<std::uint32_t>(length & 0xFF), old, length), 1U);
                blocks.pop_back();
                pool->Free(pool, old);
            }
        }
    };
    const auto in_use = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    const std::size_t before = in_use();
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 3; t++)
        threads.emplace_back(run, t);
    for (std::thread &thread : threads)
        thread.join();
    pool->Free(pool, nullptr);
    EXPECT_LT(in_use(), before + (std::size_t{8} << 20));
    for (const std::uint64_t size : {UINT64_MAX, UINT64_MAX - 15, UINT64_MAX / 2})
        EXPECT_EQ(pool->Alloc(pool, size, 0), nullptr) << size;
    pool->Destroy(pool);
    std::vector<ZOPool *> many(1100); // more than a thread has keys for
    for (ZOPool *&one : many) {
        one = pool_of(host);
        ASSERT_NE(one, nullptr);
        one->Free(one, one->Alloc(one, 1, 0));
    }
    for (ZOPool *one : many)
        one->Destroy(one);
}

TEST_P(BothHosts, LocksExcludeAsAskedAndVariantsDiffer) {
    for (const bool prefer_writers : {false, true}) {
        ZOLock *const lock = lock_of(host, prefer_writers);
        EXPECT_EQ(lock->Get(lock, 0, 1), 0U);
        std::thread([&] {
            EXPECT_EQ(lock->Get(lock, 0, 0), 0U) << "readers share";
            EXPECT_EQ(lock->Get(lock, 1, 0), static_cast<std::uint32_t>(EBUSY))
                << "a writer doesn't";
            EXPECT_EQ(lock->Release(lock), 0U);
        }).join();

        /* The other kind lets readers in as long as no writer is. */
        std::thread writer([&] {
            lock->Get(lock, 1, 1);
            lock->Release(lock);
        });
        const auto read_beside = [&] {
            bool granted = false;
            std::thread([&] {
                granted = lock->Get(lock, 0, 0) == 0;
                if (granted)
                    lock->Release(lock);
            }).join();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return granted;
        };
        if (prefer_writers) {
            while (read_beside())
                continue;
            EXPECT_FALSE(read_beside());
        } else {
            int granted = 0;
            for (int i = 0; i < 50; i++)
                granted += read_beside();
            EXPECT_GT(granted, 25);
            EXPECT_EQ(lock->Get(lock, 0, 1), 0U) << "a second time";
            lock->Release(lock);
        }
        lock->Release(lock);
        writer.join();

        EXPECT_EQ(lock->Get(lock, 1, 1), 0U);
        for (const std::uint32_t wr : {0U, 1U})
            EXPECT_NE(lock->Get(lock, wr, 0), 0U);
        lock->Release(lock);
        for (const std::uint32_t wr : {0U, 1U})
            EXPECT_FAULT((lock->Get(lock, 1, 1), lock->Get(lock, wr, 1)),
                         ".* taken again by the thread that holds it for writing");
        lock->Destroy(lock);
    }
}

/* Each slip ends the process with its line; the same without the slip goes through. */
TEST(CheckedHost, NamesEachSlip) {
    ZOHost *const host = zoeavl_host_checked();
    const struct {
        const char *line;
        void (*commit)(ZOPool *, ZOLock *, bool slip);
    } slips[] = {
        {"pool 'test': block 0x.* is freed a second time",
         [](ZOPool *pool, ZOLock *, bool slip) {
             void *const block = pool->Alloc(pool, 24, 0);
             pool->Free(pool, block);
             if (slip)
                 pool->Free(pool, block);
         }},
        {"pool 'test': block 0x.* is freed, but was never one of its own",
         [](ZOPool *pool, ZOLock *, bool slip) {
             auto *const block = static_cast<char *>(pool->Alloc(pool, 24, 0));
             pool->Free(pool, block + (slip ? 8 : 0));
         }},
        {"pool 'test': block 0x.* of 24 bytes was written to at byte 23 after it was freed",
         [](ZOPool *pool, ZOLock *, bool slip) {
             auto *const block = static_cast<volatile char *>(pool->Alloc(pool, 24, 0));
             pool->Free(pool, const_cast<char *>(block));
             if (slip)
                 block[23] = 1;
             for (int i = 0; i < 20; i++) // push it out
                 pool->Free(pool, pool->Alloc(pool, std::uint64_t{1} << 16, 0));
         }},
        {"pool 'ZOEAVL Extension': block 0x.* is tree 'left', which wasn't destroyed",
         [](ZOPool *, ZOLock *, bool slip) {
             zoextent(zoeavl_host_checked());
             ZOEAVLExtension *const factory = zoeavl(nullptr, nullptr);
             const ZOEAVLParms parms{1, 16, ZOEAVL_KEYTYPE_I64, ZOEAVL_PARM_NOLOCK, nullptr, 0};
             ZOEAVLTree *const tree = factory->Create(factory, &parms, nullptr, "left");
             if (!slip)
                 tree->destroy(tree);
             factory->RealDestroy(factory);
         }},
        {"lock 'test' is taken for writing by a thread that holds it for reading",
         [](ZOPool *, ZOLock *lock, bool slip) {
             lock->Get(lock, 0, 1);
             if (slip)
                 lock->Get(lock, 1, 1);
             lock->Release(lock);
         }},
        {"lock 'test' is taken for reading twice by one thread",
         [](ZOPool *, ZOLock *lock, bool slip) {
             lock->Get(lock, 0, 1);
             if (slip)
                 lock->Get(lock, 0, 1);
             lock->Release(lock);
         }},
        {"lock 'test' is released by a thread that doesn't hold it",
         [](ZOPool *, ZOLock *lock, bool slip) {
             lock->Get(lock, 0, 1);
             if (slip)
                 std::thread([lock] { lock->Release(lock); }).join();
             lock->Release(lock);
         }},
        {"lock 'test' is destroyed while a thread holds it for writing",
         [](ZOPool *, ZOLock *lock, bool slip) {
             lock->Get(lock, 1, 1);
             if (slip)
                 lock->Destroy(lock);
             lock->Release(lock);
         }},
    };
    for (const auto &slip : slips) {
        ZOPool *const pool = pool_of(host);
        ZOLock *const lock = lock_of(host, true);
        slip.commit(pool, lock, false);
        EXPECT_FAULT(slip.commit(pool, lock, true), slip.line);
        lock->Destroy(lock);
        pool->Destroy(pool);
    }
    /* The line goes to the journal that was given; a write that is never pushed out is found at the
     * end; contents tell fresh and freed blocks. */
    const auto write_late = [&] {
        ZOPool *const pool = pool_of(host, zoeavl_host_journal(stderr));
        auto *const block = static_cast<volatile unsigned char *>(pool->Alloc(pool, 4, 0));
        std::setvbuf(stderr, nullptr, _IOFBF, 1 << 12); // and is pushed out
        const bool fresh = block[3] == 0xCD;
        pool->Free(pool, const_cast<unsigned char *>(block));
        if (fresh && block[0] == 0xDD)
            block[0] = 0;
        pool->Destroy(pool);
    };
    EXPECT_FAULT(write_late(), "pool 'test': .* of 4 bytes was written to at byte 0");
}

TEST(EmbeddedHost, JournalsFormatWhatTheyAreGiven) {
    char *written = nullptr;
    std::size_t length = 0;
    FILE *const stream = open_memstream(&written, &length);
    const std::string expected =
        "zoeavl: level 4, status 0x803fc002: no pool, block or lock to be had\n"
        "zoeavl: level 1, status 0x803fc004: unsupported\n"
        "zoeavl: level 4, status 0x00000007: status\n"
        "it is 3 and 0.5\n"
        "%ls can't be told\n";
    for (FILE *const to : {static_cast<FILE *>(nullptr), stream}) {
        ZOJournal *const journal = zoeavl_host_journal(to);
        EXPECT_EQ(zolStatusToJnl(journal, 4, static_cast<std::int32_t>(ZOEAVL_STATUS_RESOURCE)),
                  68);
        zolStatusToJnl(journal, 1, static_cast<std::int32_t>(ZOEAVL_STATUS_UNSUPPORTED));
        zolStatusToJnl(journal, 4, 7);
        EXPECT_EQ(zolMessageToJnl(journal, 4, reinterpret_cast<ZOWord>("%s is %d and %.1f"), 0,
                                  "it", 3, 0.5),
                  15);
        EXPECT_EQ(zolMessageToJnl(journal, 4, reinterpret_cast<ZOWord>("%ls can't be told"), 0,
                                  L"\x80000000"),
                  17);
        EXPECT_EQ(zoeavl_host_journal_text(journal), to == nullptr ? expected : "");
        char buffer[8];
        const auto words = reinterpret_cast<ZOWord>(buffer);
        EXPECT_EQ(zolMessageToBuf(journal, 0, reinterpret_cast<ZOWord>("%d-%d"), words,
                                  sizeof buffer, 0, 12345, 6789),
                  10);
        EXPECT_STREQ(buffer, "12345-6");
        EXPECT_EQ(zolStatusToBuf(journal, 4, 7, words, sizeof buffer), 42);
        EXPECT_STREQ(buffer, "zoeavl:");
        EXPECT_STREQ(reinterpret_cast<const char *>(zolGetLocale(journal)), "C");
        zoeavl_host_journal_end(journal);
    }
    std::fclose(stream);
    EXPECT_EQ(std::string(written, length), expected);
    std::free(written);
}

/* A compiler that writes down each of its runs, in place of $CC. */
class CountingCompiler {
  public:
    CountingCompiler() {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        const std::string script = folder + "/cc";
        std::ofstream(script) << "#!/bin/sh\necho run >>" << folder << "/runs\nexec " << own
                              << " \"$@\"\n";
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        setenv("CC", (script + " -DFROM_CC=1").c_str(), 1);
    }
    ~CountingCompiler() {
        setenv("CC", own.c_str(), 1);
        std::filesystem::remove_all(folder);
    }
    CountingCompiler(const CountingCompiler &) = delete;
    CountingCompiler &operator=(const CountingCompiler &) = delete;
    [[nodiscard]] long runs() const {
        std::ifstream file(folder + "/runs");
        return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    }

  private:
    std::string own = std::getenv("CC") != nullptr ? std::getenv("CC") : "cc";
    std::string folder = (std::filesystem::temp_directory_path() / "cc-XXXXXX").string();
};

ZOModule *compiled(const char *text, const char *options = nullptr) {
    ZOCodegen *const codegen = zoeavl_host_codegen(nullptr);
    codegen->addText(codegen, 1, text, -1);
    ZOModule *const module = codegen->compile(codegen, reinterpret_cast<ZOWord>(options), 0);
    EXPECT_EQ(*zoeavl_host_codegen_words(codegen) == '\0', module != nullptr);
    codegen->Destroy(codegen);
    return module;
}

TEST(CompileService, CompilesTheSameTextOnceWhileItIsUsed) {
    const CountingCompiler compiler;
    const char *const text = "int link(int x) { return 41 + x; } /* not that of the C library */ "
                             "int answer(void) { return link(FROM_CC); }";
    std::vector<ZOModule *> modules(4);
    std::vector<std::thread> threads;
    for (ZOModule *&module : modules)
        threads.emplace_back([&] { module = compiled(text); });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(compiler.runs(), 1);
    for (ZOModule *module : modules) { // each works until it is ended itself
        ASSERT_NE(module, nullptr);
        const auto answer = reinterpret_cast<int (*)()>(module->symbol(module, "answer"));
        EXPECT_EQ(answer(), 42);
        EXPECT_EQ(module->symbol(module, "question"), nullptr);
        module->Destroy(module);
    }
    for (const char *const options : {"", "-DX", "-DX -DY"})
        modules.push_back(compiled(text, options));
    const auto former = std::signal(SIGCHLD, SIG_IGN);
    modules.push_back(compiled("int other;"));
    std::signal(SIGCHLD, former);
    EXPECT_EQ(compiler.runs(), 5) << "ended, or of other options or text";
    for (std::size_t i = 4; i < modules.size(); i++)
        modules[i]->Destroy(modules[i]);
}

TEST(CompileService, TakesTextAndLayoutsExactlyAndSaysWhereAMistakeIs) {
    const ZOCodegenMember members[][3] = {
        {{"a", 8, 0, "long %s"}, {"b", 4, 8, "int %s"}, {}},
        {{"a", 8, 0, "long %s"}, {"b", 4, 12, "int %s"}, {}}, // its offset is 8
        {{"a", 8, 0, "long %s"}, {"b", 8, 8, "int %s"}, {}},  // its size is 4
    };
    const struct {
        ZOCodegenStruct structs[3];
        std::uint32_t count;
        const char *words; /* null if it compiles */
    } cases[] = {
        {{{"S", 16, members[0]}, {}}, UINT32_MAX, nullptr},
        {{{"S", 16, members[0]}, {"T", 99, members[0]}, {}}, 1, nullptr},
        {{{"S", 16, members[0]}, {"T", 99, members[0]}, {}}, 2, "sizeof(struct T) == 99"},
        {{{"S", 24, members[0]}, {}}, UINT32_MAX, "sizeof(struct S) == 24"},
        {{{"S", 16, members[1]}, {}}, UINT32_MAX, "b) == 12"},
        {{{"S", 16, members[2]}, {}}, UINT32_MAX, "b) == 8"},
    };
    for (const auto &c : cases) {
        ZOCodegen *const codegen = zoeavl_host_codegen(nullptr);
        EXPECT_EQ(codegen->addStructs(codegen, c.structs, c.count), 0U);
        codegen->addFormat(codegen, 0, "int x%d", 1);
        codegen->addText(codegen, 1, ";//no", 3);
        codegen->addText(codegen, 0, "int size = sizeof(struct S)?", 27);
        codegen->addText(codegen, 0, ";", -1);
        codegen->addText(codegen, 0, "?", 0);
        ZOModule *const module = codegen->compile(codegen, 0, 0);
        const std::string words = zoeavl_host_codegen_words(codegen);
        EXPECT_EQ(module != nullptr, c.words == nullptr) << words;
        if (module != nullptr) {
            EXPECT_EQ(*static_cast<int *>(module->symbol(module, "size")), 16);
            module->Destroy(module);
        } else if (c.words != nullptr) {
            EXPECT_NE(words.find(c.words), std::string::npos) << words;
        }
        codegen->Destroy(codegen);
    }
    ZOCodegen *const codegen = zoeavl_host_codegen(nullptr);
    codegen->addText(codegen, 1, "int fine;", -1);
    zoeavl_host_codegen_source(codegen, R"(my "own"\order.h)", 7, "int fine_too;\nint fault = x;");
    codegen->addText(codegen, 1, "int again = y;", -1);
    EXPECT_EQ(codegen->compile(codegen, 0, 0), nullptr);
    const std::string words = zoeavl_host_codegen_words(codegen);
    EXPECT_NE(words.find(R"(order.h:8:)"), std::string::npos) << words;
    EXPECT_NE(words.find("<text>:1:"), std::string::npos) << words;
    codegen->Destroy(codegen);

    const std::string before = std::filesystem::temp_directory_path();
    setenv("TMPDIR", "/nonexistent", 1);
    EXPECT_EQ(compiled("int fine;"), nullptr) << "nowhere to compile";
    setenv("TMPDIR", before.c_str(), 1);
}

struct Record {
    ZOEAVLNODE node;
    std::int64_t key;
};

/* Lets so many threads write, and looks at what is there until they have ended. */
template <class Write, class Look>
void look_while_written(int writers, Write write, Look look) {
    std::atomic<int> writing{writers};
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; w++)
        threads.emplace_back([&, w] {
            write(w);
            writing--;
        });
    while (writing > 0) {
        look();
        std::this_thread::sleep_for(std::chrono::microseconds(200)); // readers may come first
    }
    for (std::thread &thread : threads)
        thread.join();
}

/* Writers own disjoint keys, so that each knows what it must find; a reader that holds the lock
 * itself walks all and looks up neighbours by the plain operation. */
TEST(LockedTree, ServesSeveralThreads) {
    constexpr int writers = 3;
    constexpr int each = 400;
    zoextent(zoeavl_host());
    ZOEAVLExtension *const extension = zoeavl(nullptr, nullptr);
    const ZOEAVLParms parms{1, offsetof(Record, key), ZOEAVL_KEYTYPE_I64, 0, nullptr, 0};
    ZOEAVLTree *const tree = extension->Create(extension, &parms, nullptr, "shared");
    ZOEAVL_ROOT *const root = &tree->root;
    std::vector<Record> records(writers * each);
    const auto write = [&](int w) {
        for (int step = 0; step < 40 * each; step++) {
            const int i = step % each;
            Record &record = records[static_cast<std::size_t>(w * each + i)];
            const std::int64_t key = std::int64_t{i} * 7919 % each * writers + w;
            const bool adding = step / each % 2 == 0;
            if (adding)
                record.key = key;
            ASSERT_EQ(adding ? tree->adder(root, &record.node) : tree->killer(root, &key),
                      &record.node);
            ASSERT_EQ(tree->finder(root, &key), adding ? &record.node : nullptr);
        }
    };
    look_while_written(writers, write, [&] {
        root->rw->Get(root->rw, 0, 1);
        ZOEAVLp last = nullptr;
        for (ZOEAVLp node = tree->First(root); node != nullptr; node = tree->Next(node)) {
            const std::int64_t key = reinterpret_cast<const Record *>(node)->key;
            ZOEAVLp previous = nullptr;
            ZOEAVLp next = nullptr;
            EXPECT_EQ(tree->optable->fuzzier(root, &key, &previous, &next), node);
            EXPECT_EQ(previous, std::exchange(last, node));
            EXPECT_EQ(next, tree->Next(node));
        }
        EXPECT_EQ(zoeavl_check(tree, ZOEAVL_CHECK_ORDER, stderr), 0);
        root->rw->Release(root->rw);
    });
    EXPECT_EQ(root->headptr, nullptr);
    tree->destroy(tree);
    extension->RealDestroy(extension);
}

TEST(GuardedIndex, IsSoundAtEveryLookOfAnotherThread) {
    struct Item : zoe::node {
        int key = 0;
    };
    zoe::guarded<zoe::index<Item, &Item::key>> guarded;
    std::vector<Item> items(300);
    const auto write = [&](int w) {
        for (int step = 0; step < 3000; step++) {
            Item &item = items[static_cast<std::size_t>(step * 7919 % 150 * 2 + w)];
            auto index = guarded.write();
            if (!item.is_linked()) {
                item.key = step * 31 % 1000 * 2 + w;
                index->insert(item);
            } else {
                EXPECT_TRUE(index->erase(item));
            }
        }
    };
    look_while_written(2, write, [&] {
        const auto index = guarded.read();
        const zoe::check_report report = zoe::check(*index);
        EXPECT_TRUE(report.empty()) << report;
        EXPECT_EQ(index->size(),
                  static_cast<std::size_t>(std::distance(index->begin(), index->end())));
    });
}

} // namespace
