/* Whatever an index can be asked, by two keys, against a map of the same records. */
#include <map>
#include <tuple>

#include <zoeavl.hpp>

#include "fuzz.h"

namespace {

struct Record : zoe::node {
    std::int8_t first = 0;
    unsigned char second = 0;
};
using Key = std::pair<int, unsigned>;
using Index = zoe::index<Record, &Record::first, zoe::descending<&Record::second>>;

/* The second key runs downwards. */
Key key_of(const Record &record) {
    return {record.first, 255U - record.second};
}

using Model = std::map<Key, Record *>;

void demand_alike(Index &index, const Model &model) {
    DEMAND(index.size() == model.size() && index.empty() == model.empty());
    auto forward = index.begin();
    for (const auto &[key, record] : model)
        DEMAND(&*forward++ == record);
    DEMAND(forward == index.end());
    auto backward = index.rbegin();
    for (auto it = model.rbegin(); it != model.rend(); ++it)
        DEMAND(&*backward++ == it->second);
    DEMAND(backward == index.rend());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    Record records[64];
    Index index;
    Model model;
    const auto alike = [&](Index::iterator found, Model::iterator expected) {
        return found == index.end() ? expected == model.end() : &*found == expected->second;
    };
    while (bytes.remaining_bytes() > 0) {
        const auto action = bytes.ConsumeIntegralInRange(0, 12);
        Record &record = records[bytes.ConsumeIntegral<std::uint8_t>() % std::size(records)];
        const std::int8_t first = bytes.ConsumeIntegralInRange<std::int8_t>(-4, 4);
        const unsigned char second = bytes.ConsumeIntegralInRange<unsigned char>(0, 7);
        const Key key{first, 255U - second};
        const auto here = model.find(key);
        const auto low = model.lower_bound(key);
        const auto high = model.upper_bound(key);
        const bool linked = record.is_linked();
        switch (action) {
        case 0:
        case 1:
        case 2:
            if (linked)
                break;
            record.first = first;
            record.second = second;
            if (const auto [it, inserted] = index.insert(record); inserted)
                DEMAND(&*it == &record && model.emplace(key, &record).second);
            else
                DEMAND(alike(it, here));
            break;
        case 3: {
            if (linked)
                break;
            const auto [it, made] = index.find_or_insert(
                [&]() -> Record & {
                    record.first = first;
                    record.second = second;
                    return record;
                },
                first, second);
            DEMAND(made == (here == model.end()));
            if (made)
                model.emplace(key, &record);
            DEMAND(alike(it, model.find(key)));
            break;
        }
        case 4:
            DEMAND(index.erase(record) == linked);
            if (linked)
                model.erase(key_of(record));
            break;
        case 5:
            if (here != model.end())
                DEMAND(alike(index.erase(index.find(first, second)), model.erase(here)));
            break;
        case 6:
            DEMAND(index.extract(first, second) ==
                   (here == model.end() ? nullptr : model.extract(here).mapped()));
            break;
        case 7: {
            Record *const popped = first < 0 ? index.pop_front() : index.pop_back();
            DEMAND((popped == nullptr) == model.empty());
            if (popped != nullptr)
                DEMAND(model.extract(first < 0 ? model.begin() : std::prev(model.end())).mapped() ==
                       popped);
            break;
        }
        case 8: {
            const auto [below, match, above] = index.neighbours(first, second);
            DEMAND(below == (low == model.begin() ? nullptr : std::prev(low)->second));
            DEMAND(match == (here == model.end() ? nullptr : here->second));
            DEMAND(above == (high == model.end() ? nullptr : high->second));
            DEMAND(alike(index.find(first, second), here));
            DEMAND(index.contains(first, second) == (here != model.end()));
            DEMAND(alike(index.lower_bound(first, second), low));
            DEMAND(alike(index.upper_bound(first, second), high));
            const auto same_first = index.equal_range(first);
            DEMAND(alike(same_first.begin(), model.lower_bound({first, 0})));
            DEMAND(alike(same_first.end(), model.lower_bound({first + 1, 0})));
            break;
        }
        case 9: {
            const Key bound = key_of(record);
            const auto range =
                index.between(std::tuple(first, second), std::tuple(record.first, record.second));
            const auto last = bound < key ? low : model.lower_bound(bound);
            DEMAND(range.empty() == (low == last));
            if (low == last)
                break;
            DEMAND(alike(range.begin(), low) && alike(range.end(), last));
            DEMAND(alike(index.erase(range.begin(), range.end()), model.erase(low, last)));
            break;
        }
        case 10: {
            const auto unwanted = [&](const Record &r) { return r.second == second; };
            DEMAND(erase_if(index, unwanted) == std::erase_if(model, [&](const auto &entry) {
                       return unwanted(*entry.second);
                   }));
            break;
        }
        case 11: {
            Index other(std::move(index));
            DEMAND(index.empty() && index.size() == 0);
            demand_alike(other, model);
            index = std::move(other);
            break;
        }
        default: {
            auto next = model.begin();
            index.clear([&](Record *r) { DEMAND(!r->is_linked() && next++->second == r); });
            DEMAND(next == model.end());
            model.clear();
        }
        }
        demand_alike(index, model);
    }
    return 0;
}
