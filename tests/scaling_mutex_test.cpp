/* The scaling mutex: every interleaving of two readers and a writer, and a soak of threads. */
#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zoeavl/scaling_mutex.hpp"

namespace {

/* ---- The model: the mutex itself over words that stop at every step
 *
 * An actor is known by the answers that it has had so far. To make its next step it runs anew from
 * its start: the answers are played back, one further step is made, and the next one after that
 * throws it out. So a state of the whole can be copied, kept and compared. Stores that are not
 * sequentially consistent wait in a buffer until it is flushed, as they do in a processor; the
 * flush is a step of its own. */

struct State {
    static constexpr std::size_t actors = 3;
    std::array<std::uint64_t, 7> memory{}; /* the mutex's word, then each actor's two slots */
    std::array<std::vector<std::uint64_t>, actors> answers;
    std::array<std::vector<std::pair<std::size_t, std::uint64_t>>, actors> buffers;
    std::array<bool, actors> done{};
    int gate_readers = 0, gate_writers = 0, gate_queue = 0;
    int reading = 0, writing = 0; /* who is inside */
    [[nodiscard]] auto all() const {
        return std::tie(memory, answers, buffers, done, gate_readers, gate_writers, gate_queue,
                        reading, writing);
    }
    bool operator<(const State &other) const { return all() < other.all(); }
};

struct NextStep {};
struct Blocked {};

State *state;
std::size_t self, played;
bool stepped;
std::size_t retry_from; /* answers that a lock() which starts anew has no use for begin here */

/* Makes a step, or plays its answer back. What only its owner writes can be read at any time, so
 * that reading it is no step. */
template <class Work>
std::uint64_t step(Work work, bool own = false) {
    std::vector<std::uint64_t> &answers = state->answers[self];
    if (played == answers.size()) {
        if (stepped && !own)
            throw NextStep{};
        answers.push_back(static_cast<std::uint64_t>(work()));
        stepped = stepped || !own;
    }
    return answers[played++];
}

void flush_one(std::size_t actor) {
    auto &buffer = state->buffers[actor];
    state->memory[buffer.front().first] = buffer.front().second;
    buffer.erase(buffer.begin());
}

void fence() {
    while (!state->buffers[self].empty())
        flush_one(self);
}

struct Cell {
    std::uint64_t load(std::size_t at, bool own) const {
        return step(
            [&] {
                for (auto b = state->buffers[self].rbegin(); b != state->buffers[self].rend(); ++b)
                    if (b->first == at)
                        return b->second;
                return state->memory[at];
            },
            own);
    }
    void store(std::size_t at, std::uint64_t value, std::memory_order order) {
        step([&] {
            state->buffers[self].emplace_back(at, value);
            if (order == std::memory_order_seq_cst)
                fence();
            return 0;
        });
    }
};

struct ModelWord : Cell {
    explicit ModelWord(std::uint64_t) {}
    std::uint64_t load(std::memory_order) const { return Cell::load(0, false); }
    void store(std::uint64_t value, std::memory_order order) { Cell::store(0, value, order); }
    std::uint64_t fetch_or(std::uint64_t bits, std::memory_order) {
        return step([&] {
            fence();
            return std::exchange(state->memory[0], state->memory[0] | bits);
        });
    }
};

struct ModelSlot : Cell {
    [[nodiscard]] std::size_t place() const;
    const void *load(std::memory_order order) const {
        return reinterpret_cast<const void *>(
            Cell::load(place(), order == std::memory_order_relaxed));
    }
    void store(const void *content, std::memory_order order) {
        Cell::store(place(), reinterpret_cast<std::uint64_t>(content), order);
    }
};

using ModelRow = zoe::scaling::row<ModelSlot, 2>;

struct ModelRows {
    static ModelRows *of_this_object() {
        static ModelRows rows;
        return &rows;
    }
    ModelRow *of_this_thread() { return &all[self]; }
    [[nodiscard]] std::size_t count() const { return all.size(); }
    ModelRow &operator[](std::size_t at) { return all[at]; }
    ModelRows() {
        for (std::size_t at = 0; at < all.size(); at++)
            all[at].mark = std::uint64_t{1} << at;
    }
    std::array<ModelRow, State::actors> all;
};

std::size_t ModelSlot::place() const {
    for (std::size_t at = 0;; at++)
        for (std::size_t slot = 0; slot < 2; slot++)
            if (&(*ModelRows::of_this_object())[at].slots[slot] == this)
                return 1 + at * 2 + slot;
}

struct ModelGate {
    explicit ModelGate(zoe::preference first_) : first(first_) {}
    void lock() {
        step([] { return state->gate_queue++; });
        step([] {
            if (state->gate_readers + state->gate_writers > 0)
                throw Blocked{};
            fence();
            state->gate_queue--;
            return state->gate_writers++;
        });
    }
    bool try_lock() {
        return step([] {
            fence();
            return state->gate_readers + state->gate_writers == 0 && ++state->gate_writers;
        });
    }
    void lock_shared() {
        step([this] {
            if (!open_to_readers())
                throw Blocked{};
            fence();
            return state->gate_readers++;
        });
    }
    bool try_lock_shared() {
        return step([this] {
            fence();
            return open_to_readers() && ++state->gate_readers;
        });
    }
    void unlock() {
        step([] {
            fence();
            return (state->gate_writers > 0 ? state->gate_writers : state->gate_readers)--;
        });
    }
    [[nodiscard]] bool open_to_readers() const {
        return state->gate_writers == 0 &&
               (first == zoe::preference::readers || state->gate_queue == 0);
    }
    zoe::preference first;
};

struct ModelPlatform {
    using word = ModelWord;
    using gate = ModelGate;
    using rows = ModelRows;
    static constexpr unsigned writes_between_forgetting = 1;
    static constexpr unsigned patience = 0;
    static constexpr unsigned for_ever = ~0U;
    /* What is tried again is as if it hadn't been tried: the load of a slot, or the whole lock().
     */
    static void wait(unsigned) {
        if (stepped) {
            auto &answers = state->answers[self];
            const bool load = state->gate_writers > 0;
            answers.resize(load ? answers.size() - 1 : retry_from);
        }
        throw Blocked{};
    }
};

using ModelMutex = zoe::scaling::basic_mutex<ModelPlatform>;

void inside(int State::*mine) {
    step([&] {
        (state->*mine)++;
        EXPECT_TRUE(state->writing == 0 || state->writing + state->reading == 1);
        return 0;
    });
    step([&] { return --(state->*mine); });
}

void read(ModelMutex &mutex) {
    mutex.lock_shared();
    inside(&State::reading);
    mutex.unlock_shared();
}
void read_nested(ModelMutex &mutex) {
    mutex.lock_shared();
    read(mutex);
    inside(&State::reading);
    mutex.unlock_shared();
}
void try_to_read(ModelMutex &mutex) {
    if (mutex.try_lock_shared()) {
        inside(&State::reading);
        mutex.unlock_shared();
    }
}
void write(ModelMutex &mutex) {
    retry_from = played;
    mutex.lock();
    inside(&State::writing);
    mutex.unlock();
}
void try_to_write(ModelMutex &mutex) {
    if (mutex.try_lock()) {
        inside(&State::writing);
        mutex.unlock();
    }
}

using Actor = std::vector<void (*)(ModelMutex &)>;

/* The state after the actor's next step from `before`; nothing if the step can't be made. */
std::optional<State> after_step(const State &before, std::size_t actor, const Actor &does,
                                zoe::preference first) {
    static std::optional<ModelMutex> mutex; /* at one address, which slots hold */
    State next = before;
    state = &next;
    self = actor;
    played = 0;
    stepped = false;
    mutex.emplace(first);
    try {
        for (const auto operation : does)
            operation(*mutex);
        next.done[actor] = true;
    } catch (const NextStep &) {
    } catch (const Blocked &) {
        if (!stepped)
            return std::nullopt;
    }
    return next;
}

TEST(ScalingMutex, ExcludesAndEndsInEveryInterleaving) {
    using enum zoe::preference;
    const struct {
        zoe::preference first;
        std::array<Actor, State::actors> actors;
    } scenes[] = {
        {writers, {{{read}, {read}, {write, write}}}},
        {writers, {{{read, try_to_read}, {write}, {try_to_write}}}},
        {readers, {{{read_nested}, {}, {write}}}},
        {readers, {{{read_nested}, {try_to_read}, {try_to_write}}}},
    };
    for (const auto &scene : scenes) {
        std::map<State, std::vector<const State *>> came_from; /* each state, and those before it */
        std::vector<const State *> open;
        std::vector<const State *> ends;
        const auto reached = [&](const State &found, const State *before) {
            const auto [at, fresh] = came_from.try_emplace(found);
            if (before != nullptr)
                at->second.push_back(before);
            if (fresh)
                open.push_back(&at->first);
        };
        reached(State{}, nullptr);
        while (!open.empty() && !HasFailure()) {
            const State &now = *open.back();
            open.pop_back();
            if (now.done == std::array<bool, State::actors>{true, true, true})
                ends.push_back(&now);
            for (std::size_t actor = 0; actor < State::actors; actor++) {
                if (!now.done[actor])
                    if (const auto next = after_step(now, actor, scene.actors[actor], scene.first))
                        reached(*next, &now);
                if (!now.buffers[actor].empty()) {
                    State next = now;
                    state = &next;
                    flush_one(actor);
                    reached(next, &now);
                }
            }
        }
        /* Wherever it has got to, all actors can still come to their ends. */
        std::map<const State *, bool> can_end;
        for (open = ends; !open.empty();) {
            const State *const at = open.back();
            open.pop_back();
            if (!std::exchange(can_end[at], true))
                for (const State *before : came_from.at(*at))
                    open.push_back(before);
        }
        EXPECT_EQ(can_end.size(), came_from.size());
    }
}

/* ---- The soak -------------------------------------------------------------------------------- */

/* More threads than rows, all reading: the writer waits for the last of them, whichever it is. */
TEST(ScalingMutex, WaitsForReadersWithAndWithoutRows) {
    zoe::scaling_mutex mutex;
    constexpr std::ptrdiff_t readers = zoe::scaling::thread_rows::capacity + 4;
    std::latch reading(readers);
    std::atomic<std::ptrdiff_t> to_go{readers};
    std::vector<std::thread> threads;
    for (std::ptrdiff_t t = 0; t < readers; t++)
        threads.emplace_back([&, t] {
            const std::shared_lock hold(mutex);
            reading.arrive_and_wait();
            for (auto left = to_go.load(); left > t; left = to_go.load())
                to_go.wait(left);
        });
    reading.wait();
    for (auto thread = threads.rbegin(); thread != threads.rend(); ++thread) {
        EXPECT_FALSE(mutex.try_lock());
        to_go--;
        to_go.notify_all();
        thread->join();
    }
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(ScalingMutex, GateLetsReadersPastAWaitingWriterIfTheyComeFirst) {
    using enum zoe::preference;
    for (const auto first : {writers, readers}) {
        zoe::scaling::pthread_gate gate(first);
        gate.lock_shared();
        std::thread writer([&] {
            gate.lock();
            gate.unlock();
        });
        bool shut = false;
        for (int tries = 0; first == writers ? !shut : tries < 50; tries++) {
            shut |= !gate.try_lock_shared();
            if (!shut)
                gate.unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(shut, first == writers);
        gate.unlock();
        writer.join();
    }
}

TEST(ScalingMutex, LetsGoOfWhatAThreadsLastDestructorsHold) {
    static zoe::scaling_mutex mutex;
    std::thread([] {
        static thread_local std::shared_lock<zoe::scaling_mutex>
            lasting; // outlives the row's claim
        lasting = std::shared_lock(mutex);
    }).join();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

/* Threads that come and go read nine mutexes at once, which is more than a row takes, and write
 * one. The counts have no protection but the mutexes. */
TEST(ScalingMutex, KeepsCountsRightUnderThreadsThatComeAndGo) {
    using enum zoe::preference;
    struct Counted {
        explicit Counted(zoe::preference first) : mutex(first) {}
        zoe::scaling_mutex mutex;
        long count = 0;
        long again = 0;
    };
    std::vector<std::unique_ptr<Counted>> all;
    for (int i = 0; i < 9; i++)
        all.push_back(std::make_unique<Counted>(i % 2 == 0 ? writers : readers));
    constexpr int turns = 400;
    constexpr int team = 4;
    for (int round = 0; round < 4; round++) {
        std::vector<std::thread> threads;
        for (int t = 0; t < team; t++)
            threads.emplace_back([&, t] {
                for (int turn = 0; turn < turns; turn++) {
                    std::vector<std::shared_lock<zoe::scaling_mutex>> holds;
                    for (const auto &one : all) {
                        holds.emplace_back(one->mutex);
                        EXPECT_EQ(one->count, one->again);
                    }
                    holds.clear();
                    Counted &mine = *all[static_cast<std::size_t>(turn + t) % all.size()];
                    const std::unique_lock hold(mine.mutex);
                    mine.count++;
                    std::this_thread::yield();
                    mine.again++;
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    }
    long writes = 0;
    for (const auto &one : all)
        writes += one->again;
    EXPECT_EQ(writes, 4L * team * turns);
}

} // namespace
