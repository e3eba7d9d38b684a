/* What every locked tree must do: take the lock once, in the mode of the operation, on every path,
 * and touch nothing that the lock guards while it isn't held. */
#ifndef ZOEAVL_TESTS_LOCK_DISCIPLINE_H
#define ZOEAVL_TESTS_LOCK_DISCIPLINE_H

#include "guarded.h"
#include "operations.h"
#include "recording_host.h"

/* A locked tree of which everything is wrong at the wrong time. While the lock isn't held, records,
 * sought keys and outputs can't be touched, and the root's `keylen` and head aren't the tree's (but
 * for the neighbour lookup, which reads the head ahead of the lock). While it is held, `keyoff`
 * isn't, nor that head, and another lock is to be released. Its table is there while it is held;
 * `generic` operations go by that: they take the lock for writing, whatever they do, and read
 * nothing of the root themselves. */
class LockedTree {
  public:
    struct Record : KeyedRecord {
        ZOEAVLp previous, next;
    };
    static constexpr std::size_t count = 64;

    /* A tree like that one, under the host's lock, of which the page up to its head is closed. */
    LockedTree(RecordingHost &host_, const ZOEAVLTree &like, bool generic_)
        : host(host_), generic(generic_), table(like.optable),
          head_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + 1),
          page((head_page.end() - head_page.begin()) / 2),
          tree(new (head_page.begin() + page - offsetof(ZOEAVLTree, root.keyoff)) ZOEAVLTree(like)),
          guarded((count + 1) * sizeof(Record)), records(new (guarded.begin()) Record[count + 1]{}),
          probe(records[count]), wrong(reinterpret_cast<ZOEAVLp>(guarded.end())),
          right(tree->root) {
        host.on_get = [this] {
            open();
            tree->root = {reads_head_ahead ? wrong : right.headptr, generic ? right.keyoff : -1,
                          right.keylen, &other.lock};
        };
        other.on_release = [this] {
            if (!reads_head_ahead)
                right.headptr = tree->root.headptr;
            let_go();
        };
    }
    ~LockedTree() {
        std::destroy_n(records, count + 1);
        host.on_get = nullptr;
    }
    LockedTree(const LockedTree &) = delete;
    LockedTree &operator=(const LockedTree &) = delete;

    ZOEAVLp add(Record &record) {
        return run("Get 1 1", [&] { return tree->adder(&tree->root, &record.node); });
    }
    ZOEAVLp find(const void *key) {
        return run(look, [&] { return tree->finder(&tree->root, key); });
    }
    ZOEAVLp find_with_neighbours(const void *key) {
        reads_head_ahead = !generic;
        const ZOEAVLp found = run(
            look, [&] { return tree->fuzzier(&tree->root, key, &probe.previous, &probe.next); });
        reads_head_ahead = false;
        return found;
    }
    ZOEAVLp remove(const void *key) {
        return run("Get 1 1", [&] { return tree->killer(&tree->root, key); });
    }

  private:
    template <class Operation>
    ZOEAVLp run(const char *get, Operation operation) {
        let_go();
        host.calls();
        const ZOEAVLp result = operation();
        EXPECT_EQ(host.calls(), Calls{get});
        EXPECT_EQ(other.calls(), Calls{"Release"});
        open();
        return result;
    }
    void open() {
        tree->optable = table;
        head_page.allow(PROT_READ | PROT_WRITE);
        guarded.allow(PROT_READ | PROT_WRITE);
    }
    void let_go() {
        tree->optable = nullptr;
        tree->root = {reads_head_ahead ? right.headptr : wrong, generic ? -1 : right.keyoff, -1,
                      &host.lock};
        guarded.allow(PROT_NONE);
        if (!reads_head_ahead)
            mprotect(head_page.begin(), static_cast<std::size_t>(page), PROT_NONE);
    }

    RecordingHost &host;
    RecordingHost other;
    const bool generic;
    const char *const look = generic ? "Get 1 1" : "Get 0 1";
    const ZOEAVLOpTable *const table;
    Guarded head_page;
    std::ptrdiff_t page;
    ZOEAVLTree *tree;
    Guarded guarded;
    bool reads_head_ahead = false;

  public:
    Record *const records;
    Record &probe;

  private:
    const ZOEAVLp wrong;
    ZOEAVL_ROOT right;
};

inline void expect_lock_discipline(RecordingHost &host, const ZOEAVLTree &tree, const Type &type,
                                   bool generic = false) {
    LockedTree locked(host, tree, generic);
    const std::int32_t keyoff = tree.root.keyoff;
    const std::vector<Key> keys = sorted_keys(type, LockedTree::count + 2);
    const void *const wanted = locked.probe.field(keyoff);
    EXPECT_EQ(locked.remove(nullptr), nullptr) << "no key is read of an empty tree";
    EXPECT_EQ(locked.find(nullptr), nullptr);
    EXPECT_EQ(locked.find_with_neighbours(nullptr), nullptr);
    for (std::size_t i = 0; i < LockedTree::count; i++) { // growth, levelling, rotations
        LockedTree::Record &record = locked.records[i];
        const Key &key = keys[1 + i * 29 % LockedTree::count];
        record.set(type, keyoff, key);
        locked.probe.set(type, keyoff, key);
        EXPECT_EQ(locked.add(record), &record.node);
        EXPECT_EQ(locked.add(locked.probe), &record.node);
    }
    for (const bool removing : {false, true})
        for (const Key &key : keys) {
            locked.probe.set(type, keyoff, key);
            const ZOEAVLp found = locked.find(wanted);
            EXPECT_EQ(locked.find_with_neighbours(wanted), found);
            EXPECT_EQ(found != nullptr, &key != &keys.front() && &key != &keys.back());
            if (removing) {
                EXPECT_EQ(locked.probe.previous, nullptr);
                EXPECT_EQ(locked.remove(wanted), found);
            }
        }
}

#endif
