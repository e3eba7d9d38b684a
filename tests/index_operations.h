/* Whatever an index can be asked and told, by any kind of key, against the model: the run that unit
 * tests feed with random bytes and a fuzz target with its input. */
#ifndef ZOEAVL_TESTS_INDEX_OPERATIONS_H
#define ZOEAVL_TESTS_INDEX_OPERATIONS_H

#include <functional>
#include <iterator>

#include "choices.h"
#include "model.h"
#include "zoeavl.hpp"

/* How many records a range holds. */
inline constexpr auto length = [](const auto &range) {
    return std::distance(range.begin(), range.end());
};

/* Drives an index, which is empty, with a record for each of so many ranks. `set` gives a record
 * the key of a rank, `values(rank)` is the tuple of its look-up values, `links` gives a record's
 * node. */
template <class Record, class Index, class Set, class Values, class Links>
class IndexOperations {
  public:
    IndexOperations(Index &index_, std::size_t count, Set set_, Values values_, Links links_)
        : index(index_), set(set_), values(values_), links(links_), records(count), present(count) {
        for (std::size_t i = 0; i < count; i++)
            set(records[i], i);
    }

    template <class Bytes>
    void step(Bytes &bytes) {
        const auto last = records.size() - 1;
        const auto rank = bytes.template ConsumeIntegralInRange<std::size_t>(0, last);
        Record &record = records[rank];
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
            for (std::size_t i = 0; i < records.size(); i++)
                alike += present[i] && std::get<0>(values(i)) == std::get<0>(values(rank));
            DEMAND(length(index.equal_range(std::get<0>(values(rank)))) == alike);
        }

        Record other;
        set(other, rank);
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
            DEMAND(!index.erase(other)); // equal, but not that record
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
                removed(i);
            DEMAND(expected.reshape());
            break;
        case 8: {
            const auto unwanted = [&](const Record &r) {
                return static_cast<std::size_t>(&r - records.data()) % 8 == rank % 8;
            };
            const std::size_t before = expected.order.size();
            const std::size_t erased = erase_if(index, unwanted);
            for (std::size_t i = rank % 8; i < records.size(); i += 8)
                removed(i);
            DEMAND(erased == before - expected.order.size() && expected.reshape());
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
            DEMAND(&*index.insert(here ? other : record).first == &record);
            inserted(rank);
        }
        DEMAND(model::same(expected, expected.root()));
        DEMAND(index.empty() == expected.order.empty());
        if constexpr (requires { index.size(); }) {
            DEMAND(index.size() == expected.order.size());
        }
        auto forward = index.begin();
        for (const ZOEAVLp node : expected.order)
            DEMAND(links(*forward++) == node);
        DEMAND(forward == index.end());
        for (auto node = expected.order.rbegin(); node != expected.order.rend(); ++node)
            DEMAND(links(*--forward) == *node);
    }

    void clear() {
        std::size_t next = 0;
        index.clear([&](Record *r) { DEMAND(links(*r) == expected.at(next++)); });
        DEMAND(next == expected.order.size() && index.empty());
        for (std::size_t i = 0; i < records.size(); i++)
            removed(i);
    }

  private:
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
    void taken(Record *record, ZOEAVLp node) {
        DEMAND(record == record_of(node));
        if (record != nullptr)
            removed(static_cast<std::size_t>(record - records.data()));
    }

    Index &index;
    Set set;
    Values values;
    Links links;
    std::vector<Record> records;
    std::vector<bool> present;
    model::Tree expected;
};

#endif
