/* Side by side with peers: each round runs every contestant on the same keys in the same order, one
 * after the other in changing turn, and draws a fresh order for the next. */
#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <numeric>
#include <random>
#include <tuple>

#include <benchmark/benchmark.h>

#include "contestants.h"
#include "keys.h"
#include "report.h"

namespace {

constexpr std::size_t sizes[] = {100, 1000, 10000, 100000, 1000000};

/* Small trees are measured over many repetitions, so that a round takes long enough to be timed. */
constexpr std::size_t operations_a_round = 50000;

using Clock = std::chrono::steady_clock;
using Order = std::vector<std::size_t>;

template <class Key, Extra extra = Extra::none>
using Contestants =
    std::tuple<Zoeavl<Key, extra>, BoostIntrusive<Key, AvlFamily, extra>,
               BoostIntrusive<Key, RedBlackFamily, extra>, KeySet<Key, StdFamily<Key>>,
               KeySet<Key, BtreeFamily<Key>>, GlibTree<Key>, Tsearch<Key>>;

template <class Key>
constexpr auto contestant_count = std::tuple_size_v<Contestants<Key>>;

template <class... All>
std::map<std::string, std::size_t> overheads_of(const std::tuple<All...> *) {
    return {{All::name, All::overhead}...};
}

Report &report() {
    static Report all(overheads_of(static_cast<const Contestants<I64> *>(nullptr)));
    return all;
}

/* The keys of one size, in the order in which records stand in memory. */
template <class Key>
struct Data {
    using Value = typename Key::Value;
    explicit Data(std::size_t count) : random(count) {
        Order order(count);
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t i : order) {
            present.push_back(Key::present(i));
            absent.push_back(Key::absent(i));
        }
    }
    Order fresh_order(std::size_t length) {
        Order order(length);
        for (std::size_t i = 0; i < length; i++)
            order[i] = i % present.size();
        std::shuffle(order.begin(), order.end(), random);
        return order;
    }
    std::mt19937_64 random;
    std::vector<Value> present, absent;
};

template <class Contestant>
void fill(Contestant &c, std::size_t count) {
    for (std::size_t i = 0; i < count; i++)
        c.insert(i);
}

template <class Run>
double timed(Run run) {
    const auto start = Clock::now();
    run();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

/* The operations. Each gives: whether a contestant has it, and the time of one round for an order
 * of at least `operations_a_round` records, made of whole orders of the tree's records. */

/* A look-up asks for the keys of the order, which are laid out ahead of the measurement. */
template <class Query>
struct Lookup {
    static constexpr Extra extra = Extra::none;
    static constexpr bool changes_tree = false;
    template <class Data, class Contestant>
    static double run(const Data &data, Contestant &c, const Order &order) requires requires {
        Query::ask(c, data.present[0]);
    }
    {
        std::vector<typename Data::Value> queries;
        queries.reserve(order.size());
        for (const std::size_t i : order)
            queries.push_back(Query::key(data, i));
        return timed([&] {
            for (const auto &key : queries)
                Query::ask(c, key);
        });
    }
};

struct FindPresent : Lookup<FindPresent> {
    static constexpr const char *name = "look-up, present";
    static auto key(const auto &data, std::size_t i) { return data.present[i]; }
    static void ask(auto &c, const auto &key) { benchmark::DoNotOptimize(c.find(key)); }
};
struct FindAbsent : Lookup<FindAbsent> {
    static constexpr const char *name = "look-up, absent";
    static auto key(const auto &data, std::size_t i) { return data.absent[i]; }
    static void ask(auto &c, const auto &key) { benchmark::DoNotOptimize(c.find(key)); }
};
struct Neighbours : Lookup<Neighbours> {
    static constexpr const char *name = "neighbour look-up";
    static auto key(const auto &data, std::size_t i) {
        return i % 2 == 0 ? data.present[i] : data.absent[i];
    }
    static void ask(auto &c, const auto &key) requires requires { c.neighbours(key); }
    { c.neighbours(key); }
};

/* Runs `untimed` and then `measured` on each whole order in turn; gives the time of the latter. */
double for_each_whole_order(const Order &order, std::size_t count, auto untimed, auto measured) {
    double total = 0;
    for (std::size_t start = 0; start < order.size(); start += count) {
        untimed();
        total += timed([&] { measured(order.begin() + static_cast<std::ptrdiff_t>(start)); });
    }
    return total;
}

/* The same with every record in the tree ahead of each measurement. */
double for_each_whole_order_of_full(auto &c, const Order &order, std::size_t count, auto measured) {
    return for_each_whole_order(
        order, count, [&] { c.clear(), fill(c, count); }, measured);
}

struct Insert {
    static constexpr const char *name = "insertion";
    static constexpr Extra extra = Extra::none;
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) {
        const std::size_t count = data.present.size();
        return for_each_whole_order(
            order, count, [&] { c.clear(); },
            [&](auto at) {
                for (std::size_t i = 0; i < count; i++)
                    c.insert(*at++);
            });
    }
};
struct Erase {
    static constexpr const char *name = "removal";
    static constexpr Extra extra = Extra::none;
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) {
        const std::size_t count = data.present.size();
        return for_each_whole_order_of_full(c, order, count, [&](auto at) {
            for (std::size_t i = 0; i < count; i++)
                c.erase(data.present[*at++]);
        });
    }
};
struct Walk {
    static constexpr const char *name = "ordered walk";
    static constexpr Extra extra = Extra::none;
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) requires requires { c.walk(); }
    {
        return for_each_whole_order(
            order, data.present.size(), [] {}, [&](auto) { benchmark::DoNotOptimize(c.walk()); });
    }
};
struct Flatten {
    static constexpr const char *name = "flatten to a list";
    static constexpr Extra extra = Extra::list;
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.flatten();
    }
    {
        return for_each_whole_order_of_full(c, order, data.present.size(),
                                            [&](auto) { c.flatten(); });
    }
};
struct Rekey {
    static constexpr const char *name = "re-key";
    static constexpr Extra extra = Extra::other_key;
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.rekey();
    }
    {
        return for_each_whole_order_of_full(c, order, data.present.size(),
                                            [&](auto) { c.rekey(); });
    }
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <class Key, class Operation>
void compare(benchmark::State &state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    Data<Key> data(count);
    const auto contestants = std::apply(
        [&](const auto &...type) {
            return std::make_tuple(
                std::make_unique<std::decay_t<decltype(*type)>>(data.present)...);
        },
        [&]<class... All>(const std::tuple<All...> *) {
            return std::tuple<const All *...>{};
        }(static_cast<const Contestants<Key, Operation::extra> *>(nullptr)));
    const std::size_t whole_orders = (operations_a_round + count - 1) / count;
    std::array<std::vector<double>, contestant_count<Key>> times;
    std::array<const char *, contestant_count<Key>> names{};

    if (!Operation::changes_tree)
        std::apply([&](const auto &...c) { (fill(*c, count), ...); }, contestants);
    std::size_t turn = 0;
    for (auto _ : state) {
        Order order;
        for (std::size_t i = 0; i < whole_orders; i++) {
            const Order next = data.fresh_order(count);
            order.insert(order.end(), next.begin(), next.end());
        }
        const auto run_if_able = [&](std::size_t index, auto &c) {
            if constexpr (requires { Operation::run(data, c, order); }) {
                names[index] = std::decay_t<decltype(c)>::name;
                times[index].push_back(Operation::run(data, c, order) /
                                       static_cast<double>(order.size()));
            }
        };
        const std::size_t first = turn++ % contestant_count<Key>;
        for (std::size_t i = 0; i < contestant_count<Key>; i++) {
            const std::size_t now = (first + i) % contestant_count<Key>;
            std::size_t index = 0;
            std::apply(
                [&](const auto &...c) { ((index++ == now ? run_if_able(now, *c) : void()), ...); },
                contestants);
        }
        state.SetIterationTime(times[0].back() * 1e-9 * static_cast<double>(order.size()));
    }

    Row row{Operation::name, Key::name, count, {}};
    for (std::size_t i = 0; i < times.size(); i++) {
        if (times[i].empty())
            continue;
        std::vector<double> ratios;
        for (std::size_t round = 0; round < times[i].size(); round++)
            ratios.push_back(times[i][round] / times[0][round]);
        row.figures.push_back({names[i], median(times[i]), median(ratios)});
        state.counters[names[i]] = row.figures.back().ratio;
    }
    report().add(row);
}

template <class Key, class... Operations>
void offer(int rounds) {
    const auto offer_one = [&]<class Operation>(Operation) {
        for (const std::size_t size : sizes)
            benchmark::RegisterBenchmark((std::string(Key::name) + "/" + Operation::name).c_str(),
                                         compare<Key, Operation>)
                ->Arg(static_cast<std::int64_t>(size))
                ->Iterations(size >= 1000000 ? (rounds + 2) / 3 : rounds)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
    };
    (offer_one(Operations{}), ...);
}

void write(const std::string &path, const std::string &text) {
    std::ofstream file(path);
    if (!(file << text << std::flush)) {
        std::cerr << "zoeavl_bench: can't write " << path << "\n";
        std::exit(1);
    }
}

} // namespace

int main(int argc, char **argv) {
    const char *const folder = std::getenv("ZOEAVL_BENCH_OUTPUT");
    const char *const rounds_wanted = std::getenv("ZOEAVL_BENCH_ROUNDS");
    const int rounds = rounds_wanted != nullptr ? std::max(1, std::atoi(rounds_wanted)) : 15;
    offer<I64, FindPresent, FindAbsent, Neighbours, Insert, Erase, Walk, Flatten, Rekey>(rounds);
    offer<I32, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    offer<F64, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    offer<MissingF64, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    offer<Char16, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    offer<Words, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    offer<IndirectI64, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    offer<Generated, FindPresent, FindAbsent, Neighbours, Insert, Erase>(rounds);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    if (report().empty())
        return 1;
    const std::string table = report().table();
    std::cout << "\n" << table;
    if (folder != nullptr) {
        write(std::string(folder) + "/benchmark.md", table);
        write(std::string(folder) + "/benchmark.svg", report().chart("boost avl_set", "i64"));
    }
    return 0;
}
