/* What every locked tree must do: take the lock once, in the mode of the operation, on every path.
 */
#ifndef ZOEAVL_TESTS_LOCK_DISCIPLINE_H
#define ZOEAVL_TESTS_LOCK_DISCIPLINE_H

#include "model.h"
#include "recording_host.h"

struct LockedRecord {
    ZOEAVLNODE node;
    std::int32_t key;
};

/* Drives an empty tree of LockedRecord, ordered by `key`, whose lock is the host's. */
inline void expect_one_lock_an_operation(RecordingHost &host, ZOEAVLTree *tree) {
    ZOEAVL_ROOT *const root = &tree->root;
    const auto once = [&](const char *get) { EXPECT_EQ(host.calls(), (Calls{get, "Release"})); };
    host.calls();
    EXPECT_EQ(tree->killer(root, nullptr), nullptr) << "no key is read of an empty tree";
    once("Get 1 1");
    EXPECT_EQ(tree->finder(root, nullptr), nullptr);
    once("Get 0 1");
    ZOEAVLp unfound = tree->root.headptr;
    EXPECT_EQ(tree->fuzzier(root, nullptr, &unfound, nullptr), nullptr);
    once("Get 0 1");

    std::vector<LockedRecord> records(64);
    for (std::size_t i = 0; i < records.size(); i++) { // first node, growth, levelling, rotations
        records[i].key = static_cast<std::int32_t>(i * 29 % records.size());
        EXPECT_EQ(tree->adder(root, &records[i].node), &records[i].node);
        once("Get 1 1");
        LockedRecord twin = records[i];
        EXPECT_EQ(tree->adder(root, &twin.node), &records[i].node);
        once("Get 1 1");
    }
    for (std::int32_t key = -1; key <= 64; key++) {
        const ZOEAVLp found = tree->finder(root, &key);
        once("Get 0 1");
        EXPECT_EQ(tree->fuzzier(root, &key, nullptr, nullptr), found);
        once("Get 0 1");
    }
    for (std::int32_t key = 64; key >= -1; key--) {
        const ZOEAVLp removed = tree->finder(root, &key);
        host.calls();
        host.on_release = [&] {
            EXPECT_TRUE(removed == nullptr || model::words_of(removed) == model::Words(0, 0));
        };
        EXPECT_EQ(tree->killer(root, &key), removed);
        host.on_release = nullptr;
        once("Get 1 1");
    }
    EXPECT_EQ(root->headptr, nullptr);
}

#endif
