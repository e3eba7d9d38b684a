/* Keys: which part of a record an index goes by, and how a value of it is ordered.
 *
 * A key of a record R is one of
 *
 *     &R::member                    the member by the order of its type
 *     a captureless callable        from const R & to a key value, by the order of that type
 *     descending<key>               a key, the other way round
 *     by<key, Compare>              a key by a comparison of yours, three-way or less-than
 *     missing<key>                  doubles, every NaN of which is a missing value with a code
 *     indirect<key>                 what a pointer leads to; `descending` stands outside of these
 *     prefixed<&R::text, &R::prefix>
 *                                   a string, the first eight bytes of which are kept in the record
 *                                   as well: in any member of eight bytes, filled with zeros. Every
 *                                   insertion by the face sets it
 *
 * and the order of a type is
 *
 *     integers, enumerations, bool     by value, whatever the width and sign of what is looked up
 *     double                           by value; NaN equals everything
 *     float                            by <; what is unordered is equal
 *     arrays                           element by element; those of char, unsigned char, std::byte
 *                                      as unsigned bytes over the whole length, and a shorter
 *                                      look-up value is filled with zeros
 *     std::string, std::string_view, ZOEAVLVaryingKey
 *                                      as unsigned bytes, then by length
 *     pointers                         by address
 *     everything else                  by its <=>, else by its <
 *
 * Where that is the order of a key type of zoeavl.h, the comparison is the same code. */
#ifndef ZOEAVL_KEY_HPP
#define ZOEAVL_KEY_HPP

#include <algorithm>
#include <array>
#include <bit>
#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "engine/less_descent.hpp"
#include "keys/characters.hpp"
#include "keys/floating.hpp"
#include "keys/integers.hpp"
#include "node.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

namespace detail {
template <auto key>
struct descending_key {};
template <auto key, class Compare>
struct compared_key {};
template <auto key>
struct missing_key {};
template <auto key>
struct indirect_key {};
template <auto text, auto prefix>
struct prefixed_key {};
} // namespace detail

/* A key, the other way round. */
template <auto key>
inline constexpr detail::descending_key<key> descending{};

/* A key by `Compare`, default-constructible, called with two values: three-way or less-than. */
template <auto key, class Compare>
inline constexpr detail::compared_key<key, Compare> by{};

/* A double, every NaN of which is a missing value: ahead of all numbers, by its code. */
template <auto key>
inline constexpr detail::missing_key<key> missing{};

/* What a pointer leads to, which is never null. */
template <auto key>
inline constexpr detail::indirect_key<key> indirect{};

/* A string the first eight bytes of which the record holds in itself as well, in a member of eight
 * bytes: a comparison that they decide doesn't read the string. An insertion sets that member;
 * until the record is removed, leave both as they are. */
template <auto text, auto prefix>
inline constexpr detail::prefixed_key<text, prefix> prefixed{};

namespace detail {

using engine::Outcome;

template <class>
inline constexpr bool always_false = false;

/* A key-type code of zoeavl.h with its length; code 0 for an order that has none. */
struct code {
    ZOEAVLKeyType type = ZOEAVL_KEYTYPE_OPTABLE;
    std::int32_t length = 1;
};

/* ---- Orders -----------------------------------------------------------------------------------
 *
 * An order of values of type V gives:
 *
 *     hold(a)       a look-up value made ready: owns what it had to convert, else refers to `a`
 *     sought(h)     what a descent holds of it, and of a value in a record alike, which gives
 *                       against(v) -> Outcome                        or, for less-than alone,
 *                       is_above(v), is_below(v)
 *                   and, where integers decide,
 *                       integer(), integer_of(v), has_ties, tie(v)   as engine::IntegerSearch
 *                   and nothrow: no comparison with it throws
 *     takes_long    a comparison takes long enough to fetch both children meanwhile
 *     far(v)        if the comparison reads far from the record: where
 *     direct        the code of zoeavl.h for such a value in the record, and
 *     behind        for one behind a pointer */

enum class deciding { comparison, integers, integers_and_ties, less_than };

template <deciding by>
struct decided {
    static constexpr bool by_integers =
        by == deciding::integers || by == deciding::integers_and_ties;
    static constexpr bool has_ties = by == deciding::integers_and_ties;
    static constexpr bool by_less = by == deciding::less_than;
    static constexpr bool nothrow = true;
};

/* Integers narrower than 32 bits are compared as 32-bit ones of their sign. */
template <class V>
struct integer_as {
    using plain = V;
};
template <class V>
requires std::is_enum_v<V>
struct integer_as<V> {
    using plain = std::underlying_type_t<V>;
};
template <class V>
using integer_of_t =
    std::conditional_t<(sizeof(V) > 4),
                       std::conditional_t<std::is_signed_v<typename integer_as<V>::plain>,
                                          std::int64_t, std::uint64_t>,
                       std::conditional_t<std::is_signed_v<typename integer_as<V>::plain>,
                                          std::int32_t, std::uint32_t>>;

template <class V>
concept integer_like = (std::integral<V> || std::is_enum_v<V>)&&sizeof(V) <= 8;

/* A look-up value may lie outside the range of the key's type, below or above all keys. */
template <class Integer>
struct ranged {
    Integer value;
    int beyond; /* -1, 0 or 1 */
};

template <class Integer, class A>
constexpr ranged<Integer> into_range(A a) {
    using Limits = std::numeric_limits<Integer>;
    if constexpr (std::is_signed_v<A> && std::is_unsigned_v<Integer>) {
        if (a < 0)
            return {0, -1};
    } else if constexpr (std::is_signed_v<A>) {
        if (a < Limits::min())
            return {Limits::min(), -1};
    }
    using Common = std::common_type_t<std::make_unsigned_t<A>, std::make_unsigned_t<Integer>>;
    if (!(std::is_signed_v<A> && a < 0) &&
        static_cast<Common>(a) > static_cast<Common>(Limits::max()))
        return {Limits::max(), 1};
    return {static_cast<Integer>(a), 0};
}
static_assert(into_range<std::uint32_t>(-1).beyond == -1 &&
              into_range<std::int32_t>(std::int64_t{1} << 40).beyond == 1 &&
              into_range<std::int64_t>(~std::uint64_t{0}).beyond == 1 &&
              into_range<std::int32_t>(std::int64_t{-5}).value == -5);

/* Pointers stand here for their addresses. */
template <class V>
struct integer_order {
    using Integer = std::conditional_t<std::is_pointer_v<V>, std::uintptr_t, integer_of_t<V>>;
    static constexpr bool takes_long = false;

    static constexpr Integer integer_of(const V &v) {
        if constexpr (std::is_pointer_v<V>)
            return reinterpret_cast<std::uintptr_t>(v);
        else
            return static_cast<Integer>(v);
    }
    struct exact : decided<deciding::integers> {
        [[gnu::always_inline]] Outcome against(const V &v) const {
            return engine::order(value, integer_of(v));
        }
        Integer integer() const { return value; }
        static Integer integer_of(const V &v) { return integer_order::integer_of(v); }
        Integer value;
    };
    struct clamped : decided<deciding::integers_and_ties> {
        [[gnu::always_inline]] Outcome against(const V &v) const {
            const Outcome outcome = engine::order(held.value, integer_of(v));
            return outcome.equal ? tie(v) : outcome;
        }
        Integer integer() const { return held.value; }
        static Integer integer_of(const V &v) { return integer_order::integer_of(v); }
        Outcome tie(const V &) const { return {held.beyond == 0, held.beyond > 0}; }
        ranged<Integer> held;
    };

    template <class A>
    static auto hold(const A &a) {
        if constexpr (std::is_pointer_v<V>) {
            using Pointed = std::remove_pointer_t<V>;
            using Same =
                std::conditional_t<std::is_function_v<Pointed>, V, const volatile Pointed *>;
            using Any = std::conditional_t<std::is_convertible_v<const A &, Same>, Same,
                                           const volatile void *>;
            static_assert(std::is_convertible_v<const A &, Any>,
                          "zoeavl: a pointer key is looked up by a pointer");
            const Any address = a;
            return reinterpret_cast<std::uintptr_t>(address);
        } else if constexpr (std::is_same_v<A, V>) {
            return integer_of(a);
        } else if constexpr (std::is_class_v<A> && std::is_convertible_v<const A &, V> &&
                             requires { V{a}; }) { // it stands for such a value, and isn't narrowed
            return integer_of(V{a});
        } else {
            static_assert(integer_like<A> && !std::is_enum_v<A>,
                          "zoeavl: an integer key is looked up by an integer, an enumeration by a "
                          "value of it");
            using From = integer_of_t<A>;
            const auto from = static_cast<From>(a);
            if constexpr (std::is_same_v<From, Integer> ||
                          (sizeof(From) < sizeof(Integer) &&
                           (std::is_unsigned_v<From> || std::is_signed_v<Integer>)))
                return static_cast<Integer>(from);
            else
                return into_range<Integer>(from);
        }
    }
    static exact sought(Integer held) requires(!std::is_same_v<V, Integer>) { return {{}, held}; }
    static exact sought(const V &v) { return {{}, integer_of(v)}; }
    static clamped sought(const ranged<Integer> &held) { return {{}, held}; }

    static constexpr code direct =
        std::is_pointer_v<V> || sizeof(V) < 4
            ? code{}
            : code{std::is_same_v<Integer, std::int32_t>    ? ZOEAVL_KEYTYPE_I32
                   : std::is_same_v<Integer, std::uint32_t> ? ZOEAVL_KEYTYPE_U32
                   : std::is_same_v<Integer, std::int64_t>  ? ZOEAVL_KEYTYPE_I64
                                                            : ZOEAVL_KEYTYPE_U64};
    static constexpr code behind =
        direct.type == 0 ? code{} : code{direct.type - ZOEAVL_KEYTYPE_I32 + ZOEAVL_KEYTYPE_I32P};
};

/* A key policy of the core over a field of fixed length. */
template <class Policy, class V, std::ptrdiff_t length>
struct policy_order {
    using Length = std::integral_constant<std::ptrdiff_t, length>;
    static constexpr bool takes_long = Policy::takes_long;

    struct sought_value : decided<deciding::comparison> {
        [[gnu::always_inline]] Outcome against(const V &v) const {
            return Policy::compare(value, std::addressof(v));
        }
        typename Policy::Sought value;
    };
    [[gnu::always_inline]] static sought_value sought(const V &v) {
        return {{}, Policy::load(std::addressof(v), Length{})};
    }
};

template <class Policy, ZOEAVLKeyType code_direct, ZOEAVLKeyType code_behind>
struct double_order : policy_order<Policy, double, 1> {
    template <class A>
    static double hold(const A &a) {
        static_assert(std::is_arithmetic_v<A>, "zoeavl: a double is looked up by a number");
        return static_cast<double>(a);
    }
    static constexpr code direct{code_direct};
    static constexpr code behind{code_behind};
};

template <class Integer, class V, std::size_t count>
struct integer_array_order {
    using Policy = engine::Array<Integer>;
    static constexpr bool takes_long = false;

    using Length = std::integral_constant<std::ptrdiff_t, std::ptrdiff_t{count}>;
    struct sought_elements : decided<deciding::integers_and_ties> {
        [[gnu::always_inline]] Outcome against(const V &v) const {
            return Policy::compare(value, std::addressof(v));
        }
        Integer integer() const { return first; }
        static Integer integer_of(const V &v) { return engine::read<Integer>(std::addressof(v)); }
        Outcome tie(const V &v) const { return against(v); }
        typename Policy::Sought value;
        Integer first;
    };
    template <class A>
    static std::array<Integer, count> hold(const A &a) {
        using Element = std::remove_cvref_t<decltype(a[0])>;
        static_assert((std::is_array_v<A> || requires { std::tuple_size<A>::value; }) &&
                          sizeof(A) == sizeof(V) && sizeof(Element) == sizeof(Integer) &&
                          std::is_signed_v<Element> == std::is_signed_v<Integer>,
                      "zoeavl: an array is looked up by an array of its length and type");
        std::array<Integer, count> held;
        std::memcpy(held.data(), std::addressof(a), sizeof held);
        return held;
    }
    template <class Elements>
    static sought_elements sought(const Elements &held) {
        const void *const start = std::addressof(held);
        return {{}, Policy::load(start, Length{}), engine::read<Integer>(start)};
    }

  private:
    static constexpr bool wide = sizeof(Integer) == 8;
    static constexpr bool is_signed = std::is_signed_v<Integer>;

  public:
    static constexpr code direct =
        count == 1 ? integer_order<Integer>::direct
                   : code{is_signed ? (wide ? ZOEAVL_KEYTYPE_IA64 : ZOEAVL_KEYTYPE_IA32)
                                    : (wide ? ZOEAVL_KEYTYPE_UA64 : ZOEAVL_KEYTYPE_UA32),
                          static_cast<std::int32_t>(count)};
    static constexpr code behind =
        count == 1 ? integer_order<Integer>::behind
                   : code{direct.type - ZOEAVL_KEYTYPE_IA32 + ZOEAVL_KEYTYPE_IA32P, direct.length};
};

template <class V>
concept character =
    std::same_as<V, char> || std::same_as<V, unsigned char> || std::same_as<V, std::byte>;

/* The bytes of a look-up value for characters: of an array all, of a string up to its end. */
template <class A>
std::string_view bytes_of(const A &a) {
    if constexpr (requires {
                      std::size(a);
                      requires sizeof(*std::data(a)) == 1;
                  }) {
        const void *const start = std::data(a);
        return {static_cast<const char *>(start), std::size(a)};
    } else if constexpr (std::is_convertible_v<const A &, std::string_view>) {
        return a;
    } else {
        static_assert(always_false<A>, "zoeavl: characters are looked up by characters");
    }
}

template <class V, std::size_t count>
struct characters_order {
    using Policy = engine::FixedCharacters<engine::ByteString>;
    using Length = std::integral_constant<std::ptrdiff_t, std::ptrdiff_t{count}>;
    static constexpr bool takes_long = true;

    struct held_bytes {
        std::array<char, count> bytes;
        bool is_longer; /* than a key, and the surplus isn't zeros alone */
    };
    static constexpr bool has_prefix = count >= engine::ByteString::prefix_units;
    struct sought_bytes : decided<has_prefix ? deciding::integers_and_ties : deciding::comparison> {
        [[gnu::always_inline]] Outcome against(const V &v) const {
            const Outcome outcome = Policy::compare(value, std::addressof(v));
            return outcome.equal && is_longer ? Outcome{false, true} : outcome;
        }
        [[nodiscard]] std::uint64_t integer() const { return prefix; }
        [[gnu::always_inline]] static std::uint64_t integer_of(const V &v) {
            return prefix_of(std::addressof(v));
        }
        Outcome tie(const V &v) const { return against(v); }
        typename Policy::Sought value;
        bool is_longer;
        std::uint64_t prefix;
    };
    template <class A>
    static held_bytes hold(const A &a) {
        const std::string_view text = bytes_of(a);
        held_bytes held{{}, text.find_first_not_of('\0', count) != text.npos};
        text.copy(held.bytes.data(), count);
        return held;
    }
    static sought_bytes sought(const held_bytes &held) {
        return sought(held.bytes.data(), held.is_longer);
    }
    static sought_bytes sought(const V &v) { return sought(std::addressof(v), false); }
    static constexpr code direct{ZOEAVL_KEYTYPE_CHAR, static_cast<std::int32_t>(count)};
    static constexpr code behind{};

  private:
    static sought_bytes sought(const void *bytes, bool is_longer) {
        return {{}, Policy::load(bytes, Length{}), is_longer, prefix_of(bytes)};
    }
    [[gnu::always_inline]] static std::uint64_t prefix_of(const void *bytes) {
        if constexpr (count >= engine::ByteString::first_units)
            return engine::ByteString::first(bytes);
        else
            return has_prefix ? engine::ByteString::prefix_of(bytes, count) : 0;
    }
};

/* What strings of all kinds hold. */
inline std::string_view text_of(std::string_view text) {
    return text;
}
inline std::string_view text_of(const ZOEAVLVaryingKey &key) {
    return {static_cast<const char *>(key.chars), key.length};
}

/* The first eight bytes, with zeros behind a shorter text, as a number that orders as they do. */
inline std::uint64_t prefix_number(std::string_view text) {
    if (text.size() >= engine::ByteString::prefix_units) [[likely]]
        return engine::ByteString::prefix_of(text.data(), text.size());
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < engine::ByteString::prefix_units; i++)
        number = number << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
    return number << 32;
}

/* A record as a string with its own copy of the first bytes. */
template <class Record, auto text_member, auto prefix_member>
struct prefixed_text {
    const Record &record;
};
template <class Record, auto text_member, auto prefix_member>
std::string_view text_of(const prefixed_text<Record, text_member, prefix_member> &prefixed) {
    return prefixed.record.*text_member;
}
template <class Record, auto text_member, auto prefix_member>
std::uint64_t prefix_number(const prefixed_text<Record, text_member, prefix_member> &prefixed) {
    return __builtin_bswap64(
        engine::read<std::uint64_t>(std::addressof(prefixed.record.*prefix_member)));
}

inline std::uint64_t prefix_number(const ZOEAVLVaryingKey &key) {
    return prefix_number(text_of(key));
}

/* Strings by their first bytes, unless those are equal. */
template <class V>
struct string_order {
    static constexpr bool takes_long = true;
    struct held_text {
        std::string_view text;
        std::uint64_t number;
    };
    struct sought_text : decided<deciding::integers_and_ties> {
        [[gnu::always_inline]] Outcome against(const V &v) const {
            const Outcome outcome = engine::order(held.number, prefix_number(v));
            return outcome.equal ? tie(v) : outcome;
        }
        [[nodiscard]] std::uint64_t integer() const { return held.number; }
        [[gnu::always_inline]] static std::uint64_t integer_of(const V &v) {
            return prefix_number(v);
        }
        [[nodiscard]] Outcome tie(const V &v) const {
            return engine::order(held.text.compare(text_of(v)), 0);
        }
        held_text held;
    };
    template <class A>
    static held_text hold(const A &a) {
        static_assert(std::is_same_v<A, V> || std::is_convertible_v<const A &, std::string_view>,
                      "zoeavl: a string key is looked up by what converts to std::string_view");
        const std::string_view text = text_of(a);
        return {text, prefix_number(text)};
    }
    static sought_text sought(const held_text &held) { return {{}, held}; }
    static sought_text sought(const V &v) { return {{}, {text_of(v), prefix_number(v)}}; }
    template <std::same_as<V> Text>
    requires(!requires(const Text &v) { v.record; }) static const void *far(const Text &v) {
        return text_of(v).data();
    }
    static constexpr code direct =
        std::is_same_v<V, ZOEAVLVaryingKey> ? code{ZOEAVL_KEYTYPE_VCHAR} : code{};
    static constexpr code behind{};
};

/* A comparison result that has no order counts as equal. */
template <class Result>
Outcome outcome_of(const Result &result) {
    const bool after = result > 0;
    return {!after && !(result < 0), after};
}

/* The order of a type by its own operators. */
struct natural_compare {
    template <class A, class B>
    requires std::three_way_comparable_with<A, B>
    constexpr auto operator()(const A &a, const B &b) const noexcept(noexcept(a <=> b)) {
        return a <=> b;
    }
    template <class A, class B>
    requires(!std::three_way_comparable_with<A, B> &&
             requires(const A &a, const B &b) {
                 { a < b } -> std::convertible_to<bool>;
                 { b < a } -> std::convertible_to<bool>;
             }) constexpr bool
    operator()(const A &a, const B &b) const noexcept(noexcept(a < b)) {
        return a < b;
    }
    using is_transparent = void;
};

/* Arrays that have no code of their own by their elements' operators, those of arrays again
 * element by element. */
struct elementwise_compare {
    template <class E, std::size_t count>
    constexpr auto operator()(const E (&a)[count], const E (&b)[count]) const {
        using Result = decltype(elements(a[0], b[0]));
        if constexpr (std::is_same_v<Result, bool>) {
            return std::lexicographical_compare(a, a + count, b, b + count, elements<E>);
        } else {
            for (std::size_t i = 0; i < count; i++)
                if (const Result outcome = elements(a[i], b[i]); outcome != 0)
                    return outcome;
            return static_cast<Result>(std::strong_ordering::equal);
        }
    }

  private:
    template <class E>
    static constexpr auto elements(const E &a, const E &b) {
        if constexpr (std::is_array_v<E>)
            return elementwise_compare{}(a, b);
        else if constexpr (std::is_same_v<E, char>)
            return static_cast<unsigned char>(a) <=> static_cast<unsigned char>(b);
        else
            return natural_compare{}(a, b);
    }
};

template <class Compare, class A, class B>
concept compares = std::is_invocable_v<const Compare &, const A &, const B &> &&
    std::is_invocable_v<const Compare &, const B &, const A &>;

/* Any order by a three-way or less-than comparison: which of the two may depend on what is sought.
 */
template <class V, class Compare>
struct compared_order {
    static constexpr bool takes_long = true;

    template <class A>
    static constexpr bool taken_as_it_is = std::is_same_v<A, V> ||
                                           (compares<Compare, A, V> && (requires {
                                                typename Compare::is_transparent;
                                            } || !std::is_convertible_v<const A &, V>));

    template <class A>
    struct three_way : decided<deciding::comparison> {
        static constexpr bool nothrow =
            std::is_nothrow_invocable_v<const Compare &, const A &, const V &>;
        Outcome against(const V &v) const { return outcome_of(Compare{}(value, v)); }
        const A &value;
    };
    template <class A>
    struct less_than : decided<deciding::less_than> {
        static constexpr bool nothrow =
            std::is_nothrow_invocable_v<const Compare &, const A &, const V &> &&
            std::is_nothrow_invocable_v<const Compare &, const V &, const A &>;
        bool is_above(const V &v) const { return Compare{}(v, value); }
        bool is_below(const V &v) const { return Compare{}(value, v); }
        const A &value;
    };
    template <class A>
    struct reference {
        const A &value;
    };

    template <class A>
    static auto hold(const A &a) {
        if constexpr (taken_as_it_is<A>) {
            return reference<A>{a};
        } else {
            static_assert(std::is_convertible_v<const A &, V>,
                          "zoeavl: the look-up value neither compares with the key nor converts");
            return V(a);
        }
    }
    template <class A>
    static auto sought(const reference<A> &held) {
        return sought_of(held.value);
    }
    static auto sought(const V &v) { return sought_of(v); }
    static constexpr code direct{};
    static constexpr code behind{};

  private:
    template <class A>
    static auto sought_of(const A &a) {
        if constexpr (std::is_same_v<std::invoke_result_t<const Compare &, const A &, const V &>,
                                     bool>)
            return less_than<A>{{}, a};
        else
            return three_way<A>{{}, a};
    }
};

template <class Order>
struct descending_order : Order {
    template <class Sought>
    struct reversed {
        static constexpr bool by_integers = Sought::by_integers;
        static constexpr bool has_ties = Sought::has_ties;
        static constexpr bool by_less = Sought::by_less;
        static constexpr bool nothrow = Sought::nothrow;
        static Outcome reverse(Outcome outcome) { return {outcome.equal, !outcome.after}; }
        auto against(const auto &v) const requires(!by_less) { return reverse(sought.against(v)); }
        bool is_above(const auto &v) const requires by_less { return sought.is_below(v); }
        bool is_below(const auto &v) const requires by_less { return sought.is_above(v); }
        auto integer() const requires by_integers { return ~sought.integer(); }
        static auto integer_of(const auto &v) requires by_integers {
            return ~Sought::integer_of(v);
        }
        auto tie(const auto &v) const requires has_ties { return reverse(sought.tie(v)); }
        Sought sought;
    };
    static auto sought(const auto &held) {
        return reversed<decltype(Order::sought(held))>{Order::sought(held)};
    }
    static constexpr code direct{};
    static constexpr code behind{};
};

template <class V>
struct order_of_type {
    static_assert(compares<natural_compare, V, V>,
                  "zoeavl: the key's type has neither <=> nor <; give a comparison by by<...>");
    using type = compared_order<V, natural_compare>;
};
template <class V>
requires(integer_like<V> || std::is_pointer_v<V>) struct order_of_type<V> {
    using type = integer_order<V>;
};
template <>
struct order_of_type<double> {
    using type = double_order<engine::Double, ZOEAVL_KEYTYPE_DBL, ZOEAVL_KEYTYPE_DBLP>;
};
template <class Allocator>
struct order_of_type<std::basic_string<char, std::char_traits<char>, Allocator>> {
    using type = string_order<std::basic_string<char, std::char_traits<char>, Allocator>>;
};
template <>
struct order_of_type<std::string_view> {
    using type = string_order<std::string_view>;
};
template <>
struct order_of_type<ZOEAVLVaryingKey> {
    using type = string_order<ZOEAVLVaryingKey>;
};
template <class V>
concept array_element = character<V> ||(std::integral<V> && (sizeof(V) == 4 || sizeof(V) == 8));
template <class E, class V, std::size_t count>
struct order_of_array {
    using type = integer_array_order<integer_of_t<E>, V, count>;
};
template <character E, class V, std::size_t count>
struct order_of_array<E, V, count> {
    using type = characters_order<V, count>;
};
template <array_element E, std::size_t count>
requires(count > 0) struct order_of_type<std::array<E, count>>
    : order_of_array<E, std::array<E, count>, count> {
};
template <class E, std::size_t count>
struct order_of_type<E[count]> {
    using type = compared_order<E[count], elementwise_compare>;
};
template <array_element E, std::size_t count>
struct order_of_type<E[count]> : order_of_array<E, E[count], count> {};

/* ---- Keys -------------------------------------------------------------------------------------
 *
 * A key of a record gives access to its `value`: `get(record)`, `is_member` (it stands in the
 * record as it is compared, so that its address means something), `is_behind` (it stands behind a
 * pointer that does), and `offset()` of what stands there. To that comes its `order`, which is only
 * asked for where no other one is given. */

template <class Record, class Key, auto key>
struct key_access {
    static_assert(std::is_invocable_v<decltype(key), const Record &>,
                  "zoeavl: a key is a member of the record, or a callable from const Record &");
    using value = std::remove_cvref_t<std::invoke_result_t<decltype(key), const Record &>>;
    static constexpr bool is_member = std::is_member_object_pointer_v<Key>;
    static constexpr bool is_behind = false;
    [[gnu::always_inline]] static decltype(auto)
    get(const Record &r) noexcept(std::is_nothrow_invocable_v<decltype(key), const Record &>) {
        if constexpr (is_member)
            return (r.*key);
        else
            return std::invoke(key, r);
    }
    static std::ptrdiff_t offset() requires is_member {
        typename member_pointer<Key>::member Record::*const member = key;
        return offset_of(member);
    }
};

template <class Record, class Key, auto key>
struct key_of : key_access<Record, Key, key> {
    using order = typename order_of_type<typename key_of::value>::type;
};

template <class Record, auto key>
using key_model = key_of<Record, std::remove_const_t<decltype(key)>, key>;

template <class Key>
inline constexpr bool says_how = false;
template <auto inner>
inline constexpr bool says_how<descending_key<inner>> = true;
template <auto inner, class Compare>
inline constexpr bool says_how<compared_key<inner, Compare>> = true;
template <auto inner>
inline constexpr bool says_how<missing_key<inner>> = true;

/* The access to a key that is to be ordered by what stands around it. */
struct no_access {};
template <class Record, auto inner, class Key = std::remove_const_t<decltype(inner)>>
struct unordered_key
    : std::conditional_t<says_how<Key>, no_access, key_access<Record, Key, inner>> {
    static_assert(!says_how<Key>,
                  "zoeavl: by, missing and indirect take a key that doesn't say how it sorts");
};

template <class Record, auto inner, auto key>
struct key_of<Record, descending_key<inner>, key> : key_model<Record, inner> {
    using order = descending_order<typename key_model<Record, inner>::order>;
};

template <class Record, auto inner, auto key>
struct key_of<Record, missing_key<inner>, key> : unordered_key<Record, inner> {
    static_assert(std::is_same_v<typename unordered_key<Record, inner>::value, double>,
                  "zoeavl: missing values are doubles");
    using order = double_order<engine::MissingDouble, ZOEAVL_KEYTYPE_MDBL, ZOEAVL_KEYTYPE_MDBLP>;
};

/* Comparisons that say what the type's own order says are that order. */
template <class V, class Compare>
struct order_by {
    static_assert(compares<Compare, V, V>, "zoeavl: the comparison can't be called with two keys");
    using result = std::invoke_result_t<const Compare &, const V &, const V &>;
    static_assert(
        std::is_same_v<result, bool> ||
            requires(const result &r) {
                { r < 0 } -> std::convertible_to<bool>;
                { r > 0 } -> std::convertible_to<bool>;
            },
        "zoeavl: a comparison gives bool (less-than) or something to compare with 0 (three-way)");
    using type = compared_order<V, Compare>;
};
template <class V, class Compare>
inline constexpr bool is_own_order =
    (std::integral<V> || std::is_same_v<V, double> ||
     std::is_same_v<V, std::string>)&&(std::is_same_v<Compare, std::less<>> ||
                                       std::is_same_v<Compare, std::less<V>> ||
                                       std::is_same_v<Compare, std::compare_three_way>);
template <class V, class Compare>
inline constexpr bool is_own_order_reversed =
    (std::integral<V> || std::is_same_v<V, double> ||
     std::is_same_v<V, std::string>)&&(std::is_same_v<Compare, std::greater<>> ||
                                       std::is_same_v<Compare, std::greater<V>>);
template <class V, class Compare>
requires is_own_order<V, Compare>
struct order_by<V, Compare> : order_of_type<V> {
};
template <class V, class Compare>
requires is_own_order_reversed<V, Compare>
struct order_by<V, Compare> {
    using type = descending_order<typename order_of_type<V>::type>;
};

template <class Record, auto inner, class Compare, auto key>
struct key_of<Record, compared_key<inner, Compare>, key> : unordered_key<Record, inner> {
    using order = typename order_by<typename unordered_key<Record, inner>::value, Compare>::type;
};

template <class Record, auto text, auto prefix, auto key>
struct key_of<Record, prefixed_key<text, prefix>, key> {
    static_assert(sizeof(std::declval<Record &>().*prefix) == 8,
                  "zoeavl: the prefix is kept in a member of eight bytes");
    using value = prefixed_text<Record, text, prefix>;
    using order = string_order<value>;
    static constexpr bool is_member = false;
    static constexpr bool is_behind = false;
    [[gnu::always_inline]] static value get(const Record &r) noexcept { return {r}; }
    static void prepare(Record &r) {
        const std::uint64_t bytes = __builtin_bswap64(prefix_number(r.*text));
        std::memcpy(std::addressof(r.*prefix), &bytes, sizeof bytes);
    }
};

template <class Order>
struct indirect_order : Order {
    static constexpr bool takes_long = true;
    static const void *far(const auto &v) { return std::addressof(v); }
};

template <class Record, auto inner, auto key>
struct key_access<Record, indirect_key<inner>, key> {
    using pointer = unordered_key<Record, inner>;
    static_assert(
        requires(const typename pointer::value &p) { *p; }, "zoeavl: an indirect key is a pointer");
    using value = std::remove_cvref_t<decltype(*std::declval<const typename pointer::value &>())>;
    static constexpr bool is_member = false;
    static constexpr bool is_behind =
        pointer::is_member && std::is_pointer_v<typename pointer::value>;
    [[gnu::always_inline]] static decltype(auto)
    get(const Record &r) noexcept(noexcept(*pointer::get(r))) {
        return *pointer::get(r);
    }
    static std::ptrdiff_t offset() requires is_behind { return pointer::offset(); }
};
template <class Record, auto inner, auto key>
struct key_of<Record, indirect_key<inner>, key> : key_access<Record, indirect_key<inner>, key> {
    using order = indirect_order<typename order_of_type<typename key_of::value>::type>;
};

/* ---- Searches ---------------------------------------------------------------------------------*/

/* What is sought of one key, against records. */
template <class Key, class Sought>
struct part {
    using key = Key;
    using sought = Sought;
    template <class Record>
    [[gnu::always_inline]] Outcome against(const Record &r) const {
        return against_value(Key::get(r));
    }
    [[gnu::always_inline]] Outcome against_value(const auto &v) const {
        if constexpr (Sought::by_less) {
            const bool after = value.is_above(v);
            return {!after && !value.is_below(v), after};
        } else {
            return value.against(v);
        }
    }
    Sought value;
};

template <class Record, class Part>
inline constexpr bool is_nothrow_part =
    Part::sought::nothrow &&noexcept(Part::key::get(std::declval<const Record &>()));

template <class Key, class Sought>
[[gnu::always_inline]] inline part<Key, Sought> part_for(const Sought &sought) {
    return {sought};
}

/* The search for the first of an index's keys, or for all of them. */
template <class Hook, class First, class... Others>
class record_search {
    using record = typename Hook::record;
    using first_key = typename First::key;

  public:
    static constexpr bool takes_long = First::key::order::takes_long;
    static constexpr bool has_ties = sizeof...(Others) > 0 || First::sought::has_ties;
    static constexpr bool nothrow =
        (is_nothrow_part<record, First> && ... && is_nothrow_part<record, Others>);

    explicit record_search(const First &first_, const Others &...others_)
        : first(first_), others(others_...) {}

    [[gnu::always_inline]] Outcome compare(ZOEAVLp node) const {
        const record &r = *Hook::record_of(node);
        const Outcome outcome = first.against(r);
        return sizeof...(Others) == 0 || !outcome.equal ? outcome : against_others(r);
    }
    [[gnu::always_inline]] auto sought_integer() const requires(First::sought::by_integers) {
        return first.value.integer();
    }
    [[gnu::always_inline]] auto integer_of(ZOEAVLp node) const
        requires(First::sought::by_integers) {
        return First::sought::integer_of(first_key::get(*Hook::record_of(node)));
    }
    void fetch(ZOEAVLp node) const requires requires(const typename first_key::value &v) {
        first_key::order::far(v);
    }
    { __builtin_prefetch(first_key::order::far(first_key::get(*Hook::record_of(node)))); }
    Outcome tie(ZOEAVLp node) const requires has_ties {
        const record &r = *Hook::record_of(node);
        if constexpr (First::sought::has_ties) {
            const Outcome outcome = first.value.tie(first_key::get(r));
            if (!outcome.equal)
                return outcome;
        }
        return against_others(r);
    }

  private:
    [[gnu::always_inline]] Outcome against_others(const record &r) const {
        Outcome outcome{true, false};
        std::apply(
            [&](const auto &...other) {
                (void)((outcome = other.against(r), outcome.equal) && ...);
            },
            others);
        return outcome;
    }
    First first;
    std::tuple<Others...> others;
};

/* The search for one key where there is less-than alone. */
template <class Hook, class Only>
class record_less_search {
  public:
    static constexpr bool takes_long = Only::key::order::takes_long;
    static constexpr bool nothrow = is_nothrow_part<typename Hook::record, Only>;
    explicit record_less_search(const Only &only_) : only(only_) {}
    bool is_above(ZOEAVLp node) const {
        return only.value.is_above(Only::key::get(*Hook::record_of(node)));
    }
    bool is_below(ZOEAVLp node) const {
        return only.value.is_below(Only::key::get(*Hook::record_of(node)));
    }

  private:
    Only only;
};

template <class Hook, class First, class... Others>
[[gnu::always_inline]] inline auto search_of(const First &first, const Others &...others) {
    if constexpr (sizeof...(Others) == 0 && First::sought::by_less)
        return record_less_search<Hook, First>(first);
    else
        return record_search<Hook, First, Others...>(first, others...);
}

/* How what is sought stands to a node, by any search. */
template <class Search>
[[gnu::always_inline]] inline Outcome compared(const Search &search, ZOEAVLp node) {
    if constexpr (engine::LessSearch<Search>) {
        const bool after = search.is_above(node);
        return {!after && !search.is_below(node), after};
    } else {
        return search.compare(node);
    }
}

/* The keys of an index together: the order of its records. */
template <class Hook, auto... keys>
struct ordering {
    using record = typename Hook::record;
    static constexpr std::size_t count = sizeof...(keys);
    static_assert(count > 0, "zoeavl: an index needs a key");
    template <std::size_t i>
    using key = std::tuple_element_t<i, std::tuple<key_model<record, keys>...>>;

    /* Runs ahead of an insertion: keys that keep something in the record set it. */
    static void prepare(record &r) {
        const auto prepare_for = [&r]<class Key>(Key) {
            if constexpr (requires { Key::prepare(r); })
                Key::prepare(r);
        };
        (prepare_for(key_model<record, keys>{}), ...);
    }

    /* Look-up values of the first keys, or all, made ready for any number of searches. */
    template <class... A>
    static auto hold(const A &...values) {
        static_assert(sizeof...(A) <= count, "zoeavl: more look-up values than keys");
        return [&]<std::size_t... i>(std::index_sequence<i...>) {
            return std::tuple<decltype(key<i>::order::hold(values))...>(
                key<i>::order::hold(values)...);
        }
        (std::index_sequence_for<A...>{});
    }

    /* The search for what is held, which must outlive it. */
    template <class... Held>
    [[gnu::always_inline]] static auto search(const std::tuple<Held...> &held) {
        return [&]<std::size_t... i>(std::index_sequence<i...>) {
            return search_of<Hook>(part_for<key<i>>(key<i>::order::sought(std::get<i>(held)))...);
        }
        (std::index_sequence_for<Held...>{});
    }

    /* A record's own values, to be searched for in the same way: references, where there is
     * something to refer to. */
    [[gnu::always_inline]] static auto values_of(const record &r) {
        return std::tuple<decltype(key_model<record, keys>::get(r))...>(
            key_model<record, keys>::get(r)...);
    }
};

} // namespace detail
} // namespace ZOEAVL_FACE_NAMESPACE

#endif
