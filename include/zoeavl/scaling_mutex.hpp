/* A reader/writer mutex whose readers don't write what another thread reads at every turn.
 *
 * A reader of an ordinary reader/writer lock counts itself in the lock, so each look-up takes the
 * lock's cache line away from all other processors. Here each thread has a row of slots, and to
 * read a mutex is to store its address in a free slot of one's own row:
 *
 *     row of thread 0   [ &m | &n |    | ... ]      thread 0 reads m and n
 *     row of thread 1   [    |    |    | ... ]      thread 1 reads nothing
 *     row of thread 2   [ &m |    |    | ... ]      thread 2 reads m
 *
 * A writer takes the mutex's gate, a lock of the ordinary kind, says in the mutex's word that it
 * writes, and waits until no slot holds the address. A reader that sees a writer takes its address
 * back and goes through the gate instead. So writing costs a look at some rows, those whose threads
 * have read this mutex lately; the word has a mark for each of them. The scheme is that of Dice and
 * Kogan, "BRAVO: Biased Locking for Reader-Writer Locks" (USENIX ATC 2019), with a row for each
 * thread in place of a hash over all slots.
 *
 * Memory: 88 bytes a mutex. The rows, 128 bytes for each of 252 threads, are shared by all mutexes
 * of a program or shared object. Threads beyond that number, and a thread that reads more than
 * seven mutexes at once, read through the gate, as fast as with an ordinary lock.
 *
 * Progress: no reader passes a writer that has the gate, so readers can't starve writers. Under
 * preference::readers a writer that meets a reader who stays steps back and tries again: hence a
 * thread may read the same mutex twice whoever waits, and a writer may wait long for long readers.
 * Who waits spins for some microseconds, then sleeps. */
#ifndef ZOEAVL_SCALING_MUTEX_HPP
#define ZOEAVL_SCALING_MUTEX_HPP

#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>

namespace zoe::inline v2 {

/* Who goes first when both wait. Under `readers` alone may a thread read the same mutex twice. */
enum class preference { writers, readers };

namespace scaling {

/* A mutex's word: one bit for a writer, the others for marks of rows. */
inline constexpr std::uint64_t writing = std::uint64_t{1} << 63;
inline constexpr std::size_t mark_count = 63;

/* The slots of one thread, which alone stores in them. Two cache lines, since processors fetch
 * lines in pairs. */
template <class Slot, std::size_t Slots>
struct alignas(128) row {
    std::array<Slot, Slots> slots{};
    std::uint64_t mark = 0; /* set by the owner */
    std::atomic<bool> owned = false;

    Slot *find(const void *content) {
        for (Slot &slot : slots)
            if (slot.load(std::memory_order_relaxed) == content)
                return &slot;
        return nullptr;
    }
};

/* The mutex over a platform: the types of its atomic words, its gate, its rows and how to wait. */
template <class Platform>
class basic_mutex {
  public:
    explicit basic_mutex(preference first_ = preference::writers) : gate(first_), first(first_) {}
    basic_mutex(const basic_mutex &) = delete;
    basic_mutex &operator=(const basic_mutex &) = delete;

    /* Throws std::system_error if the calling thread writes already. */
    void lock() {
        for (unsigned round = 0;; round++) {
            pass_gate();
            if (drained(first == preference::writers ? Platform::for_ever : Platform::patience))
                return;
            step_back();
            Platform::wait(Platform::patience + round);
        }
    }

    bool try_lock() {
        if (!gate.try_lock())
            return false;
        if (drained(0))
            return true;
        step_back();
        return false;
    }

    void unlock() {
        if (++writes % Platform::writes_between_forgetting == 0)
            marks = 0;
        step_back();
    }

    /* Throws std::system_error if the calling thread writes. */
    void lock_shared() {
        if (!enter(Platform::patience))
            gate.lock_shared();
    }

    /* May fail though nobody writes, if a writer is about to or has just stepped back. */
    bool try_lock_shared() { return enter(0) || gate.try_lock_shared(); }

    /* Which of a thread's holds ends doesn't matter: a writer needs the end of all of them. */
    void unlock_shared() {
        auto *const mine = rows->of_this_thread();
        auto *const slot = mine != nullptr ? mine->find(this) : nullptr;
        if (slot != nullptr)
            slot->store(nullptr, std::memory_order_release); /* R4: see drained */
        else
            gate.unlock();
    }

  private:
    /* Reads by way of a slot, if there is no writer or it leaves within the rounds given. */
    bool enter(unsigned rounds) {
        auto *const mine = rows->of_this_thread();
        auto *const slot = mine != nullptr ? mine->find(nullptr) : nullptr;
        if (slot == nullptr)
            return false;
        for (unsigned round = 0;; round++) {
            if ((word.load(std::memory_order_relaxed) & writing) == 0 &&
                announced(*slot, mine->mark))
                return true;
            if (round == rounds)
                return false;
            Platform::wait(round);
        }
    }

    /* R1 to R3, whose argument stands at `drained`. */
    template <class Slot>
    bool announced(Slot &slot, std::uint64_t mark) {
        slot.store(this, std::memory_order_seq_cst);               /* R1 */
        std::uint64_t seen = word.load(std::memory_order_seq_cst); /* R2 */
        if ((seen & mark) == 0)
            seen = word.fetch_or(mark, std::memory_order_seq_cst); /* R2 */
        if ((seen & writing) == 0)
            return true;
        slot.store(nullptr, std::memory_order_release); /* R3 */
        return false;
    }

    /* The gate is free again within moments as a rule: a queue is worth it only after that. */
    void pass_gate() {
        for (unsigned round = 0; round < Platform::patience; round++) {
            if (gate.try_lock())
                return;
            Platform::wait(round);
        }
        gate.lock();
    }

    /* Keeps new readers off, and tells whether all that are in went within the rounds given. Called
     * with the gate held, so there is one writer, and no reader that came through the gate.
     *
     * Why no reader and writer are in together: R1, R2, W1, W2 and W3 are sequentially consistent,
     * so they have one order that all threads agree on.
     *   - R2 ahead of W1: R1 stands ahead of W3 then. The row's mark is in the word as R2 leaves it
     *     and goes only when a writer drops it, so W1 finds it (or W1 of a writer in between did,
     *     which waited for this reader). The row was taken ahead of R1, so W2 counts it. W3 reads
     *     the address, until R4. R4 is a release store and W3 acquires it: what the reader read
     *     happens before what the writer writes.
     *   - W1 ahead of R2: R2 reads the word as W1 leaves it or later. With the writer's bit in it
     *     the reader goes (R3). Without, R2 reads what W4 or another thread's R2 after it left, and
     *     W4 is a release store which R2 acquires: what the writer wrote happens before what the
     *     reader reads.
     * Writers exclude one another, and readers that came through it, by the gate, whose own order
     * needs no argument here. W4 may drop a mark that a reader's R2 has set since W1: that reader
     * saw the writer's bit and has gone. */
    bool drained(unsigned rounds) {
        marks = word.fetch_or(writing, std::memory_order_seq_cst); /* W1 */
        const std::size_t count = rows->count();                   /* W2, seq_cst as well */
        unsigned round = 0;
        for (std::uint64_t left = marks; left != 0; left &= left - 1)
            for (auto at = static_cast<std::size_t>(std::countr_zero(left)); at < count;
                 at += mark_count)
                for (const auto &slot : (*rows)[at].slots)
                    while (slot.load(std::memory_order_seq_cst) == this) { /* W3 */
                        if (round == rounds)
                            return false;
                        Platform::wait(round++);
                    }
        return true;
    }

    void step_back() {
        word.store(marks, std::memory_order_release); /* W4 */
        gate.unlock();
    }

    typename Platform::word word{0};
    typename Platform::rows *rows = Platform::rows::of_this_object();
    typename Platform::gate gate;
    std::uint64_t marks = 0; /* this and the next belong to whoever holds the gate for writing */
    unsigned writes = 0;
    preference first;
};

/* ---- The platform as it is: std::atomic, pthread's lock, rows with thread-local places ------- */

class pthread_gate {
  public:
    explicit pthread_gate(preference first) {
        pthread_rwlockattr_t attributes;
        pthread_rwlockattr_init(&attributes);
        pthread_rwlockattr_setkind_np(
            &attributes, first == preference::writers ? PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP
                                                      : PTHREAD_RWLOCK_PREFER_READER_NP);
        const int status = pthread_rwlock_init(&rwlock, &attributes);
        pthread_rwlockattr_destroy(&attributes);
        require(status);
    }
    ~pthread_gate() { pthread_rwlock_destroy(&rwlock); }
    pthread_gate(const pthread_gate &) = delete;
    pthread_gate &operator=(const pthread_gate &) = delete;

    void lock() { require(pthread_rwlock_wrlock(&rwlock)); }
    bool try_lock() { return pthread_rwlock_trywrlock(&rwlock) == 0; }
    void lock_shared() { require(pthread_rwlock_rdlock(&rwlock)); }
    bool try_lock_shared() { return pthread_rwlock_tryrdlock(&rwlock) == 0; }
    void unlock() { pthread_rwlock_unlock(&rwlock); }

  private:
    static void require(int status) {
        if (status != 0)
            throw std::system_error(status, std::generic_category(), "zoe::scaling_mutex");
    }
    pthread_rwlock_t rwlock;
};

using thread_row = row<std::atomic<const void *>, 7>;

/* The rows of this program, or of one shared object of it if names are hidden there. Each mutex
 * keeps to the rows of the object that made it, whoever calls it: so `of_this_thread` asks that
 * object, unless it is this one. */
class thread_rows {
  public:
    constexpr thread_rows(thread_row *all_, thread_row *(*claimed_)())
        : all(all_), claimed(claimed_) {}
    static thread_rows *of_this_object();

    thread_row *of_this_thread();
    std::size_t count() const { return taken.load(std::memory_order_seq_cst); }
    thread_row &operator[](std::size_t at) { return all[at]; }

    static constexpr std::size_t capacity = 4 * mark_count;

  private:
    friend class tenancy;
    thread_row *all;
    thread_row *(*claimed)();           /* the calling thread's row, or null */
    std::atomic<std::size_t> taken = 0; /* all rows that ever had an owner stand below this */
};

inline constinit thread_local thread_row *this_row [[gnu::tls_model("initial-exec")]] = nullptr;

thread_row *claimed_row();

inline constinit std::array<thread_row, thread_rows::capacity> all_rows{};
inline constinit thread_rows rows_of_this_object(all_rows.data(), claimed_row);

/* A thread's right to a row, from its first use of a mutex to its end. */
class tenancy {
  public:
    tenancy() {
        std::atomic<std::size_t> &taken = rows_of_this_object.taken;
        for (std::size_t at = 0; at < all_rows.size(); at++) {
            if (all_rows[at].owned.exchange(true, std::memory_order_acquire))
                continue;
            this_row = &all_rows[at];
            this_row->mark = std::uint64_t{1} << at % mark_count;
            for (std::size_t seen = taken;
                 seen <= at && !taken.compare_exchange_weak(seen, at + 1);)
                continue;
            return;
        }
    }
    /* A row in which something is still read stays this thread's, whose last destructors may let go
     * of it, and goes to nobody else. */
    ~tenancy() {
        if (this_row == nullptr)
            return;
        for (const auto &slot : this_row->slots)
            if (slot.load(std::memory_order_relaxed) != nullptr)
                return;
        std::exchange(this_row, nullptr)->owned.store(false, std::memory_order_release);
    }
    tenancy(const tenancy &) = delete;
    tenancy &operator=(const tenancy &) = delete;
};

inline thread_row *claimed_row() {
    static thread_local const tenancy lasting;
    return this_row;
}

inline thread_rows *thread_rows::of_this_object() {
    return &rows_of_this_object;
}

inline thread_row *thread_rows::of_this_thread() {
    return this == &rows_of_this_object && this_row != nullptr ? this_row : claimed();
}

struct thread_platform {
    using word = std::atomic<std::uint64_t>;
    using gate = pthread_gate;
    using rows = thread_rows;

    /* Marks that stayed for good would have writers look at the rows of threads that have long
     * turned to other mutexes. After so many writes they are dropped; readers set theirs anew. */
    static constexpr unsigned writes_between_forgetting = 256;
    static constexpr unsigned patience = 200; /* rounds without sleep: some microseconds */
    static constexpr unsigned for_ever = ~0U;

    /* Waits longer the higher the round: a hint to the processor, then other threads' turn, then a
     * sleep of up to a millisecond. Nobody wakes the sleeper: a reader that goes may not touch the
     * mutex any more, which the writer is free to destroy. */
    static void wait(unsigned round) {
        using std::chrono::microseconds;
        constexpr unsigned yields = 16;
        if (round < patience)
            relax();
        else if (round < patience + yields)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(microseconds(50) * (round < patience + yields + 20
                                                                ? round - patience - yields + 1
                                                                : 20));
    }

  private:
    static void relax() {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#elif defined(__aarch64__)
        asm volatile("yield");
#endif
    }
};

} // namespace scaling

/* The mutex, with what std::shared_lock and std::unique_lock ask for. */
using scaling_mutex = scaling::basic_mutex<scaling::thread_platform>;

} // namespace zoe::inline v2

#endif
