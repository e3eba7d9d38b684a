/* What is known of the built-in key types: how they read in words, and how keys that can't be
 * trusted compare. */
#ifndef ZOEAVL_INSPECT_KEYS_H
#define ZOEAVL_INSPECT_KEYS_H

#include "memory.h"
#include "zoeavl/keys/codes.hpp"
#include "zoeavl/keys/outcome.hpp"

namespace zoe::inspect {

struct KeyType {
    enum class Form { direct, pointer, varying };
    const char *name;
    const char *words; /* what one unit is, in the singular */
    std::size_t unit;  /* bytes of a unit */
    Form form;         /* how the key field leads to the units */
    bool counted;      /* `keylen` counts the units; otherwise there is one, or as many as vary */
    bool characters;
    bool nan_is_blind; /* a NaN compares equal to everything */
    engine::Outcome (*compare)(const void *sought, const void *key, std::ptrdiff_t units);

    /* Bytes of the key field in a record. */
    [[nodiscard]] std::uint64_t field_size(std::int32_t keylen) const;
};

const KeyType &key_type(engine::Table table);

/* The built-in table at that address, or none. */
engine::Table table_at(const void *optable);

/* True if the function is the operation of trees with zero-length keys. */
bool is_zero_length(const void *adder);

/* The keys of records, compared on copies. */
class Keys {
  public:
    enum class Standing { below, equal, above, unreadable };

    Keys(Memory &memory_, const KeyType &type_, std::int32_t keyoff, std::int32_t keylen_)
        : memory(memory_), type(type_), offset(keyoff), keylen(keylen_) {}

    /* How the key of the record at `sought` stands to that of the record at `other`. */
    Standing compare(std::uintptr_t sought, std::uintptr_t other);

    /* How the first key stands, with none before it: above, unless it can't be read. */
    Standing alone(std::uintptr_t record);

    /* True if the key compares equal to everything. */
    bool is_blind(std::uintptr_t record);

  private:
    struct Units {
        std::uintptr_t address;
        std::uint64_t count;
    };
    bool units_of(std::uintptr_t record, Units &units);

    Memory &memory;
    const KeyType &type;
    std::ptrdiff_t offset;
    std::int32_t keylen;
};

} // namespace zoe::inspect

#endif
