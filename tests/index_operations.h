/* Whatever an index can be asked and told, by any kind of key, against the model: the run that unit
 * tests feed with random bytes and a fuzz target with its input. */
#ifndef ZOEAVL_TESTS_INDEX_OPERATIONS_H
#define ZOEAVL_TESTS_INDEX_OPERATIONS_H

#include <functional>
#include <iterator>
#include <stdexcept>

#include "choices.h"
#include "model.h"
#include "zoeavl.hpp"

/* How many records a range holds. */
inline constexpr auto length = [](const auto &range) {
    return std::distance(range.begin(), range.end());
};

template <class Statement>
bool is_refused(Statement statement) {
    try {
        statement();
        return false;
    } catch (const std::invalid_argument &) {
        return true;
    }
}

/* Drives an index, which is empty, with a record for each of so many ranks, and a twin of it that
 * never gets in. `set` gives a record the key of a rank, `values(rank)` is the tuple of its look-up
 * values, `links` gives a record's node. Every second step is one on many records, if they are
 * wanted: they take a compiler long. */
template <class Record, bool batches, class Index, class Set, class Values, class Links>
class IndexOperations {
  public:
    IndexOperations(Index &index_, std::size_t count_, Set set, Values values_, Links links_)
        : index(index_), values(values_), links(links_), count(count_), records(2 * count),
          present(count) {
        for (std::size_t i = 0; i < records.size(); i++)
            set(records[i], i % count);
    }

    template <class Bytes>
    void step(Bytes &bytes) {
        if constexpr (batches) {
            if (bytes.ConsumeBool()) {
                step_on_many(bytes);
                check(bytes);
                return;
            }
        }
        const auto last = count - 1;
        const std::size_t rank = some_rank(bytes);
        Record &record = records[rank];
        Record &twin = records[count + rank];
        const std::size_t place = place_of(rank);
        Record *const here = present[rank] ? &record : nullptr;
        Record *const below = record_of(expected.before(place));
        Record *const above = record_of(expected.at(place + (here ? 1 : 0)));
        const auto look = [&](auto ask) { return std::apply(ask, values(rank)); };
        look([&](const auto &...v) {
            const Index &constant = index;
            DEMAND(at(index.find(v...)) == here);
            DEMAND(at(constant.find(v...)) == here);
            DEMAND(constant.contains(v...) == (here != nullptr));
            const auto around = constant.neighbours(v...);
            DEMAND(around.below == below && around.match == here && around.above == above);
            DEMAND(at(index.lower_bound(v...)) == (here ? here : above));
            DEMAND(at(constant.upper_bound(v...)) == above);
            DEMAND(length(index.equal_range(v...)) == (here ? 1 : 0));
        });
        const auto to =
            std::min(rank + bytes.template ConsumeIntegralInRange<std::size_t>(0, 15), last);
        const auto range = index.between(bound(rank), bound(to));
        DEMAND(range.empty() == (place == place_of(to)));
        DEMAND(range.empty() || at(range.begin()) == (here ? here : above));
        DEMAND(range.empty() || at(range.end()) == record_of(expected.at(place_of(to))));
        DEMAND(index.between(bound(to), bound(rank)).empty());
        if constexpr (std::tuple_size_v < decltype(values(0)) >> 1) {
            std::ptrdiff_t alike = 0;
            for (std::size_t i = 0; i < count; i++)
                alike += present[i] && std::get<0>(values(i)) == std::get<0>(values(rank));
            DEMAND(length(index.equal_range(std::get<0>(values(rank)))) == alike);
        }

        std::vector<bool> now = present;
        switch (bytes.ConsumeIntegralInRange(0, 31)) {
        case 0:
            DEMAND(index.erase(record) == (here != nullptr));
            removed(rank);
            break;
        case 1:
            DEMAND(look([&](const auto &...v) { return index.extract(v...); }) == here);
            removed(rank);
            break;
        case 2:
            if (here != nullptr) {
                DEMAND(at(index.erase(index.iterator_to(record))) == above);
                removed(rank);
            }
            break;
        case 3:
            DEMAND(!index.erase(twin)); // equal, but not that record
            break;
        case 4:
            taken(index.pop_front(), expected.at(0));
            break;
        case 5:
            taken(index.pop_back(), expected.before(expected.order.size()));
            break;
        case 6: {
            const auto [found, made] = look([&](const auto &...v) {
                return index.find_or_insert([&]() -> Record & { return record; }, v...);
            });
            DEMAND(&*found == &record && made == (here == nullptr));
            inserted(rank);
            break;
        }
        case 7:
            DEMAND(at(index.erase(range.begin(), range.end())) == at(range.end()));
            for (std::size_t i = rank; i < to; i++)
                now[i] = false;
            become(now);
            break;
        case 8: {
            const auto unwanted = [&](const Record &r) { return rank_of(&r) % 8 == rank % 8; };
            const std::size_t before = expected.order.size();
            const std::size_t erased = erase_if(index, unwanted);
            for (std::size_t i = rank % 8; i < count; i += 8)
                now[i] = false;
            become(now);
            DEMAND(erased == before - expected.order.size());
            break;
        }
        case 9:
            if constexpr (requires { index.size(); }) {
                Index moved(std::move(index));
                DEMAND(index.empty() && index.size() == 0);
                swap(index, moved);
                moved = std::move(index);
                DEMAND(moved.size() == expected.order.size());
                index = std::move(moved);
            }
            break;
        case 10:
            if (bytes.ConsumeBool() && bytes.ConsumeBool())
                clear();
            break;
        default:
            DEMAND(&*index.insert(here ? twin : record).first == &record);
            inserted(rank);
        }
        check(bytes);
    }

    void clear() {
        std::size_t next = 0;
        index.clear([&](Record *r) { DEMAND(links(*r) == expected.at(next++)); });
        DEMAND(next == expected.order.size() && index.empty());
        become(std::vector<bool>(count));
    }

  private:
    using Records = std::vector<Record *>;

    template <class Bytes>
    void step_on_many(Bytes &bytes) {
        const std::size_t from = some_rank(bytes);
        const std::size_t to = some_rank(bytes);
        const auto split = [&](std::size_t rank) {
            return std::apply([&](const auto &...v) { return index.split(v...); }, values(rank));
        };
        const auto by_rank = [&](const Record *a, const Record *b) {
            return rank_of(a) < rank_of(b);
        };
        std::vector<bool> now = present;
        Records out;
        const auto into_out = std::back_inserter(out);
        switch (bytes.ConsumeIntegralInRange(0, 7)) {
        case 0: {
            const Picked picked = pick(bytes, some_rank(bytes) / 2, now);
            DEMAND(index.insert_many(picked.all, into_out) ==
                   picked.all.size() - picked.left_out.size());
            DEMAND(out == picked.left_out);
            break;
        }
        case 1: {
            std::vector<decltype(bound(0))> wanted;
            Records found;
            Records erased;
            for (std::size_t i = 0; i < std::min(count, std::size_t{100}); i++) {
                const std::size_t rank = some_rank(bytes);
                wanted.push_back(bound(rank));
                found.push_back(present[rank] ? &records[rank] : nullptr);
                erased.push_back(now[rank] ? &records[rank] : nullptr);
                now[rank] = false;
            }
            index.find_many(wanted, into_out);
            DEMAND(out == found);
            out.clear();
            index.erase_many(wanted, into_out);
            DEMAND(out == erased);
            break;
        }
        case 2: {
            Index upper = split(from);
            DEMAND(all(upper) == between(from, count) && all(index) == between(0, from));
            if (!index.empty() && !upper.empty()) {
                Index lowest = split(rank_of(&index.front()));
                const std::size_t size = upper.size() + lowest.size();
                DEMAND(is_refused([&] { upper.join(std::move(lowest)); }) &&
                       upper.size() + lowest.size() == size);
                index.merge(lowest);
            }
            index.join(std::move(upper));
            break;
        }
        case 3: {
            Index range = index.extract_range(bound(from), bound(to));
            DEMAND(all(range) == between(from, to));
            if (bytes.ConsumeBool()) {
                index.merge(range);
                DEMAND(range.empty());
            } else {
                range.clear();
                for (std::size_t i = from; i < to; i++)
                    now[i] = false;
            }
            break;
        }
        case 4: {
            now.assign(count, false);
            Picked picked = pick(bytes, some_rank(bytes), now);
            index.assign(picked.all, into_out);
            std::sort(picked.left_out.begin(), picked.left_out.end(), by_rank);
            DEMAND(out == picked.left_out);
            break;
        }
        case 5: {
            now.assign(count, false);
            pick(bytes, some_rank(bytes), now);
            Records sorted;
            for (std::size_t i = 0; i < count; i++)
                if (now[i])
                    sorted.push_back(&records[i]);
            if (!sorted.empty()) {
                sorted.push_back(sorted.back());
                DEMAND(is_refused([&] { index.assign_sorted(sorted); }));
                DEMAND(all(index) == between(0, count));
                sorted.pop_back();
            }
            index.assign_sorted(sorted);
            break;
        }
        case 6: {
            const auto note = [&](Record &record) { out.push_back(&record); };
            index.for_each(bound(from), bound(to), note);
            DEMAND(out == between(from, to));
            out.clear();
            index.for_each_reverse(note);
            std::reverse(out.begin(), out.end());
            DEMAND(out == between(0, count));
            auto appender = index.appender();
            Records some = pick(bytes, bytes.ConsumeBool() ? count : 8, now).all;
            std::stable_sort(some.begin() + static_cast<std::ptrdiff_t>(some.size() / 4),
                             some.end(), by_rank);
            for (Record *const record : some)
                DEMAND(appender.insert(*record).second == !is_twin(record));
            Picked rest = pick(bytes, 20, now);
            std::stable_sort(rest.all.begin(), rest.all.end(), by_rank);
            DEMAND(appender.insert_range(rest.all) == rest.all.size() - rest.left_out.size());
            break;
        }
        default: {
            Index other;
            for (Record *const record : pick(bytes, some_rank(bytes), now).all)
                if (other.insert(*record).second && is_twin(record))
                    out.push_back(record);
            std::sort(out.begin(), out.end(), by_rank);
            index.merge(other);
            DEMAND(all(other) == out && other.size() == out.size());
            other.clear();
        }
        }
        become(now);
    }

    /* Records in any order, of which those are left out whose ranks are taken: twins. */
    struct Picked {
        Records all, left_out;
    };
    template <class Bytes>
    Picked pick(Bytes &bytes, std::size_t number, std::vector<bool> &taken) {
        Picked picked;
        std::vector<bool> twice(count);
        for (; number > 0; number--) {
            const std::size_t rank = some_rank(bytes);
            if (twice[rank])
                continue;
            twice[rank] = taken[rank];
            picked.all.push_back(&records[taken[rank] ? count + rank : rank]);
            if (taken[rank])
                picked.left_out.push_back(picked.all.back());
            taken[rank] = true;
        }
        return picked;
    }

    template <class Bytes>
    void check(Bytes &bytes) {
        DEMAND(model::same(expected, expected.root()));
        DEMAND(index.empty() == expected.order.empty());
        if constexpr (requires { index.size(); }) {
            if (bytes.ConsumeBool()) { // it needn't be known from step to step
                DEMAND(index.size() == expected.order.size());
            }
        }
        auto forward = index.begin();
        for (const ZOEAVLp node : expected.order)
            DEMAND(links(*forward++) == node);
        DEMAND(forward == index.end());
        for (auto node = expected.order.rbegin(); node != expected.order.rend(); ++node)
            DEMAND(links(*--forward) == *node);
    }

    template <class Bytes>
    std::size_t some_rank(Bytes &bytes) const {
        return bytes.template ConsumeIntegralInRange<std::size_t>(0, count - 1);
    }
    std::size_t rank_of(const Record *record) const {
        return static_cast<std::size_t>(record - records.data()) % count;
    }
    bool is_twin(const Record *record) const { return record >= &records[count]; }
    static Records all(Index &other) {
        Records found;
        for (Record &record : other)
            found.push_back(&record);
        return found;
    }
    Records between(std::size_t from, std::size_t to) {
        Records found;
        for (; from < to; from++)
            if (present[from])
                found.push_back(&records[from]);
        return found;
    }

    template <class Iterator>
    auto at(Iterator place) const -> decltype(&*place) {
        return place == Iterator(index.end()) ? nullptr : &*place;
    }
    auto bound(std::size_t rank) const {
        if constexpr (std::tuple_size_v < decltype(values(0)) >> 1)
            return values(rank);
        else
            return std::get<0>(values(rank));
    }
    std::size_t place_of(std::size_t rank) const {
        return static_cast<std::size_t>(
            std::count(present.begin(), present.begin() + static_cast<std::ptrdiff_t>(rank), true));
    }
    Record *record_of(ZOEAVLp node) {
        for (Record &r : records)
            if (links(r) == node)
                return &r;
        return nullptr;
    }
    void inserted(std::size_t rank) {
        if (!present[rank])
            expected.insert(place_of(rank), links(records[rank]));
        present[rank] = true;
    }
    void removed(std::size_t rank) {
        if (present[rank])
            expected.remove(place_of(rank));
        present[rank] = false;
        DEMAND(model::words_of(links(records[rank])) == model::Words(0, 0));
    }
    /* The records of just these ranks are in it now, in a shape of its own choice. */
    void become(const std::vector<bool> &now) {
        present = now;
        expected.order.clear();
        for (Record &record : records)
            if (!is_twin(&record) && now[rank_of(&record)]) {
                expected.order.push_back(links(record));
            } else {
                DEMAND(model::words_of(links(record)) == model::Words(0, 0));
            }
        DEMAND(expected.reshape());
    }
    void taken(Record *record, ZOEAVLp node) {
        DEMAND(record == record_of(node));
        if (record != nullptr)
            removed(rank_of(record));
    }

    Index &index;
    Values values;
    Links links;
    const std::size_t count;
    std::vector<Record> records;
    std::vector<bool> present;
    model::Tree expected;
};

/* Feeds it random bytes. */
template <class Record, bool batches = false, class Index, class Set, class Values, class Links>
void run_at_random(Index &index, std::size_t count, int steps, Set set, Values values,
                   Links links) {
    IndexOperations<Record, batches, Index, Set, Values, Links> run(index, count, set, values,
                                                                    links);
    RandomBytes random;
    for (; steps > 0 && !testing::Test::HasFailure(); steps--)
        run.step(random);
    run.clear();
}

#endif
