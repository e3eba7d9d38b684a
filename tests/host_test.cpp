/* The embedded host, and a locked tree under several threads. */
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zoeavl_host.h"
#include "zosupport.h"

namespace {

/* Does the function end the process, with a line on standard error that matches? */
#define EXPECT_FAULT(statement, line) EXPECT_DEATH((void)(statement), "zoeavl_host: " line)

TEST(EmbeddedHost, PoolsGiveAlignedBlocksAndEndThemAtOnce) {
    ZOHost *const host = zoeavl_host();
    const ZOPoolParms parms{};
    ZOPool *const pool = host->PoolCreate(host, &parms, nullptr, "test");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([pool] {
            for (std::uint64_t size = 0; size < 3000; size += size < 40 ? 1 : 7) {
                auto *const block = static_cast<char *>(pool->Alloc(pool, size, ZOPOOL_ZEROFILL));
                ASSERT_NE(block, nullptr);
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
                ASSERT_EQ(skMemNot(0, block, size), 1U);
                skMemSet(block, 0xA5, size);
                if (size % 2 == 0)
                    pool->Free(pool, block);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    pool->Free(pool, nullptr);
    EXPECT_EQ(pool->Alloc(pool, UINT64_MAX, 0), nullptr);
    pool->Destroy(pool);
}

TEST(EmbeddedHost, LocksExcludeAsAskedAndVariantsDiffer) {
    ZOHost *const host = zoeavl_host();
    for (const bool prefer_writers : {false, true}) {
        ZOLockParms parms{};
        parms.variant = prefer_writers;
        ZOLock *const lock = host->LockCreate(host, &parms, nullptr, nullptr);
        EXPECT_EQ(lock->Get(lock, 0, 1), 0U);
        EXPECT_EQ(lock->Get(lock, 0, 0), 0U) << "readers share";
        EXPECT_NE(lock->Get(lock, 1, 0), 0U) << "a writer doesn't";
        lock->Release(lock);
        lock->Release(lock);
        EXPECT_EQ(lock->Get(lock, 1, 1), 0U);
        for (const std::uint32_t wr : {0U, 1U})
            EXPECT_NE(lock->Get(lock, wr, 0), 0U);
        lock->Release(lock);
        for (const std::uint32_t wr : {0U, 1U})
            EXPECT_FAULT((lock->Get(lock, 1, 1), lock->Get(lock, wr, 1)),
                         "a lock is taken again by the thread that holds it for writing");
        lock->Destroy(lock);
    }
}

TEST(EmbeddedHost, JournalFormatsWhatItIsGiven) {
    ZOJournal *const journal = zoeavl_host_journal(nullptr);
    zolStatusToJnl(journal, 4, static_cast<std::int32_t>(ZOEAVL_STATUS_RESOURCE));
    zolMessageToJnl(journal, 4, reinterpret_cast<ZOWord>("%s is %d and %.1f"), 0, "it", 3, 0.5);
    EXPECT_STREQ(
        zoeavl_host_journal_text(journal),
        "zoeavl: level 4, status 0x803fc002: no pool, block or lock to be had\nit is 3 and 0.5\n");
    char buffer[8];
    EXPECT_EQ(zolMessageToBuf(journal, 0, reinterpret_cast<ZOWord>("%d-%d"),
                              reinterpret_cast<ZOWord>(buffer), sizeof buffer, 0, 12345, 6789),
              10);
    EXPECT_STREQ(buffer, "12345-6");
    EXPECT_STREQ(reinterpret_cast<const char *>(zolGetLocale(journal)), "C");
    zoeavl_host_journal_end(journal);
}

struct Record {
    ZOEAVLNODE node;
    std::int64_t key;
};

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
    std::atomic<bool> writing{true};
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; w++)
        threads.emplace_back([&, w] {
            for (int round = 0; round < 20; round++) {
                for (int i = 0; i < each; i++) {
                    Record &record = records[static_cast<std::size_t>(w * each + i)];
                    record.key = static_cast<std::int64_t>(i) * 7919 % each * writers + w;
                    ASSERT_EQ(tree->adder(root, &record.node), &record.node);
                    ASSERT_EQ(tree->finder(root, &record.key), &record.node);
                }
                for (int i = 0; i < each; i++) {
                    const Record &record = records[static_cast<std::size_t>(w * each + i)];
                    const std::int64_t key = record.key;
                    ASSERT_EQ(tree->killer(root, &key), &record.node);
                    ASSERT_EQ(tree->finder(root, &key), nullptr);
                }
            }
        });
    std::thread walker([&] {
        while (writing) {
            root->rw->Get(root->rw, 0, 1);
            ZOEAVLp last = nullptr;
            for (ZOEAVLp node = tree->First(root); node != nullptr; node = tree->Next(node)) {
                const std::int64_t key = reinterpret_cast<const Record *>(node)->key;
                ZOEAVLp previous = nullptr;
                ZOEAVLp next = nullptr;
                EXPECT_EQ(tree->optable->fuzzier(root, &key, &previous, &next), node);
                EXPECT_EQ(previous, last);
                EXPECT_EQ(next, tree->Next(node));
                last = node;
            }
            root->rw->Release(root->rw);
        }
    });
    for (std::thread &thread : threads)
        thread.join();
    writing = false;
    walker.join();
    EXPECT_EQ(root->headptr, nullptr);
    tree->destroy(tree);
    extension->RealDestroy(extension);
}

} // namespace
