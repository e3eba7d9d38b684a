/* How time grows with very many records. One contestant at a time is in memory; it is built from
 * sorted records, looked up in, one key at a time and many, and read in order. */
#include <cstdlib>
#include <string_view>

#include "face.h"
#include "operations.h"
#include "tables.h"

namespace {

using Key = WideI64;

/* What the operations ask of the keys; those of so many records are too many to be sorted. */
struct Keys {
    explicit Keys(std::size_t count) : random(count), order(count), by_key(count), present(count) {
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::shuffle(order.begin(), order.end(), random);
        for (std::size_t i = 0; i < count; i++) {
            present[i] = Key::present(order[i]);
            by_key[order[i]] = i;
        }
    }
    [[nodiscard]] const Order &ascending() const { return by_key; }
    std::mt19937_64 random;
    Order order, by_key;
    std::vector<Key::Value> present;
};

template <class Contestant>
void grow(benchmark::State &state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const char *const tunables = std::getenv("GLIBC_TUNABLES");
    const bool huge = tunables != nullptr &&
                      std::string_view(tunables).find("hugetlb=1") != std::string_view::npos;
    const std::string table = huge ? "growth, huge pages" : "growth";
    const Keys keys(count);
    Contestant contestant(keys.present);
    const auto measure = [&]<class Operation>(Operation, bool many = false) {
        std::vector<double> times;
        for (int round = 0; round < (count > 4000000 ? 1 : 3); round++)
            times.push_back(Operation::run(keys, contestant, keys.order));
        state.counters[Operation::name] = quantile(times, 0.25);
        keep({table, Operation::name, count,
              std::string(Contestant::name) + (many ? ", find_many" : ""), this_build,
              Contestant::kind, quantile(times, 0.25), 0});
    };
    for (auto _ : state) {
        measure(BuildSorted{});
        measure(FindPresent{});
        if constexpr (requires { contestant.find_many(keys.present); })
            measure(FindMany{}, true);
        measure(Scan{});
    }
}

template <class Contestant>
void offer() {
    for (const std::int64_t millions : {1, 4, 16, 64})
        benchmark::RegisterBenchmark((std::string("growth/") + Contestant::name).c_str(),
                                     grow<Contestant>)
            ->Arg(millions * 1000000)
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
}

} // namespace

void offer_growth() {
    offer<FaceOfMany<Key>>();
    offer<BoostIntrusive<Key, AvlFamily>>();
    offer<KeySet<Key, BtreeFamily>>();
}
