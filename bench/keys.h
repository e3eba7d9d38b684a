/* The keys that the contestants are given: what they are, how they compare, and how to make them.
 */
#ifndef ZOEAVL_BENCH_KEYS_H
#define ZOEAVL_BENCH_KEYS_H

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "zoeavl.h"

/* Each key type gives:
 *     Value                  what is looked up, and the key field of a record
 *     Less                   its order, for the peers
 *     keytype, keylen        its order, for the C functions, if one of their key types has it
 *     present(i), absent(i)  keys that differ for every i and from each other */

/* The key field of a record where it isn't a Value. */
template <class Key>
struct StoredAs {
    using Type = typename Key::Value;
};

/* Records are as small as their links and keys allow, or fill what is said here. */
template <class Key>
struct Room {};

template <class Number, ZOEAVLKeyType code>
struct NumberKey {
    using Value = Number;
    using Less = std::less<Number>;
    static constexpr ZOEAVLKeyType keytype = code;
    static constexpr std::int32_t keylen = 1;
    static Value present(std::size_t i) { return static_cast<Number>(2 * i + 1); }
    static Value absent(std::size_t i) { return static_cast<Number>(2 * i); }
};

struct I32 : NumberKey<std::int32_t, ZOEAVL_KEYTYPE_I32> {
    static constexpr const char *name = "i32";
};
struct I64 : NumberKey<std::int64_t, ZOEAVL_KEYTYPE_I64> {
    static constexpr const char *name = "i64";
};
/* The same in records that fill a cache line. */
struct WideI64 : I64 {
    static constexpr const char *name = "i64 in records of 64 bytes";
};
template <>
struct alignas(64) Room<WideI64> {};
struct F64 : NumberKey<double, ZOEAVL_KEYTYPE_DBL> {
    static constexpr const char *name = "double";
};

/* A generated comparison: the order of i64, known only at run time. */
struct Generated : NumberKey<std::int64_t, ZOEAVL_KEYTYPE_GENERATED> {
    static constexpr const char *name = "generated";
    static constexpr const char *comparison =
        "#define ZOEAVL_COMP(a, b, n, p, f) \\\n"
        "    if (*(int64_t *)(a) < *(int64_t *)(b)) goto p; \\\n"
        "    else if (*(int64_t *)(a) > *(int64_t *)(b)) goto f";
};

/* The same order, compiled with the program. */
extern "C" const ZOEAVLOpTable i64_order;
struct Ordered : NumberKey<std::int64_t, ZOEAVL_KEYTYPE_OPTABLE> {
    static constexpr const char *name = "order at build time";
    static constexpr const ZOEAVLOpTable *table = &i64_order;
};

/* The first twenty-eight are missing values, one of each code. */
struct MissingF64 {
    using Value = double;
    static constexpr const char *name = "missing double";
    static constexpr ZOEAVLKeyType keytype = ZOEAVL_KEYTYPE_MDBL;
    static constexpr std::int32_t keylen = 1;
    static unsigned code_of(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return static_cast<std::uint8_t>(-(bits >> 40));
    }
    struct Less {
        bool operator()(double a, double b) const {
            if (std::isnan(a))
                return !std::isnan(b) || code_of(a) < code_of(b);
            return !std::isnan(b) && a < b;
        }
    };
    static Value make(std::size_t i) {
        if (i >= 28)
            return static_cast<double>(i);
        const std::uint64_t bits = 0x7FF0000000000001 | std::uint64_t{0xFF - i} << 40;
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    static Value present(std::size_t i) { return make(2 * i + 1); }
    static Value absent(std::size_t i) { return make(2 * i); }
};

/* Sixteen characters, as an identifier in hexadecimal has them. */
struct Char16 {
    using Value = std::array<char, 16>;
    static constexpr const char *name = "16 characters";
    static constexpr ZOEAVLKeyType keytype = ZOEAVL_KEYTYPE_CHAR;
    static constexpr std::int32_t keylen = 16;
    struct Less {
        bool operator()(const Value &a, const Value &b) const {
            return std::memcmp(a.data(), b.data(), a.size()) < 0;
        }
    };
    static Value make(std::uint64_t i) {
        i *= 0x9E3779B97F4A7C15;
        Value value;
        for (char &c : value) {
            c = "0123456789abcdef"[i >> 60];
            i <<= 4;
        }
        return value;
    }
    static Value present(std::size_t i) { return make(2 * i + 1); }
    static Value absent(std::size_t i) { return make(2 * i); }
};

/* Real words, and pairs of them where there are more keys than words. */
struct Words {
    using Value = ZOEAVLVaryingKey;
    static constexpr const char *name = "words";
    static constexpr ZOEAVLKeyType keytype = ZOEAVL_KEYTYPE_VCHAR;
    static constexpr std::int32_t keylen = 1;
    struct Less {
        bool operator()(const Value &a, const Value &b) const {
            const int prefix = std::memcmp(a.chars, b.chars, std::min(a.length, b.length));
            return prefix != 0 ? prefix < 0 : a.length < b.length;
        }
    };
    static const std::vector<std::string> &vocabulary() {
        static const std::vector<std::string> words = [] {
            std::set<std::string> found;
            for (const auto &entry :
                 std::filesystem::directory_iterator("/usr/share/common-licenses")) {
                std::ifstream text(entry.path());
                for (std::string word; text >> word;)
                    found.insert(word);
            }
            return std::vector<std::string>(found.begin(), found.end());
        }();
        return words;
    }
    static Value kept(std::string text) {
        static std::deque<std::string> all;
        const std::string &word = all.emplace_back(std::move(text));
        return {word.data(), static_cast<std::uint32_t>(word.size())};
    }
    static std::string text(std::size_t i) {
        const std::vector<std::string> &words = vocabulary();
        const std::string &last = words[i % words.size()];
        return i < words.size() ? last : words[i / words.size()] + " " + last;
    }
    static Value present(std::size_t i) { return kept(text(i)); }
    static Value absent(std::size_t i) { return kept(text(i) + "'"); }
};

/* The same words as strings of the standard library, in records that own them. */
struct Strings {
    using Value = std::string_view;
    using Less = std::less<>;
    static constexpr const char *name = "strings";
    static Value view_of(const ZOEAVLVaryingKey &key) {
        return {static_cast<const char *>(key.chars), key.length};
    }
    static Value present(std::size_t i) { return view_of(Words::present(i)); }
    static Value absent(std::size_t i) { return view_of(Words::absent(i)); }
};
template <>
struct StoredAs<Strings> {
    using Type = std::string;
};
/* Our records keep the first eight bytes beside the string. */
struct PrefixedStrings : Strings {
    static constexpr const char *name = "prefixed strings";
};
template <>
struct StoredAs<PrefixedStrings> : StoredAs<Strings> {};

/* Several keys, in their order; what comes first is equal in runs of eight. */
struct Pairs {
    using Value = std::tuple<std::int64_t, std::int64_t>;
    using Less = std::less<>;
    static constexpr const char *name = "(i64, i64)";
    static Value make(std::size_t i) {
        const auto n = static_cast<std::int64_t>(i);
        return {n / 16, n % 16};
    }
    static Value present(std::size_t i) { return make(2 * i + 1); }
    static Value absent(std::size_t i) { return make(2 * i); }
};
struct Triples {
    using Value = std::tuple<std::int32_t, std::int64_t, std::int32_t>;
    using Less = std::less<>;
    static constexpr const char *name = "(i32, i64, i32)";
    static Value make(std::size_t i) {
        const auto n = static_cast<std::int32_t>(i);
        return {n / 64, n / 16 % 4, n % 16};
    }
    static Value present(std::size_t i) { return make(2 * i + 1); }
    static Value absent(std::size_t i) { return make(2 * i); }
};

/* A pointer to an integer that stands elsewhere. */
struct IndirectI64 {
    using Value = const std::int64_t *;
    static constexpr const char *name = "indirect i64";
    static constexpr ZOEAVLKeyType keytype = ZOEAVL_KEYTYPE_I64P;
    static constexpr std::int32_t keylen = 1;
    struct Less {
        bool operator()(Value a, Value b) const { return *a < *b; }
    };
    static Value kept(std::size_t i) {
        static std::deque<std::int64_t> all;
        return &all.emplace_back(static_cast<std::int64_t>(i));
    }
    static Value present(std::size_t i) { return kept(2 * i + 1); }
    static Value absent(std::size_t i) { return kept(2 * i); }
};

#endif
