/* The C++ face against the model: random operations on indexes by all kinds of keys, the same on
 * tree objects and views, exceptions, and what must hold at compile time. */
#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <ranges>
#include <set>

#include "model.h"
#include "recording_host.h"
#include "zoeavl.hpp"
#include "zoeavl/check.hpp"
#include "zoeavl_host.h"

namespace {

enum class Colour : std::int8_t { low = -1, middle, high };

struct Point {
    std::int32_t x, y;
    friend auto operator<=>(const Point &, const Point &) = default;
};
struct OnlyLess {
    std::size_t value;
    friend bool operator<(const OnlyLess &a, const OnlyLess &b) { return a.value < b.value; }
};
struct Aside {
    std::int32_t unrelated = 7;
};

/* The links stand behind another base, so that a record and its links have different addresses. */
struct Record : Aside, zoe::node {
    std::int64_t i64 = 0;
    std::uint64_t u64 = 0;
    std::int32_t i32 = 0;
    std::int8_t i8 = 0;
    bool flag = false;
    Colour colour = Colour::middle;
    float f = 0;
    double d = 0;
    char text[4] = {};
    std::array<std::byte, 3> bytes{};
    std::uint32_t pair[2] = {};
    std::string string;
    ZOEAVLVaryingKey varying{};
    Point point{};
    OnlyLess less{};
    const std::int64_t *pointer = nullptr;
    std::shared_ptr<std::string> owned;
    zoe::node hook;
    ZOEAVLNODE plain{};
};

/* Sorts as `rank` does, in text of different lengths with bytes above 0x7F. */
std::string spelled(std::size_t rank) {
    return rank % 3 == 0 ? std::to_string(100 + rank)
                         : std::to_string(100 + rank - rank % 3) + std::string(rank % 3, '\x90');
}
std::int64_t far_apart(std::size_t rank) {
    return (static_cast<std::int64_t>(rank) - 50) * 0x0123456789ABCDEF;
}
double missing_or_number(std::size_t rank) {
    if (rank >= 28)
        return static_cast<double>(rank) - 60;
    const std::uint64_t bits = 0x7FF0000000000001 | (std::uint64_t{0xFF} - rank) << 40;
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/* Drives `index`, which is empty, with records of `count` ranks. `set` gives a record the key of a
 * rank, and `values(rank)` is the tuple of look-up values of it. */
template <class Index, class Set, class Values>
void drive(Index &index, std::size_t count, Set set, Values values) {
    const Index &constant = index;
    std::vector<Record> records(count);
    std::vector<bool> present(count);
    for (std::size_t i = 0; i < count; i++)
        set(records[i], i);
    model::Tree expected;
    const auto links = [&](Record &r) {
        if constexpr (std::is_same_v<typename Index::iterator,
                                     zoe::index<Record, &Record::i64>::iterator>)
            return static_cast<ZOEAVLp>(&r);
        else
            return static_cast<ZOEAVLp>(&r.hook);
    };
    const auto record_of = [&](ZOEAVLp node) -> Record * {
        for (Record &r : records)
            if (links(r) == node)
                return &r;
        return nullptr;
    };
    const auto at = [](auto place, auto end) { return place == end ? nullptr : &*place; };
    std::mt19937 random(5);
    for (int step = 0; step < 1500; step++) {
        const std::size_t rank = random() % count;
        Record &record = records[rank];
        const auto place = static_cast<std::size_t>(
            std::count(present.begin(), present.begin() + static_cast<std::ptrdiff_t>(rank), true));
        const std::size_t behind = place + (present[rank] ? 1 : 0);
        Record *const here = present[rank] ? &record : nullptr;
        Record *const above = record_of(expected.at(behind));
        const auto look = [&](auto ask) { return std::apply(ask, values(rank)); };

        look([&](const auto &...v) {
            ASSERT_EQ(at(index.find(v...), index.end()), here);
            ASSERT_EQ(at(constant.find(v...), constant.end()), here);
            ASSERT_EQ(constant.contains(v...), here != nullptr);
            const auto around = constant.neighbours(v...);
            ASSERT_EQ(around.below, record_of(expected.before(place)));
            ASSERT_EQ(around.match, here);
            ASSERT_EQ(around.above, above);
            ASSERT_EQ(at(index.lower_bound(v...), index.end()), here ? here : above);
            ASSERT_EQ(at(constant.upper_bound(v...), constant.end()), above);
            const auto equal = index.equal_range(v...);
            ASSERT_EQ(std::ranges::distance(equal), here ? 1 : 0);
        });
        bool inserted = false;
        bool removed = false;
        switch (random() % (step / 300 % 2 == 0 ? 12 : 8)) {
        case 0:
            removed = index.erase(record);
            break;
        case 1:
            removed = look([&](const auto &...v) { return index.extract(v...); }) != nullptr;
            break;
        case 2:
            if ((removed = here != nullptr)) {
                ASSERT_EQ(at(index.erase(index.iterator_to(record)), index.end()), above);
            }
            break;
        case 3: {
            Record other;
            set(other, rank);
            ASSERT_FALSE(index.erase(other)) << "equal, but not that record";
            break;
        }
        case 4: {
            Record *const first = index.pop_front();
            ASSERT_EQ(first, record_of(expected.at(0)));
            if (first != nullptr) {
                expected.remove(0);
                present[static_cast<std::size_t>(first - records.data())] = false;
            }
            break;
        }
        case 5: {
            Record *const last = index.pop_back();
            ASSERT_EQ(last, record_of(expected.before(expected.order.size())));
            if (last != nullptr) {
                expected.remove(expected.order.size() - 1);
                present[static_cast<std::size_t>(last - records.data())] = false;
            }
            break;
        }
        case 6: {
            const auto [found, made] = look([&](const auto &...v) {
                return index.find_or_insert([&]() -> Record & { return record; }, v...);
            });
            ASSERT_EQ(&*found, &record);
            inserted = made;
            break;
        }
        default: {
            Record other;
            set(other, rank);
            if (here != nullptr) {
                ASSERT_EQ(&*index.insert(other).first, here);
            } else {
                ASSERT_EQ(&*index.insert(record).first, &record);
                inserted = true;
            }
        }
        }
        if (inserted) {
            expected.insert(place, links(record));
            ASSERT_EQ(here, nullptr);
        }
        if (removed) {
            expected.remove(place);
            ASSERT_EQ(model::words_of(links(record)), model::Words(0, 0));
            ASSERT_NE(here, nullptr);
        }
        present[rank] = (present[rank] || inserted) && !removed && links(record)->llink != nullptr;
        ASSERT_TRUE(model::same(expected, expected.root())) << "step " << step;
        if constexpr (requires { index.size(); }) {
            ASSERT_EQ(index.size(), expected.order.size());
        }
    }
    index.clear();
    ASSERT_TRUE(index.empty());
    for (Record &r : records)
        ASSERT_EQ(model::words_of(links(r)), model::Words(0, 0));
}

template <auto... keys, class Set, class Values>
void drive_by(const char *name, std::size_t count, Set set, Values values) {
    SCOPED_TRACE(name);
    zoe::index<Record, keys...> index;
    drive(index, count, set, values);
}

struct ByLength {
    bool operator()(std::string_view a, std::string_view b) const {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
};
struct ThreeWay {
    int operator()(int a, int b) const { return a < b ? -5 : a - b; }
};

TEST(Index, DoesWhatTheModelDoesByEveryKindOfKey) {
    constexpr std::size_t n = 100;
    const auto one = [](auto spell) { return [=](std::size_t i) { return std::tuple(spell(i)); }; };
    const auto number = [](std::size_t i) { return static_cast<std::int32_t>(i) - 50; };

    const auto set_i64 = [](Record &r, std::size_t i) { r.i64 = far_apart(i); };
    drive_by<&Record::i64>("i64", n, set_i64, one(far_apart));
    zoe::index_on<&Record::hook, &Record::i64> by_member;
    drive(by_member, n, set_i64, one(far_apart));
    drive_by<[](const Record &r) { return r.i64; }>("callable", n, set_i64, one(far_apart));
    drive_by<zoe::by<&Record::i64, std::less<>>>("std::less", n, set_i64, one(far_apart));
    drive_by<zoe::descending<&Record::i64>>(
        "descending", n, [](Record &r, std::size_t i) { r.i64 = -far_apart(i); },
        one([](std::size_t i) { return -far_apart(i); }));
    drive_by<&Record::u64>(
        "u64", n, [](Record &r, std::size_t i) { r.u64 = i << 57; },
        one([](std::size_t i) { return i << 57; }));
    const auto set_i32 = [=](Record &r, std::size_t i) { r.i32 = number(i); };
    drive_by<&Record::i32>("i32 by int64", n, set_i32,
                           one([=](std::size_t i) { return std::int64_t{number(i)}; }));
    drive_by<zoe::by<&Record::i32, ThreeWay>>("three-way", n, set_i32, one(number));
    drive_by<zoe::by<&Record::i32, std::greater<>>>(
        "std::greater", n, [=](Record &r, std::size_t i) { r.i32 = -number(i); },
        one([=](std::size_t i) { return -number(i); }));
    drive_by<&Record::i8>(
        "i8", n, [=](Record &r, std::size_t i) { r.i8 = static_cast<std::int8_t>(number(i)); },
        one(number));
    drive_by<&Record::flag>(
        "bool", 2, [](Record &r, std::size_t i) { r.flag = i != 0; },
        one([](std::size_t i) { return i != 0; }));
    drive_by<&Record::colour>(
        "enumeration", 3,
        [=](Record &r, std::size_t i) { r.colour = static_cast<Colour>(static_cast<int>(i) - 1); },
        one([=](std::size_t i) { return static_cast<Colour>(static_cast<int>(i) - 1); }));
    drive_by<&Record::f>(
        "float", n, [=](Record &r, std::size_t i) { r.f = static_cast<float>(number(i)) / 4; },
        one([=](std::size_t i) { return number(i) / 4.0; }));
    drive_by<&Record::d>(
        "double", n, [=](Record &r, std::size_t i) { r.d = number(i); }, one(number));
    drive_by<zoe::missing<&Record::d>>(
        "missing", n, [](Record &r, std::size_t i) { r.d = missing_or_number(i); },
        one(missing_or_number));
    const auto text = [](std::size_t i) {
        return i == 0 ? std::string()
                      : std::to_string(100 + i / 3) +
                            std::string(i % 3 ? 1 : 0, static_cast<char>(0x7E + i % 3));
    };
    const auto set_text = [=](Record &r, std::size_t i) {
        std::memset(r.text, 0, sizeof r.text);
        text(i).copy(r.text, sizeof r.text);
    };
    drive_by<&Record::text>("characters", n, set_text, one(text));
    drive_by<&Record::bytes>(
        "bytes", n,
        [](Record &r, std::size_t i) {
            r.bytes = {std::byte(i * 2), std::byte(i), std::byte{0x80}};
        },
        one([](std::size_t i) {
            return std::array{std::byte(i * 2), std::byte(i), std::byte{0x80}};
        }));
    drive_by<&Record::pair>(
        "array", n,
        [](Record &r, std::size_t i) {
            r.pair[0] = i < 50 ? 5 : 0x80000000;
            r.pair[1] = static_cast<std::uint32_t>(i % 50) << 26;
        },
        one([](std::size_t i) {
            return std::array{i < 50 ? 5U : 0x80000000U, static_cast<std::uint32_t>(i % 50) << 26};
        }));
    const auto set_string = [](Record &r, std::size_t i) { r.string = spelled(i); };
    drive_by<&Record::string>("string", n, set_string, [](std::size_t i) {
        static std::string kept;
        kept = spelled(i);
        return std::tuple(std::string_view(kept));
    });
    drive_by<[](const Record &r) { return r.string + "!"; }>(
        "text made up", n, set_string, one([](std::size_t i) { return spelled(i) + "!"; }));
    drive_by<zoe::by<&Record::string, ByLength>>(
        "less-than of a caller", n,
        [](Record &r, std::size_t i) {
            r.string = std::string(i / 10 + 1, static_cast<char>('a' + i % 10));
        },
        one([](std::size_t i) {
            return std::string(i / 10 + 1, static_cast<char>('a' + i % 10));
        }));
    drive_by<&Record::varying>(
        "varying", n,
        [](Record &r, std::size_t i) {
            r.string = spelled(i);
            r.varying = {r.string.data(), static_cast<std::uint32_t>(r.string.size())};
        },
        one(spelled));
    drive_by<&Record::point>(
        "operator <=>", n,
        [=](Record &r, std::size_t i) {
            r.point = {number(i) / 10, number(i)};
        },
        one([=](std::size_t i) {
            return Point{number(i) / 10, number(i)};
        }));
    drive_by<&Record::less>(
        "operator <", n, [](Record &r, std::size_t i) { r.less = {i}; },
        one([](std::size_t i) { return OnlyLess{i}; }));
    static const std::vector<std::int64_t> pointed = [] {
        std::vector<std::int64_t> all(n);
        for (std::size_t i = 0; i < n; i++)
            all[i] = far_apart(i);
        return all;
    }();
    const auto set_pointer = [](Record &r, std::size_t i) { r.pointer = &pointed[i]; };
    drive_by<&Record::pointer>("pointer", n, set_pointer,
                               one([](std::size_t i) { return &pointed[i]; }));
    drive_by<zoe::indirect<&Record::pointer>>("indirect", n, set_pointer, one(far_apart));
    drive_by<zoe::indirect<&Record::owned>>(
        "indirect text", n,
        [](Record &r, std::size_t i) { r.owned = std::make_shared<std::string>(spelled(i)); },
        one(spelled));
    drive_by<&Record::i32, zoe::descending<&Record::string>, &Record::i8>(
        "three keys", n,
        [](Record &r, std::size_t i) {
            r.i32 = static_cast<std::int32_t>(i / 25);
            r.string = spelled(99 - i / 5);
            r.i8 = static_cast<std::int8_t>(i % 5);
        },
        [](std::size_t i) { return std::tuple(i / 25, spelled(99 - i / 5), i % 5); });
    drive_by<zoe::by<&Record::string, ByLength>, &Record::i32>(
        "less-than and more", n,
        [=](Record &r, std::size_t i) {
            r.string = std::string(i / 10, 'x');
            r.i32 = number(i);
        },
        [=](std::size_t i) { return std::tuple(std::string(i / 10, 'x'), number(i)); });
}

TEST(Index, LooksIntegersUpByValueWhateverTheirType) {
    zoe::index<Record, &Record::i32> narrow;
    zoe::index<Record, &Record::u64> wide;
    zoe::index<Record, zoe::descending<&Record::i8>> reversed;
    std::vector<Record> records(9);
    const std::int32_t numbers[] = {INT32_MIN, 0, INT32_MAX};
    for (std::size_t i = 0; i < 3; i++) {
        records[i].i32 = numbers[i];
        records[3 + i].u64 = static_cast<std::uint64_t>(i) << 63 | (i == 2 ? UINT64_MAX : 0);
        records[6 + i].i8 = static_cast<std::int8_t>(127 * static_cast<int>(i) - 127);
        narrow.insert(records[i]);
        wide.insert(records[3 + i]);
        reversed.insert(records[6 + i]);
    }
    EXPECT_FALSE(narrow.contains(std::int64_t{1} << 32));
    EXPECT_FALSE(narrow.contains(std::uint32_t{1} << 31));
    EXPECT_EQ(narrow.lower_bound(INT64_MIN), narrow.begin());
    EXPECT_EQ(narrow.lower_bound(std::uint32_t{1} << 31), narrow.end());
    EXPECT_EQ(&narrow.back(), narrow.neighbours(UINT64_MAX).below);
    EXPECT_FALSE(wide.contains(-1));
    EXPECT_EQ(wide.upper_bound(-1), wide.begin());
    EXPECT_TRUE(wide.contains(UINT64_MAX));
    EXPECT_FALSE(reversed.contains(383));
    EXPECT_EQ(reversed.lower_bound(INT64_MAX), reversed.begin());
    EXPECT_EQ(reversed.lower_bound(-128), reversed.end());
    EXPECT_EQ(&reversed.front(), &records[8]);
}

TEST(Index, ComparesCharactersToTheWholeLength) {
    zoe::index<Record, &Record::text> index;
    Record records[3];
    std::memcpy(records[0].text, "ab\0\0", 4);
    std::memcpy(records[1].text, "ab\0c", 4);
    std::memcpy(records[2].text, "abcd", 4);
    EXPECT_EQ(index.insert_range(records), 3U);
    EXPECT_EQ(&*index.find("ab"), &records[0]);
    EXPECT_EQ(&*index.find(std::string_view("ab\0c", 4)), &records[1]);
    EXPECT_EQ(&*index.find("abcd"), &records[2]);
    EXPECT_EQ(&*index.find(records[2].text), &records[2]) << "an array without an end";
    EXPECT_EQ(&*index.find(std::string("abcd\0\0", 6)), &records[2]) << "filled with zeros";
    EXPECT_FALSE(index.contains("abcde"));
    EXPECT_EQ(index.neighbours("abcde").below, &records[2]);
}

/* Every second one of texts around the lengths of four and eight, with bytes that sort first and
 * last, against the standard's order. */
template <auto key, class Index = zoe::index<Record, key>>
void order_texts() {
    std::set<std::string> texts;
    for (const char *const start : {"", "ab", "abcdef"})
        for (int spelling = 0; spelling < 256; spelling++) {
            std::string text = start;
            for (int rest = spelling; rest != 0; rest /= 4)
                text += std::string("\0a\x80\xFF", 4)[static_cast<std::size_t>(rest % 4)];
            texts.insert(text);
        }
    Index index;
    std::vector<Record> records(texts.size());
    std::size_t rank = 0;
    for (const std::string &text : texts) {
        Record &r = records[rank++];
        r.string = text;
        r.varying = {r.string.data(), static_cast<std::uint32_t>(r.string.size())};
        if (rank % 2 == 1)
            index.insert(r);
    }
    EXPECT_TRUE(std::ranges::is_sorted(index, {}, &Record::string));
    for (std::size_t i = 0; i < records.size(); i++) {
        const auto place = index.lower_bound(records[i].string);
        ASSERT_EQ(index.contains(records[i].string), i % 2 == 0);
        ASSERT_TRUE(place == index.end() ? i + 1 == records.size()
                                         : &*place == &records[i + i % 2]);
    }
}

TEST(Index, OrdersTextsAsBytesThenByLength) {
    order_texts<&Record::string>();
    order_texts<&Record::varying>();
    order_texts<zoe::prefixed<&Record::string, &Record::u64>>();
    order_texts<[](const Record &r) -> std::string_view { return r.string; }>();
}

TEST(Index, TakesPrefixesAndRangesOfSeveralKeys) {
    zoe::index<Record, &Record::i32, zoe::descending<&Record::i8>, &Record::string> index;
    std::vector<Record> records(1000);
    for (std::size_t i = 0; i < records.size(); i++) {
        records[i].i32 = static_cast<std::int32_t>(i / 100);
        records[i].i8 = static_cast<std::int8_t>(i / 10 % 10);
        records[i].string = spelled(i % 10);
    }
    std::shuffle(records.begin(), records.end(), std::mt19937(1));
    EXPECT_EQ(index.insert(records.begin(), records.end()), 1000U);
    std::vector<std::reference_wrapper<Record>> again(records.begin(), records.end());
    EXPECT_EQ(index.insert_range(again), 0U);
    const auto key = [](const Record &r) { return std::tuple(r.i32, -r.i8, r.string); };
    EXPECT_TRUE(std::ranges::is_sorted(index, {}, key));
    const auto count = [](const auto &range) { return std::distance(range.begin(), range.end()); };
    EXPECT_EQ(count(index.equal_range(3)), 100);
    EXPECT_EQ(count(index.equal_range(3, 7)), 10);
    EXPECT_EQ(count(index.equal_range(3, 7, spelled(2))), 1);
    EXPECT_EQ(count(index.equal_range(10)), 0);
    EXPECT_EQ(count(index.between(2, 5)), 300);
    EXPECT_EQ(count(index.between(std::tuple(2), 5)), 300);
    EXPECT_EQ(count(index.between(std::pair(2, 7), std::tuple(2, 5))), 20);
    EXPECT_EQ(count(index.between(std::tuple(2, 7, spelled(5)), std::pair(3, 9))), 75);
    EXPECT_TRUE(index.between(5, 2).empty());
    EXPECT_TRUE(index.between(std::pair(2, 5), std::pair(2, 7)).empty()) << "it descends";
    EXPECT_EQ(index.upper_bound(4), index.lower_bound(5));
    const auto rest = index.erase(index.lower_bound(1), index.lower_bound(9));
    EXPECT_EQ(rest->i32, 9);
    EXPECT_EQ(index.size(), 200U);
    EXPECT_EQ(zoe::erase_if(index, [](const Record &r) { return r.i8 < 4; }), 80U);
    EXPECT_EQ(std::distance(index.rbegin(), index.rend()), 120);
}

TEST(Index, MovesSwapsAndDrains) {
    using Index = zoe::index<Record, &Record::i32>;
    std::vector<Record> records(50);
    Index first;
    for (std::size_t i = 0; i < records.size(); i++)
        records[i].i32 = static_cast<std::int32_t>(i);
    first.insert_range(records);
    const Record copy = records[7];
    EXPECT_FALSE(copy.is_linked());
    Record assigned = records[8];
    records[8] = assigned;
    EXPECT_TRUE(records[8].is_linked());

    auto place = first.find(20);
    Index second = std::move(first);
    EXPECT_TRUE(first.empty()); // NOLINT(bugprone-use-after-move): a moved-from index is empty
    EXPECT_EQ(first.size(), 0U);
    EXPECT_EQ((++place)->i32, 21);
    EXPECT_EQ(second.size(), 50U);
    swap(first, second);
    EXPECT_EQ(first.back().i32, 49);
    EXPECT_TRUE(second.empty());
    second = std::move(first);

    std::int32_t next = 0;
    EXPECT_THROW(second.clear([&](Record *r) {
        EXPECT_FALSE(r->is_linked());
        EXPECT_EQ(r->i32, next++);
        r->i32 = -1;
        if (next == 30)
            throw std::runtime_error("enough");
    }),
                 std::runtime_error);
    EXPECT_TRUE(second.empty());
    EXPECT_EQ(second.size(), 0U);
    for (const Record &r : records)
        EXPECT_FALSE(r.is_linked());
    EXPECT_EQ(records[29].i32, -1);
    EXPECT_EQ(records[30].i32, 30);
    records[3].i32 = 3;
    second.insert(records[3]);
    records[3].reset();
    EXPECT_FALSE(records[3].is_linked());
}

int comparisons_left = 0;
struct Throwing {
    static void count() {
        if (comparisons_left-- == 0)
            throw std::runtime_error("comparison");
    }
    bool operator()(int a, int b) const {
        count();
        return a < b;
    }
};
struct ThrowingThreeWay {
    auto operator()(int a, int b) const {
        Throwing::count();
        return a <=> b;
    }
};

template <class Compare>
void fail_at_every_comparison() {
    zoe::index<Record, zoe::by<&Record::i32, Compare>> index;
    std::vector<Record> records(40);
    comparisons_left = INT_MAX;
    for (std::size_t i = 0; i < records.size(); i++) {
        records[i].i32 = static_cast<std::int32_t>(i * 7 % 40);
        if (i % 2 == 0)
            index.insert(records[i]);
    }
    std::vector<model::Words> before;
    for (const Record &r : records)
        before.push_back(model::words_of(const_cast<Record *>(&r)));
    const std::function<void()> operations[] = {
        [&] { index.insert(records[11]); },
        [&] { index.erase(records[12]); },
        [&] { index.erase(index.iterator_to(records[14])); },
        [&] { index.extract(records[16].i32); },
        [&] { index.find_or_insert([&]() -> Record & { return records[13]; }, records[13].i32); },
        [&] { (void)index.between(3, 30); },
    };
    for (const auto &operation : operations) {
        int thrown = 0;
        for (bool done = false; !done;) {
            comparisons_left = thrown;
            try {
                operation();
                done = true;
            } catch (const std::runtime_error &) {
                thrown++;
                for (std::size_t i = 0; i < records.size(); i++)
                    ASSERT_EQ(model::words_of(&records[i]), before[i]);
            }
        }
        EXPECT_GT(thrown, 2);
        comparisons_left = INT_MAX;
        for (std::size_t i = 0; i < records.size(); i++)
            index.erase(records[i]);
        for (std::size_t i = 0; i < records.size(); i += 2)
            index.insert(records[i]);
        for (std::size_t i = 0; i < records.size(); i++)
            before[i] = model::words_of(&records[i]);
    }
    EXPECT_THROW(index.find_or_insert([]() -> Record & { throw std::runtime_error("no record"); },
                                      records[13].i32),
                 std::runtime_error);
    EXPECT_EQ(index.size(), 20U);
    EXPECT_FALSE(index.contains(records[13].i32));
}

TEST(Index, IsAsItWasWhenAComparisonThrows) {
    fail_at_every_comparison<Throwing>();
    fail_at_every_comparison<ThrowingThreeWay>();
}

/* ---- Tree objects ----------------------------------------------------------------------------*/

class Trees : public testing::Test {
  protected:
    Trees() {
        zoextent(&host.host);
        factory = zoeavl(nullptr, nullptr);
        host.calls();
    }
    ~Trees() override { factory->RealDestroy(factory); }

    /* The members must call for that table and length; then the functions of the tree object and
     * the face do the same, on its own root and on a root word. */
    template <auto... keys, class Set, class Values>
    void expect_tree(const ZOEAVLOpTable *table, std::int32_t keylen, Set set, Values values) {
        zoe::tree<Record, keys...> tree(factory, {.name = "typed", .locked = false});
        ZOEAVLTree *const object = tree.get();
        if (table != nullptr) {
            EXPECT_EQ(std::memcmp(object->optable, table, sizeof *table), 0);
            EXPECT_EQ(object->root.keylen, keylen);
        }
        drive(*tree.write(), 60, set, values);

        const zoe::view<Record, keys...> view(object);
        std::vector<Record> records(60);
        for (std::size_t i = 0; i < records.size(); i++)
            set(records[i], i * 7 % 60);
        for (Record &r : records)
            EXPECT_EQ(object->adder(&object->root, &r), &r);
        const auto field = [&](Record &r) -> const void * {
            return reinterpret_cast<const char *>(static_cast<ZOEAVLp>(&r)) + object->root.keyoff;
        };
        std::size_t rank = 0;
        for (Record &r : view.write()) {
            Record equal;
            set(equal, rank);
            EXPECT_EQ(&r, &records[rank++ * 43 % 60]);
            EXPECT_EQ(object->finder(&object->root, field(equal)), &r);
            EXPECT_EQ(object->adder(&object->root, &equal), &r);
            ZOEAVLp previous = nullptr;
            EXPECT_EQ(object->fuzzier(&object->root, field(equal), &previous, nullptr), &r);
            EXPECT_EQ(object->Next(previous), rank == 1 ? nullptr : &r);
        }
        EXPECT_EQ(object->killer(&object->root, field(records[5])), &records[5]);
        ZOEAVLp word = nullptr;
        const zoe::view<Record, keys...> elsewhere(object, word);
        EXPECT_TRUE(elsewhere.write()->insert(records[5]).second);
        EXPECT_EQ(word, &records[5]);
        EXPECT_EQ(std::ranges::distance(*view.read()), 59);
        view.write()->clear();
    }

    RecordingHost host;
    ZOEAVLExtension *factory;
};

TEST_F(Trees, AreMadeFromWhatTheMembersSay) {
    const auto number = [](std::size_t i) { return std::tuple(static_cast<std::int32_t>(i)); };
    const auto text = [](std::size_t i) { return std::tuple(spelled(i)); };
    expect_tree<&Record::string>(
        nullptr, 1, [](Record &r, std::size_t i) { r.string = spelled(i); }, text);
    expect_tree<&Record::varying>(
        &cbvchar, 1,
        [](Record &r, std::size_t i) {
            r.string = spelled(i);
            r.varying = {r.string.data(), static_cast<std::uint32_t>(r.string.size())};
        },
        text);
    expect_tree<zoe::by<&Record::string, ByLength>, zoe::descending<&Record::i8>>(
        nullptr, 1,
        [](Record &r, std::size_t i) {
            r.string = std::string(i / 10, 'x');
            r.i8 = static_cast<std::int8_t>(9 - i % 10);
        },
        [](std::size_t i) { return std::tuple(std::string(i / 10, 'x'), 9 - i % 10); });
    static std::int64_t pointed[60];
    expect_tree<zoe::indirect<&Record::pointer>>(
        &cbi64p, 1,
        [](Record &r, std::size_t i) {
            pointed[i] = static_cast<std::int64_t>(i);
            r.pointer = &pointed[i];
        },
        number);
    expect_tree<&Record::pair>(
        &cbua32, 2, [](Record &r, std::size_t i) { r.pair[1] = static_cast<std::uint32_t>(i); },
        [](std::size_t i) {
            return std::tuple(std::array{0U, static_cast<std::uint32_t>(i)});
        });
    expect_tree<&Record::i64>(
        &cbi64, 1, [](Record &r, std::size_t i) { r.i64 = static_cast<std::int64_t>(i); }, number);
    expect_tree<&Record::i32>(
        &cbi32, 1, [](Record &r, std::size_t i) { r.i32 = static_cast<std::int32_t>(i); }, number);
    expect_tree<&Record::u64>(
        &cbu64, 1, [](Record &r, std::size_t i) { r.u64 = i; }, number);
    expect_tree<&Record::d>(
        &cbdbl, 1, [](Record &r, std::size_t i) { r.d = static_cast<double>(i); }, number);
    expect_tree<zoe::missing<&Record::d>>(
        &cbmdbl, 1, [](Record &r, std::size_t i) { r.d = static_cast<double>(i); }, number);
    expect_tree<&Record::text>(
        &cbchar, 4, [](Record &r, std::size_t i) { std::to_string(100 + i).copy(r.text, 4); },
        [](std::size_t i) { return std::tuple(std::to_string(100 + i)); });
}

TEST_F(Trees, TakeTheirLockOnceForAnAccess) {
    zoe::tree<Record, &Record::i32> tree(factory, {.name = "locked", .lock_variant = true});
    EXPECT_EQ(host.calls(), (Calls{"Alloc 224", "Alloc 6", "LockCreate 0000"}));
    Record record;
    {
        const auto writer = tree.write();
        writer->insert(record);
        (void)writer->neighbours(3);
        EXPECT_EQ(zoe::erase_if(*writer, [](const Record &) { return false; }), 0U);
    }
    EXPECT_EQ(host.calls(), (Calls{"Get 1 1", "Release"}));
    for (const Record &r : tree.read()) {
        EXPECT_EQ(&r, &record);
        EXPECT_EQ(host.calls(), Calls{"Get 0 1"});
    }
    EXPECT_EQ(host.calls(), Calls{"Release"});
    auto moved = std::move(tree);
    EXPECT_TRUE(moved.read()->contains(0));
    tree = zoe::tree<Record, &Record::i32>(factory, {.locked = false});
    EXPECT_TRUE(tree.read()->empty());
    host.calls();
    tree = std::move(moved);
    EXPECT_EQ(host.calls(), Calls{"Free"}) << "the tree that it had, without a lock";
    EXPECT_TRUE(tree.read()->contains(0));
    EXPECT_THROW((zoe::tree<Record, &Record::i32>(nullptr)), std::invalid_argument);
    host.fail_at(1);
    EXPECT_THROW((zoe::tree<Record, &Record::i32>(factory)), std::runtime_error);
}

TEST_F(Trees, AreRefusedWhereTheMembersSayOtherwise) {
    const auto words_of_refusal = [&](ZOEAVLParms parms, auto change) -> std::string {
        ZOEAVLTree *const tree = factory->Create(factory, &parms, nullptr, nullptr);
        change(tree);
        try {
            const zoe::view_on<&Record::plain, &Record::i32> view(tree);
            return "taken";
        } catch (const std::invalid_argument &refusal) {
            return refusal.what();
        }
    };
    const auto nothing = [](ZOEAVLTree *) {};
    const auto offset = static_cast<std::int32_t>(zoe::detail::offset_of(&Record::i32) -
                                                  zoe::detail::offset_of(&Record::plain));
    const std::string wanted = "zoeavl: the members call for table cbi32, offset " +
                               std::to_string(offset) + ", length 1; the tree has ";
    const std::string at = ", offset " + std::to_string(offset);
    const ZOEAVLParms good{1, offset, ZOEAVL_KEYTYPE_I32, 0, nullptr, 0};
    EXPECT_EQ(words_of_refusal(good, nothing), "taken");
    ZOEAVLParms bad = good;
    bad.keytype = ZOEAVL_KEYTYPE_U32;
    EXPECT_EQ(words_of_refusal(bad, nothing), wanted + "table cbu32" + at + ", length 1");
    bad = good;
    bad.keyoff += 4;
    EXPECT_EQ(words_of_refusal(bad, nothing),
              wanted + "table cbi32, offset " + std::to_string(offset + 4) + ", length 1");
    bad = good;
    bad.keytype = ZOEAVL_KEYTYPE_GENERATED;
    EXPECT_EQ(words_of_refusal(bad, nothing), wanted + "no table" + at + ", length 1");
    EXPECT_EQ(words_of_refusal(good, [](ZOEAVLTree *tree) { tree->root.keylen = 2; }),
              wanted + "table cbi32" + at + ", length 2");
    EXPECT_EQ(words_of_refusal(good, [](ZOEAVLTree *tree) { tree->killer = cbi32.killer; }),
              "zoeavl: the members call for the operations of table cbi32" + at +
                  ", length 1; the tree has others in force");
    EXPECT_THROW((zoe::view<Record, &Record::i32>(nullptr)), std::invalid_argument);
}

TEST(Faces, AreCheckedFromOutside) {
    std::vector<Record> records(50);
    zoe::index<Record, zoe::descending<&Record::i32>> index;
    for (std::size_t i = 0; i < records.size(); i++) {
        records[i].i32 = static_cast<std::int32_t>(i);
        index.insert(records[i]);
    }
    EXPECT_TRUE(zoe::check(index).empty()) << zoe::check(index);
    records[7].i32 = 100;
    const zoe::check_report report = zoe::check(index);
    EXPECT_EQ(report.size(), 1U);
    EXPECT_NE(report.text().find("place 42: key"), std::string::npos) << report;
    EXPECT_TRUE(zoe::check(index, ZOEAVL_CHECK_HEIGHTS).empty());
}

TEST(Faces, MeetTheConceptsOfTheStandardLibrary) {
    using Index = zoe::index<Record, &Record::i32>;
    static_assert(std::bidirectional_iterator<Index::iterator>);
    static_assert(std::bidirectional_iterator<Index::const_iterator>);
    static_assert(std::ranges::bidirectional_range<Index>);
    static_assert(std::ranges::bidirectional_range<const Index>);
    static_assert(std::ranges::borrowed_range<zoe::range<Index::iterator>>);
    static_assert(std::ranges::view<zoe::range<Index::const_iterator>>);
    static_assert(std::convertible_to<Index::iterator, Index::const_iterator>);
    static_assert(!std::convertible_to<Index::const_iterator, Index::iterator>);
    static_assert(std::is_same_v<decltype(*std::declval<const Index &>().begin()), const Record &>);
    static_assert(!std::is_copy_constructible_v<Index> && !std::is_copy_assignable_v<Index>);
    static_assert(std::is_nothrow_move_constructible_v<Index>);
    static_assert(sizeof(Index::iterator) <= 2 * sizeof(void *) && sizeof(zoe::node) == 16);
    static_assert(!std::is_copy_constructible_v<zoe::tree<Record, &Record::i32>>);
}

} // namespace

/* Every member function of every template is there. */
template class zoe::basic_index<zoe::detail::base_hook<Record>, &Record::i64>;
template class zoe::basic_index<zoe::detail::member_hook<&Record::hook>, &Record::string>;
template class zoe::basic_tree<zoe::detail::base_hook<Record>, &Record::i64>;
template class zoe::basic_view<zoe::detail::member_hook<&Record::plain>, &Record::i64>;
template class zoe::guarded<zoe::index<Record, &Record::i32>>;
template class zoe::guarded<zoe::index<Record, &Record::i32>, std::mutex>;
