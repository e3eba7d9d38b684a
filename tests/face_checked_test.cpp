/* Checked mode: misuse that can be seen throws and changes nothing. */
#define ZOEAVL_CHECKED
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "zoeavl.hpp"

namespace {

struct Record : zoe::node {
    int key = 0;
};
using Index = zoe::index<Record, &Record::key>;

TEST(CheckedIndex, SaysWhatIsWrong) {
    std::vector<Record> records(20);
    Index index;
    Index other;
    for (std::size_t i = 0; i < records.size(); i++) {
        records[i].key = static_cast<int>(2 * (i < 10 ? i : i - 5)); // some of them in both
        (i < 10 ? index : other).insert(records[i]);
    }
    Record loose;
    loose.key = 1;
    Index empty;
    const auto of_loose = [&] { // whose record was removed since
        index.insert(loose);
        auto place = index.iterator_to(loose);
        index.erase(loose);
        return place;
    };
    Record unlike;
    unlike.key = 5;
    const std::pair<const char *, std::function<void()>> slips[] = {
        {"the record is in an index already", [&] { index.insert(records[3]); }},
        {"the record is in an index already", [&] { other.insert(records[3]); }},
        {"the record is in an index already",
         [&] { index.find_or_insert([&]() -> Record & { return records[15]; }, 31); }},
        {"the record that was made hasn't the key that was asked for",
         [&] { index.find_or_insert([&]() -> Record & { return unlike; }, 7); }},
        {"the record is in no index", [&] { (void)index.iterator_to(loose); }},
        {"the iterator's record isn't found at its place in this index",
         [&] { index.erase(other.begin()); }},
        {"the iterator's record isn't found at its place in this index",
         [&] { empty.erase(other.begin(), other.end()); }},
        {"the iterator's record isn't found at its place in this index",
         [&] { index.erase(other.begin(), index.end()); }},
        {"the range ends ahead of its beginning",
         [&] { index.erase(index.find(8), index.find(4)); }},
        {"the range ends ahead of its beginning", [&] { index.erase(index.end(), index.find(4)); }},
        {"the record is in no index", [&] { index.erase(of_loose()); }},
        {"the record is in no index", [&] { ++of_loose(); }},
        {"the record is in no index", [&] { --of_loose(); }},
        {"an iterator of no index was decremented", [&] { --Index::iterator(); }},
        {"the end was erased", [&] { index.erase(index.end()); }},
        {"the end was dereferenced", [&] { (void)*index.end(); }},
        {"the end was incremented", [&] { ++index.end(); }},
        {"the beginning was decremented", [&] { --index.begin(); }},
        {"the end was dereferenced", [&] { (void)Index().front(); }},
        {"the beginning was decremented", [&] { (void)Index().back(); }},
    };
    for (const auto &[words, slip] : slips) {
        try {
            slip();
            ADD_FAILURE() << "unseen: " << words;
        } catch (const std::logic_error &seen) {
            EXPECT_EQ(std::string("zoeavl: ") + words, seen.what());
        }
        EXPECT_EQ(index.size(), 10U);
        EXPECT_EQ(std::distance(index.begin(), index.end()), 10);
        EXPECT_EQ(other.size(), 10U);
    }
    EXPECT_TRUE(index.insert(loose).second);
    EXPECT_EQ(index.erase(index.iterator_to(loose))->key, 2);
    EXPECT_TRUE(other.insert(loose).second) << "a record that was removed may go in elsewhere";
    other.erase(other.begin(), other.end());
    EXPECT_TRUE(other.empty());
}

TEST(CheckedIndex, LooksForFaultsAheadOfBatches) {
    std::vector<Record> records(30);
    Index index;
    Index other;
    for (std::size_t i = 0; i < 20; i++) {
        records[i].key = static_cast<int>(i);
        index.insert(records[i]);
    }
    const std::vector<int> wanted{3, 4};
    std::vector<Record *> out(2);
    const std::function<void()> batches[] = {
        [&] { index.find_many(wanted, out.begin()); },
        [&] { index.erase_many(wanted, out.begin()); },
        [&] { index.insert_many(std::vector<Record *>{}); },
        [&] { index.assign_sorted(std::vector<Record *>{}); },
        [&] { index.assign(std::vector<Record *>{}); },
        [&] { index.for_each([](Record &) {}); },
        [&] { index.for_each(3, 4, [](Record &) {}); },
        [&] { (void)index.split(10); },
        [&] { (void)index.extract_range(3, 4); },
        [&] { index.join(std::move(other)); },
        [&] { other.join(std::move(index)); },
        [&] { index.merge(other); },
        [&] { other.merge(index); },
        [&] { (void)index.appender(); },
    };
    records[7].key = 100;
    for (const auto &batch : batches) {
        EXPECT_THROW(batch(), std::logic_error);
        EXPECT_EQ(index.size(), 20U);
    }
    records[7].key = 7;
    index.find_many(wanted, out.begin());
    EXPECT_EQ(out[1], &records[4]);
}

} // namespace
