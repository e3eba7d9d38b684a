/* Which table of operations a key-type code and a key length call for. */
#ifndef ZOEAVL_KEYS_CODES_HPP
#define ZOEAVL_KEYS_CODES_HPP

#include <cstddef>
#include <cstdint>

#include "zoeavl.h"

namespace zoe::inline v2::engine {

/* The built-in tables, in the order in which they stand in memory. */
enum class Table : signed char {
    none = -1,
#define ZOEAVL_ENUMERATE(type) cb##type,
    ZOEAVL_FOR_EACH_KEYTYPE(ZOEAVL_ENUMERATE)
#undef ZOEAVL_ENUMERATE
};
static_assert(static_cast<int>(Table::cbmdblp) == 23);

/* The tables of a key-type code, by key length. None leaves the table in force as it is. */
struct TablesOfCode {
    Table for_one;
    Table for_more; /* and for negative lengths */
};

/* By key-type code. Mind the order of the array codes: signed ahead of unsigned, not 32 ahead of 64
 * bits, as the scalar codes have it. */
inline constexpr TablesOfCode tables_of_code[] = {
    {Table::none, Table::none},           // 0, the caller's own table
    {Table::cbchar, Table::cbchar},       // 1
    {Table::cbzochar, Table::cbzochar},   // 2
    {Table::cbi32, Table::cbia32},        // 3
    {Table::cbu32, Table::cbua32},        // 4
    {Table::cbi64, Table::cbia64},        // 5
    {Table::cbu64, Table::cbua64},        // 6
    {Table::cbdbl, Table::none},          // 7
    {Table::cbmdbl, Table::none},         // 8
    {Table::cbi32, Table::cbia32},        // 9
    {Table::cbi64, Table::cbia64},        // 10
    {Table::cbu32, Table::cbua32},        // 11
    {Table::cbu64, Table::cbua64},        // 12
    {Table::cbvchar, Table::cbvchar},     // 13
    {Table::cbvzochar, Table::cbvzochar}, // 14
    {Table::cbi32p, Table::cbia32p},      // 15
    {Table::cbu32p, Table::cbua32p},      // 16
    {Table::cbi64p, Table::cbia64p},      // 17
    {Table::cbu64p, Table::cbua64p},      // 18
    {Table::cbdblp, Table::none},         // 19
    {Table::cbmdblp, Table::none},        // 20
    {Table::cbi32p, Table::cbia32p},      // 21
    {Table::cbi64p, Table::cbia64p},      // 22
    {Table::cbu32p, Table::cbua32p},      // 23
    {Table::cbu64p, Table::cbua64p},      // 24
};
static_assert(sizeof tables_of_code / sizeof tables_of_code[0] == ZOEAVL_KEYTYPE_GENERATED);

/* For a `keytype` below ZOEAVL_KEYTYPE_GENERATED and a `keylen` other than 0. */
constexpr Table table_for(ZOEAVLKeyType keytype, std::int32_t keylen) {
    return keylen == 1 ? tables_of_code[keytype].for_one : tables_of_code[keytype].for_more;
}

} // namespace zoe::inline v2::engine

#endif
