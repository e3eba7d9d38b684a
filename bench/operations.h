/* The operations. Each has a name, says what its records hold and whether it fills the tree on its
 * own (else every record is in the tree, before and after), and gives the time of one operation
 * over an order of records that is made of whole orders. A contestant that can't do it is left out.
 */
#ifndef ZOEAVL_BENCH_OPERATIONS_H
#define ZOEAVL_BENCH_OPERATIONS_H

#include "rounds.h"

/* Look-ups of so many keys are enough to measure one beyond the cache. */
inline constexpr std::size_t most_lookups = 200000;

/* The keys of an order, laid out ahead of the measurement. */
template <class Value>
std::vector<Value> queries(const std::vector<Value> &keys, const Order &order) {
    std::vector<Value> found;
    found.reserve(std::min(order.size(), most_lookups));
    for (std::size_t at = 0; at < std::min(order.size(), most_lookups); at++)
        found.push_back(keys[order[at]]);
    return found;
}

double for_each_key(const auto &keys, auto ask) {
    return timed([&] { std::for_each(keys.begin(), keys.end(), ask); }) /
           static_cast<double>(keys.size());
}

struct FindPresent {
    static constexpr const char *name = "look-up, present";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_key(queries(data.present, order),
                            [&](const auto &key) { benchmark::DoNotOptimize(c.find(key)); });
    }
};
struct FindAbsent {
    static constexpr const char *name = "look-up, absent";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_key(queries(data.absent, order),
                            [&](const auto &key) { benchmark::DoNotOptimize(c.find(key)); });
    }
};
/* Of present and absent keys in turn. */
struct Neighbours {
    static constexpr const char *name = "neighbour look-up";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.neighbours(data.present[0]);
    }
    {
        auto keys = queries(data.present, order);
        const auto absent = queries(data.absent, order);
        for (std::size_t i = 0; i < keys.size(); i += 2)
            keys[i] = absent[i];
        return for_each_key(keys, [&](const auto &key) { c.neighbours(key); });
    }
};

/* Runs `untimed` and then `measured` on each run of `length` records of the order; gives the time
 * of the latter for one record. */
double for_each_run(const Order &order, std::size_t length, auto untimed, auto measured) {
    double total = 0;
    for (std::size_t start = 0; start + length <= order.size(); start += length) {
        const auto from = order.begin() + static_cast<std::ptrdiff_t>(start);
        const Order run(from, from + static_cast<std::ptrdiff_t>(length));
        untimed(run);
        total += timed([&] { measured(run); });
    }
    return total / static_cast<double>(order.size() / length * length);
}

/* The same for whole orders, with every record in the tree ahead of each measurement. */
double for_each_order_of_full(auto &c, const Order &order, std::size_t count, auto measured) {
    return for_each_run(
        order, count, [&](const Order &) { c.clear(), fill(c, count); }, measured);
}

struct Insert {
    static constexpr const char *name = "insertion";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_run(
            order, data.present.size(), [&](const Order &) { c.clear(); },
            [&](const Order &run) {
                for (const std::size_t i : run)
                    c.insert(i);
            });
    }
};
struct Erase {
    static constexpr const char *name = "removal";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_order_of_full(c, order, data.present.size(), [&](const Order &run) {
            for (const std::size_t i : run)
                c.erase(data.present[i]);
        });
    }
};

/* What is done to the whole tree, which stays as it is. */
struct Walk {
    static constexpr const char *name = "ordered walk";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) requires requires { c.walk(); }
    {
        return for_each_run(
            order, data.present.size(), [](const Order &) {},
            [&](const Order &) { benchmark::DoNotOptimize(c.walk()); });
    }
};
struct Scan {
    static constexpr const char *name = "scan that reads each record";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) requires requires { c.scan(); }
    {
        return for_each_run(
            order, data.present.size(), [](const Order &) {},
            [&](const Order &) { benchmark::DoNotOptimize(c.scan()); });
    }
};

/* What is done to a whole tree that was filled one by one. */
struct Flatten {
    static constexpr const char *name = "flatten to a list";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.flatten();
    }
    {
        return for_each_order_of_full(c, order, data.present.size(),
                                      [&](const Order &) { c.flatten(); });
    }
};
struct Rekey {
    static constexpr const char *name = "re-key";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.rekey();
    }
    {
        return for_each_order_of_full(c, order, data.present.size(),
                                      [&](const Order &) { c.rekey(); });
    }
};

/* Many keys or records at a time; one by one by who can't do better. */
struct FindMany {
    static constexpr const char *name = "look-up of many";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) {
        if constexpr (requires { c.find_many(data.present); }) {
            const auto keys = queries(data.present, order);
            return timed([&] { c.find_many(keys); }) / static_cast<double>(keys.size());
        } else {
            return FindPresent::run(data, c, order);
        }
    }
};

/* Batches of a tenth of the records leave the tree and come back; one of the two is measured. */
void erase_all(const auto &data, auto &c, const Order &batch) {
    if constexpr (requires { c.erase_many(data.present); })
        c.erase_many(queries(data.present, batch));
    else
        for (const std::size_t i : batch)
            c.erase(data.present[i]);
}
void insert_all(auto &c, const Order &batch) {
    if constexpr (requires { c.insert_many(batch); })
        c.insert_many(batch);
    else
        for (const std::size_t i : batch)
            c.insert(i);
}
struct EraseMany {
    static constexpr const char *name = "removal of a tenth";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) {
        Order out;
        const auto put_back = [&](const Order &next) { insert_all(c, out), out = next; };
        const double time = for_each_run(order, data.present.size() / 10, put_back,
                                         [&](const Order &batch) { erase_all(data, c, batch); });
        put_back({});
        return time;
    }
};
struct InsertMany {
    static constexpr const char *name = "insertion of a tenth";
    static constexpr bool changes_tree = false;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_run(
            order, data.present.size() / 10, [&](const Order &batch) { erase_all(data, c, batch); },
            [&](const Order &batch) { insert_all(c, batch); });
    }
};

/* From an empty tree. */
struct BuildSorted {
    static constexpr const char *name = "build, sorted";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.build_sorted(order);
    }
    {
        return for_each_run(
            order, data.present.size(), [&](const Order &) { c.clear(); },
            [&](const Order &) { c.build_sorted(data.ascending()); });
    }
};
struct Build {
    static constexpr const char *name = "build, unsorted";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_run(
            order, data.present.size(), [&](const Order &) { c.clear(); },
            [&](const Order &run) {
                if constexpr (requires { c.build(run); })
                    c.build(run);
                else
                    insert_all(c, run);
            });
    }
};
struct Append {
    static constexpr const char *name = "ascending insertion";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) {
        return for_each_run(
            order, data.present.size(), [&](const Order &) { c.clear(); },
            [&](const Order &) {
                if constexpr (requires { c.append(order); })
                    c.append(data.ascending());
                else
                    insert_all(c, data.ascending());
            });
    }
};

/* A run of neighbours leaves the tree at once; the time is that of one run. */
struct Cut {
    static constexpr const char *name = "range of 1,000 cut";
    static constexpr bool changes_tree = false;
    static constexpr std::size_t length = 1000;
    static constexpr std::size_t cuts = 50;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.cut(data.present[0], data.present[0]);
    }
    {
        const Order &ascending = data.ascending();
        double total = 0;
        for (std::size_t i = 0; i < cuts; i++) {
            const std::size_t low = order[i] % (ascending.size() - length);
            total += timed([&] {
                c.cut(data.present[ascending[low]], data.present[ascending[low + length]]);
            });
            for (std::size_t at = low; at < low + length; at++)
                c.insert(ascending[at]);
        }
        return total / static_cast<double>(cuts);
    }
};
/* The records of two trees of like size, whose keys lie among each other. */
struct Merge {
    static constexpr const char *name = "merge of two halves";
    static constexpr bool changes_tree = true;
    static double run(const auto &data, auto &c, const Order &order) requires requires {
        c.merge();
    }
    {
        const auto halve = [&](const Order &run) {
            c.clear();
            for (std::size_t at = 0; at < run.size(); at += 2)
                c.insert(run[at]), c.insert_other(run[at + 1]);
        };
        return for_each_run(order, data.present.size(), halve, [&](const Order &) { c.merge(); });
    }
};

#endif
