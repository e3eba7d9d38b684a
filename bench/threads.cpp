/* Two threads on one index, each on a processor of its own: look-ups, and now and then a write that
 * takes a record out or puts it back. */
#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include <pthread.h>
#include <sched.h>

#include <absl/synchronization/mutex.h>

#include "contestants.h"
#include "rounds.h"
#include "tables.h"
#include "zoeavl.hpp"
#include "zoeavl/scaling_mutex.hpp"

namespace {

/* ---- The contestants: `find` and `put` (in or out), safe from two threads. ---- */

using Node = Record<zoe::node, I64>;
using Index = zoe::index<Node, &Node::key>;

std::vector<std::int64_t> ascending_keys(std::size_t count) {
    std::vector<std::int64_t> keys(count);
    std::iota(keys.begin(), keys.end(), 0);
    return keys;
}

/* A tree object: each operation takes the embedded host's lock, or none. */
template <bool locked>
class TreeObject {
  public:
    static constexpr const char *name = locked ? "embedded host's lock" : "no lock";
    static constexpr Kind kind = Kind::ours;
    static constexpr bool allows_writes = locked;
    explicit TreeObject(std::size_t count) : records(records_of<Node>(ascending_keys(count))) {}
    const void *find(std::int64_t key) { return tree->finder(&tree->root, &key); }
    void put(std::size_t i, bool in) {
        if (in)
            tree->adder(&tree->root, &records[i]);
        else
            tree->killer(&tree->root, &records[i].key);
    }

  private:
    std::vector<Node> records;
    zoe::tree<Node, &Node::key> owner{factory(), {.locked = locked}};
    ZOEAVLTree *tree = owner.get();
};

struct ScalingMutex : zoe::scaling_mutex {
    static constexpr const char *name = "zoe::guarded";
};
struct SharedMutex : std::shared_mutex {
    static constexpr const char *name = "zoe::guarded, std::shared_mutex";
};
template <class Mutex>
class Guarded {
  public:
    static constexpr const char *name = Mutex::name;
    static constexpr Kind kind = Kind::ours;
    static constexpr bool allows_writes = true;
    explicit Guarded(std::size_t count) : records(records_of<Node>(ascending_keys(count))) {}
    bool find(std::int64_t key) { return guarded.read()->contains(key); }
    void put(std::size_t i, bool in) {
        auto index = guarded.write();
        if (in)
            index->insert(records[i]);
        else
            index->erase(records[i]);
    }

  private:
    std::vector<Node> records;
    zoe::guarded<Index, Mutex> guarded;
};

struct BtreeAbslMutex {
    static constexpr const char *name = "absl::btree_set, absl::Mutex";
    struct Read : absl::ReaderMutexLock {
        explicit Read(BtreeAbslMutex &m) : absl::ReaderMutexLock(&m.mutex) {}
    };
    struct Write : absl::WriterMutexLock {
        explicit Write(BtreeAbslMutex &m) : absl::WriterMutexLock(&m.mutex) {}
    };
    absl::Mutex mutex;
};
struct BtreeSharedMutex : std::shared_mutex {
    static constexpr const char *name = "absl::btree_set, std::shared_mutex";
    using Read = std::shared_lock<std::shared_mutex>;
    using Write = std::unique_lock<std::shared_mutex>;
};
template <class Mutex>
class Btree {
  public:
    static constexpr const char *name = Mutex::name;
    static constexpr Kind kind = Kind::peer;
    static constexpr bool allows_writes = true;
    explicit Btree(std::size_t count) : set(ascending_keys(count)) {}
    const void *find(std::int64_t key) {
        const typename Mutex::Read lock(mutex);
        return set.find(key);
    }
    void put(std::size_t i, bool in) {
        const typename Mutex::Write lock(mutex);
        if (in)
            set.insert(i);
        else
            set.erase(static_cast<std::int64_t>(i));
    }

  private:
    Mutex mutex;
    KeySet<I64, BtreeFamily> set;
};

/* Counts to itself: what processors do when nothing is shared. */
struct Alone {
    static constexpr bool allows_writes = false;
    static std::uint64_t find(std::int64_t key) {
        auto bits = static_cast<std::uint64_t>(key);
        for (int i = 0; i < 50; i++)
            bits = bits * 6364136223846793005 + 1442695040888963407;
        return bits;
    }
};

/* ---- The measurement ---- */

/* The processors that this process may use. */
std::vector<std::size_t> processors() {
    cpu_set_t allowed;
    std::vector<std::size_t> found;
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0)
        for (std::size_t i = 0; i < CPU_SETSIZE; i++)
            if (CPU_ISSET(i, &allowed))
                found.push_back(i);
    return found;
}

void pin_to(std::size_t processor) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    pthread_setaffinity_np(pthread_self(), sizeof one, &one);
}

/* One thread's operations until `stop`, `writes` of a hundred being writes. A thread writes records
 * of its own, so that what it took out is what it puts back. Gives how many. */
template <class Contestant>
std::size_t work(Contestant &c, std::size_t count, std::size_t thread, std::uint64_t writes,
                 const std::atomic<bool> &stop) {
    std::uint64_t random = thread + 1;
    std::size_t done = 0;
    std::optional<std::size_t> out;
    for (; done % 16 != 0 || !stop.load(std::memory_order_relaxed); done++) {
        random = random * 6364136223846793005 + 1442695040888963407;
        const std::uint64_t record = (random >> 32) * count >> 32;
        if constexpr (Contestant::allows_writes) {
            if ((random >> 16 & 0xFFFF) * 100 >> 16 < writes) {
                c.put(out.value_or(record / 2 * 2 + thread), out.has_value());
                out = out ? std::nullopt : std::optional(record / 2 * 2 + thread);
                continue;
            }
        }
        benchmark::DoNotOptimize(c.find(static_cast<std::int64_t>(record)));
    }
    if constexpr (Contestant::allows_writes)
        if (out)
            c.put(*out, true);
    return done;
}

/* Nanoseconds from the end of one operation to that of the next, all threads together. */
double pace(auto &c, std::size_t count, std::size_t threads, std::uint64_t writes,
            std::chrono::milliseconds interval) {
    const std::vector<std::size_t> where = processors();
    std::atomic<bool> go = false;
    std::atomic<bool> stop = false;
    std::atomic<std::size_t> done = 0;
    std::vector<std::thread> running;
    for (std::size_t thread = 0; thread < threads; thread++)
        running.emplace_back([&, thread] {
            pin_to(where[thread]);
            while (!go)
                std::this_thread::yield();
            done += work(c, count, thread, writes, stop);
        });
    const double time = timed([&] {
        go = true;
        std::this_thread::sleep_for(interval);
        stop = true;
    });
    for (std::thread &thread : running)
        thread.join();
    return time / static_cast<double>(done);
}

/* The control: how much of so many processors a program gets that shares nothing, in percent. Less
 * than a hundred says that something else was busy. */
double processors_had(std::size_t threads) {
    using namespace std::chrono_literals;
    Alone alone;
    static double least_pace_of_one = pace(alone, 2, 1, 0, 20ms);
    least_pace_of_one = std::min(least_pace_of_one, pace(alone, 2, 1, 0, 5ms));
    return 100 * least_pace_of_one /
           (static_cast<double>(threads) * pace(alone, 2, threads, 0, 10ms));
}

template <class... Contestants>
void compare_locks(benchmark::State &state, std::size_t threads, std::uint64_t writes) {
    const auto count = static_cast<std::size_t>(state.range(0));
    if (processors().size() < threads) {
        state.SkipWithError("needs two processors");
        return;
    }
    const Row row{"locks, threads: " + std::to_string(threads),
                  "look-up, " + std::to_string(writes) + " % writes", count};
    const auto contestants = std::make_tuple(std::make_unique<Contestants>(count)...);
    const Order order = Data<I64>(count).shuffled(count);
    const auto put_all = [&](auto &c) {
        for (const std::size_t i : order)
            c.put(i, true);
    };
    std::apply([&](const auto &...c) { (put_all(*c), ...); }, contestants);
    std::vector<double> had;
    run_rounds(
        state, row, contestants, [] {},
        [&]<class Contestant>(Contestant &c) -> std::optional<double> {
            if (writes > 0 && !Contestant::allows_writes)
                return std::nullopt;
            had.push_back(processors_had(threads));
            return pace(c, count, threads, writes, std::chrono::milliseconds(40));
        });
    keep({row.table, row.operation, count, "control: processors had, %", this_build, Kind::note,
          quantile(had, 0.5), 0});
}

} // namespace

void offer_threads() {
    for (const std::size_t threads : {1, 2})
        for (const std::size_t records : {1000, 100000})
            for (const std::uint64_t writes : {0, 1, 10})
                benchmark::RegisterBenchmark(
                    ("locks, threads: " + std::to_string(threads) + "/look-up, " +
                     std::to_string(writes) + " % writes")
                        .c_str(),
                    [=](benchmark::State &state) {
                        compare_locks<Guarded<ScalingMutex>, TreeObject<true>, Guarded<SharedMutex>,
                                      Btree<BtreeAbslMutex>, Btree<BtreeSharedMutex>,
                                      TreeObject<false>>(state, threads, writes);
                    })
                    ->Arg(static_cast<std::int64_t>(records))
                    ->Iterations(rounds_wanted())
                    ->UseManualTime()
                    ->Unit(benchmark::kNanosecond);
}
