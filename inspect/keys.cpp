#include "keys.h"

#include <cstring>
#include <dlfcn.h>

#include "zoeavl/keys/characters.hpp"
#include "zoeavl/keys/floating.hpp"
#include "zoeavl/keys/integers.hpp"

namespace zoe::inspect {

using namespace engine;

namespace {

template <class Policy>
Outcome compare_as(const void *sought, const void *key, std::ptrdiff_t units) {
    return Policy::compare(Policy::load(sought, units), key);
}

using Form = KeyType::Form;

template <class String, class Char>
constexpr KeyType characters(const char *name, const char *words, Form form) {
    return {name,
            words,
            sizeof(Char),
            form,
            form == Form::direct,
            true,
            false,
            compare_as<FixedCharacters<String>>};
}
template <class Integer>
constexpr KeyType integer(const char *name, const char *words, Form form = Form::direct) {
    return {name, words, sizeof(Integer), form, false, false, false, compare_as<Scalar<Integer>>};
}
template <class Integer>
constexpr KeyType array(const char *name, const char *words, Form form = Form::direct) {
    return {name, words, sizeof(Integer), form, true, false, false, compare_as<Array<Integer>>};
}
template <class Policy>
constexpr KeyType number(const char *name, const char *words, bool nan_is_blind, Form form) {
    return {name, words, sizeof(double), form, false, false, nan_is_blind, compare_as<Policy>};
}

constexpr const char *byte = "byte, unsigned";
constexpr const char *wide = "32-bit character, signed";
constexpr const char *i32 = "signed 32-bit integer";
constexpr const char *i64 = "signed 64-bit integer";
constexpr const char *u32 = "unsigned 32-bit integer";
constexpr const char *u64 = "unsigned 64-bit integer";
constexpr const char *plain_double = "double";
constexpr const char *missing = "double, NaNs being missing values";

/* By table. */
constexpr KeyType key_types[] = {
    characters<ByteString, char>("cbchar", byte, Form::direct),
    characters<WideString, zochar>("cbzochar", wide, Form::direct),
    characters<ByteString, char>("cbvchar", byte, Form::varying),
    characters<WideString, zochar>("cbvzochar", wide, Form::varying),
    integer<std::int32_t>("cbi32", i32),
    integer<std::int64_t>("cbi64", i64),
    integer<std::uint32_t>("cbu32", u32),
    integer<std::uint64_t>("cbu64", u64),
    array<std::int32_t>("cbia32", i32),
    array<std::int64_t>("cbia64", i64),
    array<std::uint32_t>("cbua32", u32),
    array<std::uint64_t>("cbua64", u64),
    number<Double>("cbdbl", plain_double, true, Form::direct),
    number<MissingDouble>("cbmdbl", missing, false, Form::direct),
    integer<std::int32_t>("cbi32p", i32, Form::pointer),
    integer<std::int64_t>("cbi64p", i64, Form::pointer),
    integer<std::uint32_t>("cbu32p", u32, Form::pointer),
    integer<std::uint64_t>("cbu64p", u64, Form::pointer),
    array<std::int32_t>("cbia32p", i32, Form::pointer),
    array<std::int64_t>("cbia64p", i64, Form::pointer),
    array<std::uint32_t>("cbua32p", u32, Form::pointer),
    array<std::uint64_t>("cbua64p", u64, Form::pointer),
    number<Double>("cbdblp", plain_double, true, Form::pointer),
    number<MissingDouble>("cbmdblp", missing, false, Form::pointer),
};
constexpr std::size_t type_count = sizeof key_types / sizeof key_types[0];
static_assert(type_count == static_cast<std::size_t>(Table::cbmdblp) + 1);

/* The name under which the loader knows what starts at that address; empty if there is none. Tables
 * are told by it and not by their addresses, since a host may load the library for itself alone. */
const char *exported_name(const void *address) {
    Dl_info info;
    return dladdr(address, &info) != 0 && info.dli_saddr == address ? info.dli_sname : "";
}

} // namespace

const KeyType &key_type(Table table) {
    return key_types[static_cast<std::size_t>(table)];
}

Table table_at(const void *optable) {
    const char *const name = exported_name(optable);
    for (std::size_t i = 0; i < type_count; i++)
        if (std::strcmp(name, key_types[i].name) == 0)
            return static_cast<Table>(i);
    return Table::none;
}

bool is_zero_length(const void *adder) {
    return std::strcmp(exported_name(adder), "ZOEAVLZeroAdd") == 0;
}

std::uint64_t KeyType::field_size(std::int32_t keylen) const {
    if (form == Form::pointer)
        return sizeof(void *);
    if (form == Form::varying)
        return offsetof(ZOEAVLVaryingKey, length) + sizeof(ZOEAVLVaryingKey::length);
    if (!counted)
        return unit;
    return keylen > 0 ? static_cast<std::uint64_t>(keylen) * unit : 0;
}

bool Keys::units_of(std::uintptr_t record, Units &units) {
    const std::uintptr_t field = record + static_cast<std::uintptr_t>(offset);
    units = {field, 1};
    if (type.form == Form::varying) {
        unsigned char key[sizeof(ZOEAVLVaryingKey)];
        if (!memory.read(field, key, type.field_size(1)))
            return false;
        units = {engine::read<std::uintptr_t>(key + offsetof(ZOEAVLVaryingKey, chars)),
                 engine::read<std::uint32_t>(key + offsetof(ZOEAVLVaryingKey, length))};
    } else if (type.counted) {
        units.count = keylen > 0 ? static_cast<std::uint64_t>(keylen) : 0;
    }
    return type.form != Form::pointer || memory.read(field, units.address);
}

/* Piece by piece, so that no more is read than a comparison in place would. */
Keys::Standing Keys::compare(std::uintptr_t sought, std::uintptr_t other) {
    Units a;
    Units b;
    if (!units_of(sought, a) || !units_of(other, b))
        return Standing::unreadable;
    constexpr std::size_t piece_bytes = 64;
    unsigned char piece_a[piece_bytes];
    unsigned char piece_b[piece_bytes];
    const std::uint64_t common = a.count < b.count ? a.count : b.count;
    Outcome outcome = order(a.count, b.count);
    for (std::uint64_t done = 0; done < common;) {
        const std::uint64_t rest = common - done;
        const std::uint64_t units = rest < piece_bytes / type.unit ? rest : piece_bytes / type.unit;
        const std::uint64_t at = done * type.unit;
        if (!memory.read(a.address + at, piece_a, units * type.unit) ||
            !memory.read(b.address + at, piece_b, units * type.unit))
            return Standing::unreadable;
        const Outcome piece = type.compare(piece_a, piece_b, static_cast<std::ptrdiff_t>(units));
        if (!piece.equal) {
            outcome = piece;
            break;
        }
        done += units;
    }
    if (outcome.equal)
        return Standing::equal;
    return outcome.after ? Standing::above : Standing::below;
}

Keys::Standing Keys::alone(std::uintptr_t record) {
    Units key;
    unsigned char first[sizeof(std::uint64_t)];
    const bool readable =
        units_of(record, key) && (key.count == 0 || memory.read(key.address, first, type.unit));
    return readable ? Standing::above : Standing::unreadable;
}

bool Keys::is_blind(std::uintptr_t record) {
    Units key;
    std::int64_t bits;
    return type.nan_is_blind && units_of(record, key) && memory.read(key.address, bits) &&
           SoughtDouble::is_nan(bits);
}

} // namespace zoe::inspect
