/* A host that writes down every call made of it, in order, and fails the n-th if told to. */
#ifndef ZOEAVL_TESTS_RECORDING_HOST_H
#define ZOEAVL_TESTS_RECORDING_HOST_H

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "zosupport.h"

/* The names of the built-in tables, by key type from 1 on. */
inline constexpr const char *table_names[] = {
    "cbchar", "cbzochar", "cbi32",  "cbu32",   "cbi64",   "cbu64",     "cbdbl",   "cbmdbl",
    "cbia32", "cbia64",   "cbua32", "cbua64",  "cbvchar", "cbvzochar", "cbi32p",  "cbu32p",
    "cbi64p", "cbu64p",   "cbdblp", "cbmdblp", "cbia32p", "cbia64p",   "cbua32p", "cbua64p"};

class RecordingHost;

template <class Slots>
struct Recorded : Slots {
    Recorded() : Slots{} {}
    RecordingHost *owner = nullptr;
};

class RecordingHost {
  public:
    RecordingHost() {
        host.owner = pool.owner = lock.owner = journal.owner = this;
        host.PoolCreate = [](ZOHost *h, const ZOPoolParms *parms, ZOJournal *j,
                             const char *name) -> ZOPool * {
            RecordingHost *self = of(h);
            return self->granted("PoolCreate " + hex(parms, sizeof *parms) + " " + name +
                                 self->with(j))
                       ? &self->pool
                       : nullptr;
        };
        host.LockCreate = [](ZOHost *h, const ZOLockParms *parms, ZOJournal *j,
                             const char *name) -> ZOLock * {
            RecordingHost *self = of(h);
            self->lock_name = name;
            self->rw_of_tree = self->tree != nullptr ? self->tree->root.rw : nullptr;
            return self->granted("LockCreate " + hex(parms, 2) + self->with(j)) ? &self->lock
                                                                                : nullptr;
        };
        pool.Destroy = [](ZOPool *p) { of(p)->record("Pool.Destroy"); };
        pool.Alloc = [](ZOPool *p, uint64_t size, uint32_t flags) -> void * {
            RecordingHost *self = of(p);
            if (!self->granted("Alloc " + std::to_string(size) + (flags ? " zero" : "")))
                return nullptr;
            void *block = std::malloc(size + 1);
            std::memset(block, flags == ZOPOOL_ZEROFILL ? 0 : 0xA5, size);
            if (size == sizeof(ZOEAVLTree))
                self->tree = static_cast<ZOEAVLTree *>(block);
            self->live.insert(block);
            return block;
        };
        pool.Free = [](ZOPool *p, void *block) {
            RecordingHost *self = of(p);
            self->record(self->live.erase(block) ? "Free" : "Free of a stranger");
            self->freed.push_back(block);
        };
        lock.Destroy = [](ZOLock *l) { of(l)->record("Lock.Destroy"); };
        lock.Get = [](ZOLock *l, uint32_t wr, uint32_t wa) -> uint32_t {
            of(l)->record("Get " + std::to_string(wr) + " " + std::to_string(wa));
            if (of(l)->on_get)
                of(l)->on_get();
            return 77;
        };
        lock.Release = [](ZOLock *l) -> uint32_t {
            of(l)->record("Release");
            if (of(l)->on_release)
                of(l)->on_release();
            return 77;
        };
        journal.StatusToJnl = [](ZOJournal *j, ZOWord level, ZOWord status, va_list) -> ZOWord {
            char line[64];
            std::snprintf(line, sizeof line, "Status %ld %lx", level, status);
            static_cast<Recorded<ZOJournal> *>(j)->owner->record(line);
            return 0;
        };
    }
    ~RecordingHost() {
        for (void *block : live)
            std::free(block);
        for (void *block : freed)
            std::free(block);
    }
    RecordingHost(const RecordingHost &) = delete;
    RecordingHost &operator=(const RecordingHost &) = delete;

    /* The calls since the last time, in order. */
    std::vector<std::string> calls() { return std::exchange(log, {}); }
    void record(const std::string &call) { log.push_back(call); }
    void fail_at(int call) { countdown = call; }

    Recorded<ZOHost> host;
    Recorded<ZOPool> pool;
    Recorded<ZOLock> lock;
    Recorded<ZOJournal> journal;
    ZOEAVLTree *tree = nullptr; /* the last block of its size */
    const char *lock_name = nullptr;
    ZOLock *rw_of_tree = nullptr; /* while its lock was made */
    std::set<void *> live;
    std::vector<void *> freed;
    std::function<void()> on_get, on_release;

  private:
    template <class Slots>
    static RecordingHost *of(Slots *object) {
        return static_cast<Recorded<Slots> *>(object)->owner;
    }
    static std::string hex(const void *bytes, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; i++) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x",
                          static_cast<const unsigned char *>(bytes)[i]);
            text += digits;
        }
        return text;
    }
    std::string with(ZOJournal *j) const {
        return j == &journal ? " journal" : j ? " stranger" : "";
    }
    bool granted(const std::string &call) {
        record(call);
        return --countdown != 0;
    }

    std::vector<std::string> log;
    int countdown = 0;
};

using Calls = std::vector<std::string>;

#endif
