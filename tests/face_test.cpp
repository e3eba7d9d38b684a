/* The C++ face against the model: random operations on indexes by all kinds of keys, the same on
 * tree objects and views, exceptions, and what must hold at compile time. */
#include <algorithm>
#include <cctype>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <ranges>
#include <set>
#include <strings.h>

#include "index_operations.h"
#include "recording_host.h"
#include "zoeavl/check.hpp"

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

const auto base = [](Record &r) -> ZOEAVLp { return &r; };

/* Assigns to a member of any type, with zeros behind what is there for an array. */
template <class Member, class Value>
void assign(Member &member, const Value &value) {
    if constexpr (std::is_array_v<Member>)
        std::fill(std::copy(value.begin(), value.end(), std::begin(member)), std::end(member), 0);
    else
        member = static_cast<Member>(value);
}

struct ByLength {
    bool operator()(std::string_view a, std::string_view b) const {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
};
struct ThreeWay {
    int operator()(int a, int b) const { return a < b ? -5 : a - b; }
};

class Faces : public testing::Test {
  protected:
    Faces() {
        zoextent(&host.host);
        factory = zoeavl(nullptr, nullptr);
        host.calls();
    }
    ~Faces() override { factory->RealDestroy(factory); }

    template <auto... keys, class Set, class Values>
    void by(const char *name, Set set, Values values, std::size_t count = 100) {
        SCOPED_TRACE(name);
        zoe::index<Record, keys...> index;
        run_at_random<Record>(index, count, 1000, set, values, base);
    }
    template <auto member, auto key = member, class Spell>
    void by_member(const char *name, Spell spell, std::size_t count = 100) {
        by<key>(name, setter<member>(spell), one(spell), count);
    }

    /* The members must call for that table and length; then the functions of the tree object and
     * the face do the same, on its own root and on a root word. */
    template <auto... keys, class Set, class Values>
    void in_tree(const ZOEAVLOpTable *table, std::int32_t keylen, Set set, Values values) {
        by<keys...>("as of a tree", set, values);
        zoe::tree<Record, keys...> tree(factory, {.name = "typed", .locked = false});
        ZOEAVLTree *const object = tree.get();
        if (table != nullptr) {
            EXPECT_EQ(std::memcmp(object->optable, table, sizeof *table), 0);
            EXPECT_EQ(object->root.keylen, keylen);
        }
        run_at_random<Record>(*tree.write(), 60, 1000, set, values, base);

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
        EXPECT_EQ(length(*view.read()), 59);
        view.write()->clear();
    }
    template <auto member, auto key = member, class Spell>
    void in_tree_by_member(const ZOEAVLOpTable *table, std::int32_t keylen, Spell spell) {
        in_tree<key>(table, keylen, setter<member>(spell), one(spell));
    }

    template <auto member, class Spell>
    static auto setter(Spell spell) {
        return [=](Record &r, std::size_t i) { assign(r.*member, spell(i)); };
    }
    template <class Spell>
    static auto one(Spell spell) {
        return [=](std::size_t i) { return std::tuple(spell(i)); };
    }

    RecordingHost host;
    ZOEAVLExtension *factory;
};

TEST_F(Faces, DoWhatTheModelDoesByEveryKindOfKey) {
    const auto rank = [](std::size_t i) { return i; };
    const auto number = [](std::size_t i) { return static_cast<std::int32_t>(i) - 50; };
    const auto set_i64 = setter<&Record::i64>(far_apart);
    zoe::index_on<&Record::hook, &Record::i64> on_hook;
    run_at_random<Record>(on_hook, 100, 1000, set_i64, one(far_apart),
                          [](Record &r) -> ZOEAVLp { return &r.hook; });
    in_tree<&Record::i64>(&cbi64, 1, set_i64, one(far_apart));
    by<[](const Record &r) { return r.i64; }>("callable", set_i64, one(far_apart));
    by<zoe::by<&Record::i64, std::less<>>>("std::less", set_i64, one(far_apart));
    by_member<&Record::i64, zoe::descending<&Record::i64>>(
        "descending", [](std::size_t i) { return -far_apart(i); });
    in_tree_by_member<&Record::u64>(&cbu64, 1, [](std::size_t i) { return i << 57; });
    in_tree_by_member<&Record::i32>(&cbi32, 1,
                                    [=](std::size_t i) { return std::int64_t{number(i)}; });
    by_member<&Record::i32, zoe::by<&Record::i32, ThreeWay>>("three-way", number);
    by_member<&Record::i32, zoe::by<&Record::i32, std::greater<>>>(
        "std::greater", [=](std::size_t i) { return -number(i); });
    by_member<&Record::i8>("i8", number);
    by_member<&Record::flag>("bool", rank, 2);
    by_member<&Record::colour>(
        "enumeration", [](std::size_t i) { return static_cast<Colour>(static_cast<int>(i) - 1); },
        3);
    by_member<&Record::f>("float", [=](std::size_t i) { return number(i) / 4.0; });
    in_tree_by_member<&Record::d>(&cbdbl, 1, number);
    in_tree_by_member<&Record::d, zoe::missing<&Record::d>>(&cbmdbl, 1, missing_or_number);
    in_tree_by_member<&Record::text>(&cbchar, 4, [](std::size_t i) {
        return i == 0 ? std::string()
                      : std::to_string(100 + i / 3) +
                            std::string(i % 3 ? 1 : 0, static_cast<char>(0x7E + i % 3));
    });
    by_member<&Record::bytes>("bytes", [](std::size_t i) {
        return std::array{std::byte(i * 2), std::byte(i), std::byte{0x80}};
    });
    in_tree_by_member<&Record::pair>(&cbua32, 2, [](std::size_t i) {
        return std::array{i < 50 ? 5U : 0x80000000U, static_cast<std::uint32_t>(i % 50) << 26};
    });
    in_tree_by_member<&Record::string>(nullptr, 1, spelled);
    by<[](const Record &r) { return r.string + "!"; }>(
        "text made up", setter<&Record::string>(spelled),
        one([](std::size_t i) { return spelled(i) + "!"; }));
    by_member<&Record::string, zoe::by<&Record::string, ByLength>>(
        "less-than of a caller",
        [](std::size_t i) { return std::string(i / 10 + 1, static_cast<char>('a' + i % 10)); });
    in_tree<&Record::varying>(
        &cbvchar, 1,
        [](Record &r, std::size_t i) {
            r.string = spelled(i);
            r.varying = {r.string.data(), static_cast<std::uint32_t>(r.string.size())};
        },
        one(spelled));
    by_member<&Record::point>("operator <=>", [=](std::size_t i) {
        return Point{number(i) / 10, number(i)};
    });
    by_member<&Record::less>("operator <", [](std::size_t i) { return OnlyLess{i}; });
    static std::int64_t pointed[100];
    for (std::size_t i = 0; i < std::size(pointed); i++)
        pointed[i] = far_apart(i);
    const auto set_pointer = setter<&Record::pointer>([](std::size_t i) { return &pointed[i]; });
    by_member<&Record::pointer>("pointer", [](std::size_t i) { return &pointed[i]; });
    in_tree<zoe::indirect<&Record::pointer>>(&cbi64p, 1, set_pointer, one(far_apart));
    by<zoe::indirect<&Record::owned>>(
        "indirect text",
        [](Record &r, std::size_t i) { r.owned = std::make_shared<std::string>(spelled(i)); },
        one(spelled));
    by<&Record::i32, zoe::descending<&Record::string>, &Record::i8>(
        "three keys",
        [](Record &r, std::size_t i) {
            r.i32 = static_cast<std::int32_t>(i / 25);
            r.string = spelled(99 - i / 5);
            r.i8 = static_cast<std::int8_t>(i % 5);
        },
        [](std::size_t i) { return std::tuple(i / 25, spelled(99 - i / 5), i % 5); });
    in_tree<zoe::by<&Record::string, ByLength>, zoe::descending<&Record::i8>>(
        nullptr, 1,
        [](Record &r, std::size_t i) {
            r.string = std::string(i / 10, 'x');
            r.i8 = static_cast<std::int8_t>(9 - i % 10);
        },
        [](std::size_t i) { return std::tuple(std::string(i / 10, 'x'), 9 - i % 10); });
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
    EXPECT_TRUE(wide.contains(0));
    EXPECT_EQ(wide.upper_bound(-1), wide.begin());
    EXPECT_TRUE(wide.contains(UINT64_MAX));
    EXPECT_FALSE(reversed.contains(383));
    EXPECT_EQ(reversed.lower_bound(INT64_MAX), reversed.begin());
    EXPECT_EQ(reversed.lower_bound(-128), reversed.end());
    EXPECT_EQ(&reversed.front(), &records[8]);
}

/* Compares without regard to case, as its traits say. */
struct Caseless : std::char_traits<char> {
    static bool lt(char a, char b) { return std::tolower(a) < std::tolower(b); }
    static bool eq(char a, char b) { return std::tolower(a) == std::tolower(b); }
    static int compare(const char *a, const char *b, std::size_t length) {
        return strncasecmp(a, b, length);
    }
};
struct First {
    int first = 0;
};
struct Second {
    int second = 0;
};
struct Both : First, Second {};
enum class Downwards : int { high, low };
constexpr bool operator<(Downwards a, Downwards b) {
    return static_cast<int>(a) > static_cast<int>(b);
}
struct Bare {
    int value;
};
struct BareLess {
    bool operator()(const Bare &a, const Bare &b) const { return a.value < b.value; }
    bool operator()(const Bare &a, int b) const { return a.value < b; }
    bool operator()(int a, const Bare &b) const { return a < b.value; }
};
struct Other : zoe::node {
    std::wstring wide;
    std::optional<int> optional;
    std::basic_string<char, Caseless> caseless;
    Second *pointer = nullptr;
    void (*function)() = nullptr;
    short shorts[3] = {};
    double doubles[2] = {};
    char names[2][3] = {};
    bool even = false;
    Downwards direction{};
    Bare bare{};
    void operator&() const = delete;
};

TEST(Index, LooksUpByWhatComparesWithTheKey) {
    std::vector<Other> records(4);
    Both both[4];
    for (std::size_t i = 0; i < records.size(); i++) {
        records[i].wide.assign(1, static_cast<wchar_t>(L'a' + i));
        if (i > 0)
            records[i].optional = static_cast<int>(i);
        records[i].caseless.assign(1, static_cast<char>((i % 2 ? 'A' : 'a') + i));
        records[i].pointer = both + i;
        records[i].shorts[1] = records[i].shorts[2] = static_cast<short>(i);
        records[i].doubles[1] = static_cast<double>(i);
        records[i].names[1][2] = "\1a\x80\xFF"[i];
        records[i].bare.value = static_cast<int>(i);
    }
    const auto finds = [&]<auto... keys>(const zoe::index<Other, keys...> &, std::size_t rank,
                                         const auto &value) {
        zoe::index<Other, keys...> index;
        EXPECT_EQ(index.insert_range(records), records.size());
        EXPECT_TRUE(index.contains(value));
        const auto place = index.lower_bound(value);
        EXPECT_EQ(place.operator->(), std::addressof(records[rank]));
        EXPECT_EQ(std::distance(index.begin(), place), static_cast<std::ptrdiff_t>(rank));
    };
    using zoe::index;
    finds(index<Other, &Other::wide>(), 2, L"c");
    finds(index<Other, &Other::wide>(), 1, std::wstring_view(L"b"));
    finds(index<Other, &Other::optional>(), 0, std::nullopt);
    finds(index<Other, &Other::optional>(), 3, 3);
    finds(index<Other, &Other::caseless>(), 1, "b");
    finds(index<Other, &Other::pointer>(), 2, both + 2);
    const short wanted[] = {0, 3, 3};
    finds(index<Other, &Other::shorts>(), 3, wanted);
    finds(index<Other, &Other::doubles>(), 1, records[1].doubles);
    finds(index<Other, &Other::names>(), 2, records[2].names);
    finds(index<Other, zoe::by<&Other::bare, BareLess>>(), 2, Bare{2});
    finds(index<Other, zoe::by<&Other::bare, BareLess>>(), 3, 3);

    index<Other, &Other::even> by_parity;
    records[2].even = true;
    EXPECT_EQ(by_parity.insert_range(records), 2U);
    Other *found[2];
    by_parity.find_many(std::vector<bool>{true, false}, found);
    EXPECT_TRUE(found[0]->even && !found[1]->even);
    by_parity.clear();
    index<Other, &Other::function> functions;
    functions.insert(records[0]);
    EXPECT_TRUE(functions.contains(nullptr));
    functions.clear();
    records[1].direction = Downwards::low;
    index<Other, zoe::by<&Other::direction, std::less<>>> downwards;
    downwards.insert(records[0]);
    downwards.insert(records[1]);
    EXPECT_EQ(downwards.front().direction, Downwards::low);
    downwards.clear();

    /* An iterator that can't be copied, and makes its records. */
    struct Maker {
        std::deque<Record> &made;
        std::unique_ptr<int> not_copied{};
        Record &operator*() const { return made.back(); }
        Maker &operator++() {
            made.emplace_back().i32 = static_cast<std::int32_t>(made.size());
            return *this;
        }
        bool operator!=(std::size_t end) const { return made.size() != end; }
    };
    std::deque<Record> made(1);
    index<Record, &Record::i32> of_made;
    EXPECT_EQ(of_made.insert(Maker{made}, 4U), 3U);
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
    EXPECT_TRUE(std::is_sorted(index.begin(), index.end(), [](const Record &a, const Record &b) {
        return a.string < b.string;
    }));
    for (std::size_t i = 0; i < records.size(); i++) {
        const auto place = index.lower_bound(records[i].string);
        ASSERT_EQ(index.contains(records[i].string), i % 2 == 0);
        ASSERT_TRUE(place == index.end() ? i + 1 == records.size()
                                         : &*place == &records[i + i % 2]);
    }
}

TEST(Index, KeepsItsIteratorsWhenItMoves) {
    zoe::index<Record, &Record::i32> index;
    Record records[3];
    for (std::int32_t i = 0; i < 3; i++)
        records[i].i32 = i;
    index.insert_range(records);
    auto place = index.find(1);
    const auto taken = std::move(index);
    EXPECT_EQ(&*++place, &records[2]);
    EXPECT_EQ(++place, taken.end());
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
    EXPECT_EQ(length(index.equal_range(3, 7)), 10);
    EXPECT_EQ(length(index.equal_range(10)), 0);
    EXPECT_EQ(length(index.between(2, 5)), 300);
    EXPECT_EQ(length(index.between(std::tuple(2), 5)), 300);
    EXPECT_EQ(length(index.between(std::pair(2, 7), std::tuple(2, 5))), 20);
    EXPECT_EQ(length(index.between(std::tuple(2, 7, spelled(5)), std::pair(3, 9))), 75);
    EXPECT_TRUE(index.between(std::pair(2, 5), std::pair(2, 7)).empty()) << "it descends";
    EXPECT_EQ(index.upper_bound(4), index.lower_bound(5));
    EXPECT_EQ(std::distance(index.rbegin(), index.rend()), 1000);
}

TEST(Index, DrainsAndLeavesCopiesAlone) {
    std::vector<Record> records(50);
    zoe::index<Record, &Record::i32> index;
    for (std::size_t i = 0; i < records.size(); i++)
        records[i].i32 = static_cast<std::int32_t>(i);
    index.insert_range(records);
    const Record copy = records[7];
    EXPECT_FALSE(copy.is_linked());
    Record assigned = records[8];
    records[8] = assigned;
    EXPECT_TRUE(records[8].is_linked());

    std::int32_t next = 0;
    EXPECT_THROW(index.clear([&](Record *r) {
        EXPECT_FALSE(r->is_linked());
        EXPECT_EQ(r->i32, next++);
        r->i32 = -1;
        if (next == 30)
            throw std::runtime_error("enough");
    }),
                 std::runtime_error);
    EXPECT_TRUE(index.empty());
    EXPECT_EQ(index.size(), 0U);
    for (const Record &r : records)
        EXPECT_FALSE(r.is_linked());
    EXPECT_EQ(records[29].i32, -1);
    EXPECT_EQ(records[30].i32, 30);
    records[3].i32 = 3;
    index.insert(records[3]);
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
/* Doesn't throw with two keys, but with what is sought. */
struct ThrowingAside {
    using is_transparent = void;
    bool operator()(int a, int b) const noexcept { return a < b; }
    bool operator()(long a, int b) const { return Throwing()(static_cast<int>(a), b); }
    bool operator()(int a, long b) const { return Throwing()(a, static_cast<int>(b)); }
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
    const std::function<void()> operations[] = {
        [&] { index.insert(records[11]); },
        [&] { index.erase(records[12]); },
        [&] { index.erase(index.iterator_to(records[14])); },
        [&] { index.extract(records[16].i32); },
        [&] { index.find_or_insert([&]() -> Record & { return records[13]; }, records[13].i32); },
        [&] { (void)index.between(3, 30); },
        [&] { (void)zoe::check(index); },
        [] {},
    };
    for (const auto &operation : operations) {
        comparisons_left = INT_MAX;
        index.clear();
        for (std::size_t i = 0; i < records.size(); i++) {
            records[i].i32 = static_cast<std::int32_t>(i * 7 % 40);
            if (i % 2 == 0)
                index.insert(records[i]);
        }
        std::vector<model::Words> before;
        for (Record &r : records)
            before.push_back(model::words_of(&r));
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
        EXPECT_EQ(thrown > 2, &operation != std::end(operations) - 1);
    }
    comparisons_left = INT_MAX;
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

TEST(Index, GoesOneByOneWhereAComparisonMayThrow) {
    constexpr std::size_t count = 20000;
    zoe::index<Record, zoe::by<&Record::i32, ThrowingAside>> index;
    std::vector<Record> records(count);
    for (std::size_t i = 0; i < count; i++)
        records[i].i32 = static_cast<std::int32_t>(i);
    index.insert_range(records);
    const std::vector<long> wanted(64, 1);
    std::vector<Record *> out;
    comparisons_left = 100;
    EXPECT_THROW(index.find_many(wanted, std::back_inserter(out)), std::runtime_error);
    EXPECT_EQ(out, std::vector<Record *>(out.size(), &records[1]));
    EXPECT_GT(out.size(), 2U);
    comparisons_left = 100;
    EXPECT_THROW(index.erase_many(wanted, out.begin()), std::runtime_error);
    EXPECT_EQ(index.size(), count - 1);
}

/* ---- Tree objects ----------------------------------------------------------------------------*/

TEST_F(Faces, TakeTheTreesLockOnceForAnAccess) {
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
    for (const int failing : {1, 2, 3}) {
        const std::size_t blocks = host.live.size();
        host.fail_at(failing);
        const auto make = [&] { zoe::tree<Record, &Record::i32>(factory, {.name = "n"}); };
        if (failing == 2)
            EXPECT_NO_THROW(make()) << "a tree may lack its name";
        else
            EXPECT_THROW(make(), std::runtime_error);
        EXPECT_EQ(host.live.size(), blocks + (failing == 3)) << "the name goes with the pool";
    }
}

TEST_F(Faces, AreRefusedWhereTheMembersSayOtherwise) {
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
    const auto parms = [](ZOEAVLKeyType keytype, std::int32_t keyoff) {
        return ZOEAVLParms{1, keyoff, keytype, 0, nullptr, 0};
    };
    EXPECT_EQ(words_of_refusal(parms(ZOEAVL_KEYTYPE_I32, offset), nothing), "taken");
    for (ZOEAVLKeyType type = ZOEAVL_KEYTYPE_U32; type <= std::size(table_names); type++)
        if (const std::string name = table_names[type - 1]; name[3] != 'a' && name != "cbi32") {
            EXPECT_EQ(words_of_refusal(parms(type, offset), nothing),
                      wanted + "table " + name + at + ", length 1");
        }
    EXPECT_EQ(words_of_refusal(parms(ZOEAVL_KEYTYPE_I32, offset + 4), nothing),
              wanted + "table cbi32, offset " + std::to_string(offset + 4) + ", length 1");
    EXPECT_EQ(words_of_refusal(parms(ZOEAVL_KEYTYPE_GENERATED, offset), nothing),
              wanted + "no table" + at + ", length 1");
    EXPECT_EQ(words_of_refusal(parms(ZOEAVL_KEYTYPE_I32, offset),
                               [](ZOEAVLTree *tree) { tree->root.keylen = 2; }),
              wanted + "table cbi32" + at + ", length 2");
    EXPECT_EQ(words_of_refusal(parms(ZOEAVL_KEYTYPE_I32, offset),
                               [](ZOEAVLTree *tree) { tree->killer = cbi32.killer; }),
              "zoeavl: the members call for the operations of table cbi32" + at +
                  ", length 1; the tree has others in force");
    EXPECT_THROW((zoe::view<Record, &Record::i32>(nullptr)), std::invalid_argument);
}

TEST_F(Faces, AreCheckedFromOutside) {
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

TEST_F(Faces, MeetTheConceptsOfTheStandardLibrary) {
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
    using Tree = zoe::tree<Record, &Record::i32>;
    using Reached = std::remove_cvref_t<decltype(*std::declval<Tree &>().read())>;
    static_assert(!std::is_copy_constructible_v<Tree> && !std::is_copy_constructible_v<Reached>);
    static_assert(std::is_copy_constructible_v<zoe::view<Record, &Record::i32>>);
}

} // namespace

/* Every member function of every template is there. */
template class zoe::basic_index<zoe::detail::base_hook<Record>, &Record::i64>;
template class zoe::basic_index<zoe::detail::member_hook<&Record::hook>, &Record::string>;
template class zoe::basic_tree<zoe::detail::base_hook<Record>, &Record::i64>;
template class zoe::basic_view<zoe::detail::member_hook<&Record::plain>, &Record::i64>;
template class zoe::guarded<zoe::index<Record, &Record::i32>>;
template class zoe::guarded<zoe::index<Record, &Record::i32>, std::mutex>;
