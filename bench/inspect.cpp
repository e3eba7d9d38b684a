/* What the checker costs beside a plain walk, on a sound tree of records in random memory. */
#include <algorithm>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <zoeavl_inspect.h>

namespace {

struct alignas(64) Record {
    ZOEAVLNODE node;
    std::int64_t key;
};

/* A tree object with keys in an order that has nothing to do with where the records stand. */
struct Sound {
    explicit Sound(std::size_t count) : records(count) {
        std::mt19937_64 random(7);
        std::vector<std::int64_t> keys(count);
        for (std::size_t i = 0; i < count; i++)
            keys[i] = static_cast<std::int64_t>(i);
        std::shuffle(keys.begin(), keys.end(), random);
        tree.root = {nullptr, offsetof(Record, key), 1, nullptr};
        tree.optable = &cbi64;
        std::copy_n("nevo", sizeof tree.tag, tree.tag);
        for (std::size_t i = 0; i < count; i++) {
            records[i].key = keys[i];
            cbi64.adder(&tree.root, &records[i].node);
        }
    }
    std::vector<Record> records;
    ZOEAVLTree tree{};
};

void walk(benchmark::State &state) {
    Sound sound(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        for (ZOEAVLp node = ZOEAVLFirst(&sound.tree.root); node != nullptr; node = ZOEAVLNext(node))
            benchmark::DoNotOptimize(node);
}

void check(benchmark::State &state) {
    Sound sound(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        if (zoeavl_check(&sound.tree, static_cast<int>(state.range(1)), stderr) != 0)
            state.SkipWithError("the tree isn't sound");
}

BENCHMARK(walk)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(check)
    ->ArgNames({"records", "level"})
    ->ArgsProduct({{1000000}, {ZOEAVL_CHECK_LINKS, ZOEAVL_CHECK_HEIGHTS, ZOEAVL_CHECK_ORDER}})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
