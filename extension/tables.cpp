/* The twenty-four key types: the engine instantiated for each, and the exported tables of it. */
#include "zoeavl/engine/deletion.hpp"
#include "zoeavl/engine/insertion.hpp"
#include "zoeavl/engine/lookup.hpp"
#include "zoeavl/keys/characters.hpp"
#include "zoeavl/keys/floating.hpp"
#include "zoeavl/keys/indirect.hpp"
#include "zoeavl/keys/integers.hpp"
#include "zoeavl/keys/varying.hpp"

namespace {
using namespace zoe::engine;

namespace key {
using char_ = FixedCharacters<ByteString>;
using zochar_ = FixedCharacters<WideString>;
using vchar_ = VaryingCharacters<ByteString>;
using vzochar_ = VaryingCharacters<WideString>;
using i32_ = Scalar<std::int32_t>;
using i64_ = Scalar<std::int64_t>;
using u32_ = Scalar<std::uint32_t>;
using u64_ = Scalar<std::uint64_t>;
using ia32_ = Array<std::int32_t>;
using ia64_ = Array<std::int64_t>;
using ua32_ = Array<std::uint32_t>;
using ua64_ = Array<std::uint64_t>;
using dbl_ = Double;
using mdbl_ = MissingDouble;
using i32p_ = Indirect<i32_>;
using i64p_ = Indirect<i64_>;
using u32p_ = Indirect<u32_>;
using u64p_ = Indirect<u64_>;
using ia32p_ = Indirect<ia32_>;
using ia64p_ = Indirect<ia64_>;
using ua32p_ = Indirect<ua32_>;
using ua64p_ = Indirect<ua64_>;
using dblp_ = Indirect<dbl_>;
using mdblp_ = Indirect<mdbl_>;
} // namespace key

} // namespace

/* The four operations of a type under the names that a debugger or a profile shows, which is why
 * they have C linkage though nothing outside can reach them. */
#define DEFINE_OPERATIONS(type, variant, Lock)                                                     \
    static ZOEAVLp cb##type##_##variant##adder(ZOEAVLRootp root, ZOEAVLp node) {                   \
        return insert<key::type##_, Lock>(root, node);                                             \
    }                                                                                              \
    static ZOEAVLp cb##type##_##variant##finder(ZOEAVLRootp root, const void *sought) {            \
        return find<key::type##_, Lock>(root, sought);                                             \
    }                                                                                              \
    static ZOEAVLp cb##type##_##variant##fuzzier(ZOEAVLRootp root, const void *sought,             \
                                                 ZOEAVLp *previous, ZOEAVLp *next) {               \
        return find_with_neighbours<key::type##_, Lock>(root, sought, previous, next);             \
    }                                                                                              \
    static ZOEAVLp cb##type##_##variant##killer(ZOEAVLRootp root, const void *sought) {            \
        return remove<key::type##_, Lock>(root, sought);                                           \
    }

#define DEFINE_TYPE(type)                                                                          \
    DEFINE_OPERATIONS(type, , NoHold)                                                              \
    DEFINE_OPERATIONS(type, safe_, Hold)

extern "C" {
ZOEAVL_FOR_EACH_KEYTYPE(DEFINE_TYPE)
}

/* One section and the order of definition make the tables adjacent. */
#ifdef __clang__
#    pragma clang diagnostic ignored "-Wsection" // the header's declarations name no section
#endif
#define DEFINE_TABLE(type)                                                                         \
    extern "C" __attribute__((section(".data.rel.ro.zoeavl_tables"), aligned(64)))                 \
    const ZOEAVLOpTable cb##type = {                                                               \
        cb##type##_adder,        cb##type##_finder,      cb##type##_fuzzier,                       \
        cb##type##_killer,       cb##type##_safe_adder,  cb##type##_safe_finder,                   \
        cb##type##_safe_fuzzier, cb##type##_safe_killer,                                           \
    };

ZOEAVL_FOR_EACH_KEYTYPE(DEFINE_TABLE)
