/* Side by side: each round runs every contestant on the same keys in the same order, one after the
 * other in changing turn, and draws a fresh order for the next. */
#ifndef ZOEAVL_BENCH_ROUNDS_H
#define ZOEAVL_BENCH_ROUNDS_H

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <benchmark/benchmark.h>

#include "contestants.h"
#include "keys.h"
#include "results.h"

/* A round has at least so many operations, so that it takes long enough to be timed. */
inline constexpr std::size_t operations_a_round = 50000;
/* Trees up to this size are used once, unmeasured, ahead of each measurement. */
inline constexpr std::size_t largest_warmed_up = 100000;

/* How many rounds to run. */
inline int rounds_wanted() {
    const char *const wanted = std::getenv("ZOEAVL_BENCH_ROUNDS");
    return wanted != nullptr ? std::max(1, std::atoi(wanted)) : 9;
}

template <class Run>
double timed(Run run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
        .count();
}

/* The value below which that part of them lies. */
inline double quantile(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size()))];
}

/* The keys of one size, in the order in which records stand in memory. */
template <class Key>
struct Data {
    using Value = typename Key::Value;
    explicit Data(std::size_t count) : random(count) {
        for (const std::size_t i : shuffled(count)) {
            present.push_back(Key::present(i));
            absent.push_back(Key::absent(i));
        }
    }
    Order shuffled(std::size_t count) {
        Order order(count);
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::shuffle(order.begin(), order.end(), random);
        return order;
    }
    /* Whole orders of the records, one after the other. */
    Order shuffled_often(std::size_t least) {
        Order order;
        while (order.size() < least) {
            const Order next = shuffled(present.size());
            order.insert(order.end(), next.begin(), next.end());
        }
        return order;
    }
    /* The records in ascending order of their keys. */
    const Order &ascending() const {
        if (by_key.empty()) {
            by_key.resize(present.size());
            std::iota(by_key.begin(), by_key.end(), std::size_t{0});
            std::sort(by_key.begin(), by_key.end(), [&](std::size_t a, std::size_t b) {
                return typename Key::Less{}(present[a], present[b]);
            });
        }
        return by_key;
    }
    std::mt19937_64 random;
    std::vector<Value> present, absent;

  private:
    mutable Order by_key;
};

template <class Contestant>
void fill(Contestant &c, std::size_t count) {
    for (std::size_t i = 0; i < count; i++)
        c.insert(i);
}

struct Row {
    std::string table, operation;
    std::size_t records;
};

/* Runs the rounds of a row and keeps the figures. `start()` opens a round; `measure(contestant)`
 * gives the time of one operation, if the contestant has it. The others are measured against the
 * first. */
template <class... Contestants>
void run_rounds(benchmark::State &state, const Row &row,
                const std::tuple<std::unique_ptr<Contestants>...> &contestants, auto start,
                auto measure) {
    constexpr std::size_t contestant_count = sizeof...(Contestants);
    std::array<std::vector<double>, contestant_count> times;
    std::size_t turn = 0;
    for (auto _ : state) {
        start();
        for (std::size_t i = 0; i < contestant_count; i++) {
            const std::size_t now = (turn + i) % contestant_count;
            std::size_t index = 0;
            const auto run = [&](auto &contestant) {
                if (index++ != now)
                    return;
                if (const std::optional<double> time = measure(contestant))
                    times[now].push_back(*time);
            };
            std::apply([&](const auto &...contestant) { (run(*contestant), ...); }, contestants);
        }
        turn++;
        state.SetIterationTime(times[0].back() * 1e-9);
    }
    const std::array names = {Contestants::name...};
    const std::array kinds = {Contestants::kind...};
    for (std::size_t i = 0; i < contestant_count; i++) {
        if (times[i].empty())
            continue;
        std::vector<double> ratios;
        for (std::size_t round = 0; round < times[i].size(); round++)
            ratios.push_back(times[i][round] / times[0][round]);
        const double ratio = quantile(ratios, 0.5);
        state.counters[names[i]] = ratio;
        keep({row.table, row.operation, row.records, names[i], this_build, kinds[i],
              quantile(times[i], 0.25), ratio});
    }
}

/* A row of an operation on so many records. */
template <class Key, class Operation, class... Contestants>
void compare(benchmark::State &state, const std::string &table) {
    const auto count = static_cast<std::size_t>(state.range(0));
    Data<Key> data(count);
    Order order, warm_up;
    using First = std::tuple_element_t<0, std::tuple<Contestants...>>;
    static_assert(requires(First & first) { Operation::run(data, first, order); });
    const auto contestants = std::make_tuple(std::make_unique<Contestants>(data.present)...);
    if (!Operation::changes_tree)
        std::apply([&](const auto &...contestant) { (fill(*contestant, count), ...); },
                   contestants);
    run_rounds(
        state, {table, Operation::name, count}, contestants,
        [&] {
            order = data.shuffled_often(operations_a_round);
            warm_up = data.shuffled(count <= largest_warmed_up ? count : 0);
        },
        [&](auto &contestant) -> std::optional<double> {
            if constexpr (requires { Operation::run(data, contestant, order); }) {
                if (!warm_up.empty())
                    Operation::run(data, contestant, warm_up);
                return Operation::run(data, contestant, order);
            }
            return std::nullopt;
        });
}

/* So few rounds as make large trees bearable. */
inline int rounds_of(std::size_t records) {
    return records > largest_warmed_up ? (rounds_wanted() + 2) / 3 : rounds_wanted();
}

/* A row for each of these operations and sizes, under the heading `table`. */
template <class Key, class... Contestants>
struct Rows {
    std::string table = Key::name;
    std::vector<std::size_t> sizes = {100, 1000, 10000, 100000, 1000000};

    template <class... Operations>
    void offer() const {
        (offer_one<Operations>(), ...);
    }

  private:
    template <class Operation>
    void offer_one() const {
        for (const std::size_t size : sizes)
            benchmark::RegisterBenchmark((table + "/" + Operation::name).c_str(),
                                         [title = table](benchmark::State &state) {
                                             compare<Key, Operation, Contestants...>(state, title);
                                         })
                ->Arg(static_cast<std::int64_t>(size))
                ->Iterations(rounds_of(size))
                ->UseManualTime()
                ->Unit(benchmark::kNanosecond);
    }
};

#endif
