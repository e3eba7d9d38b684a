/* What a parameter block calls for, in words, and what about it would surprise. */
#include "zoeavl_inspect.h"

#include "keys.h"
#include "report.h"

namespace zoe::inspect {
namespace {

using namespace engine;

/* Codes for scalars, the ones for which an array table stands in for other lengths. */
bool is_scalar_code(ZOEAVLKeyType code) {
    return (code >= ZOEAVL_KEYTYPE_I32 && code <= ZOEAVL_KEYTYPE_U64) ||
           (code >= ZOEAVL_KEYTYPE_I32P && code <= ZOEAVL_KEYTYPE_U64P);
}
bool is_array_code(ZOEAVLKeyType code) {
    return (code >= ZOEAVL_KEYTYPE_IA32 && code <= ZOEAVL_KEYTYPE_UA64) ||
           (code >= ZOEAVL_KEYTYPE_IA32P && code <= ZOEAVL_KEYTYPE_UA64P);
}

class Explanation {
  public:
    Explanation(Memory &memory_, const ZOEAVLParms &parms_, Report &report_)
        : memory(memory_), parms(parms_), report(report_) {}

    void tell() {
        if (parms.keytype == ZOEAVL_KEYTYPE_OPTABLE)
            tell_own_table();
        else if (parms.keylen == 0)
            tell_zero_length();
        else if (parms.keytype == ZOEAVL_KEYTYPE_GENERATED)
            report.note("key type 25: operations compiled at run time; until the tree's Codegen "
                        "has succeeded none of them may be called");
        else if (parms.keytype > ZOEAVL_KEYTYPE_GENERATED)
            report.warning("creation gives null: there is no key type %u", parms.keytype);
        else if (table_for(parms.keytype, parms.keylen) == Table::none)
            report.warning("creation gives null: key type %u takes no length but 1, and %d is "
                           "given; re-creation %s",
                           parms.keytype, parms.keylen,
                           parms.keytype <= ZOEAVL_KEYTYPE_MDBL && parms.keylen > 1
                               ? "gives null too, and changes nothing"
                               : "keeps the operations in force and changes length and offset");
        else
            tell_built_in(key_type(table_for(parms.keytype, parms.keylen)));
        tell_swap();
        tell_flags();
    }

  private:
    void tell_own_table() {
        const bool locked = (parms.flags & ZOEAVL_PARM_NOLOCK) == 0;
        ZOEAVLOpTable table;
        if (parms.optable == nullptr) {
            report.warning("creation gives null: key type 0 without a table of operations");
            return;
        }
        if (!memory.read(reinterpret_cast<std::uintptr_t>(parms.optable), table)) {
            report.warning("creation would crash: the table of operations can't be read");
            return;
        }
        const ZOEAVLAdder adder = locked ? table.safe_adder : table.adder;
        const bool rest =
            locked ? table.safe_finder != nullptr && table.safe_fuzzier != nullptr &&
                         table.safe_killer != nullptr
                   : table.finder != nullptr && table.fuzzier != nullptr && table.killer != nullptr;
        const char *const slots = locked ? "4 to 7" : "0 to 3";
        report.note("key type 0: your own operations, slots %s", slots);
        if (adder == nullptr)
            report.warning("creation gives null: the table has no adder in slot %d, which a tree "
                           "%s a lock takes",
                           locked ? 4 : 0, locked ? "with" : "without");
        else if (!rest)
            report.warning("an operation would crash: slots %s aren't all filled", slots);
    }

    void tell_zero_length() {
        report.warning("key length 0: all keys are equal, whatever the key type, so the tree holds "
                       "at most one record%s",
                       parms.keytype == ZOEAVL_KEYTYPE_VCHAR ||
                               parms.keytype == ZOEAVL_KEYTYPE_VZOCHAR
                           ? "; keys of varying length want any other length here"
                           : "");
    }

    void tell_built_in(const KeyType &type) {
        using Form = KeyType::Form;
        const std::uint64_t size = type.field_size(parms.keylen);
        const std::int64_t first = parms.keyoff;
        char units[64] = "one ";
        if (type.form == Form::varying)
            std::snprintf(units, sizeof units, "as many as the record says of: ");
        else if (type.counted)
            std::snprintf(units, sizeof units, "%d of: ", parms.keylen);
        report.note("key type %u: %s, %s%s; %s bytes %ld to %ld of the record", parms.keytype,
                    type.name, units, type.words,
                    type.form == Form::direct    ? "in"
                    : type.form == Form::pointer ? "behind the pointer in"
                                                 : "behind the ZOEAVLVaryingKey in",
                    static_cast<long>(first),
                    static_cast<long>(first + static_cast<std::int64_t>(size)) - 1);
        if (is_scalar_code(parms.keytype) && parms.keylen != 1)
            report.warning("key type %u is one number, but the length is %d: keys are taken for "
                           "arrays of that many; the length isn't in bytes",
                           parms.keytype, parms.keylen);
        if (is_array_code(parms.keytype) && parms.keylen == 1)
            report.note("an array of one is the same tree as a scalar");
        if (parms.keylen < 0 && type.counted)
            report.warning(type.characters ? "the length is negative: comparisons run to the first "
                                             "difference, without end"
                                           : "the length is negative: all keys are equal, so the "
                                             "tree holds at most one record");
        if (first < static_cast<std::int64_t>(sizeof(ZOEAVLNODE)) &&
            first + static_cast<std::int64_t>(size) > 0)
            report.warning("the key overlaps the links, which are bytes 0 to 15 of the record");
    }

    void tell_swap() {
        constexpr auto links = static_cast<std::int32_t>(sizeof(ZOEAVLNODE));
        if (parms.keylen >= links && parms.keyoff > 0 && parms.keyoff < links)
            report.warning("length %d and offset %d look swapped: the length stands first here",
                           parms.keylen, parms.keyoff);
    }

    void tell_flags() {
        const std::uint32_t meaningless =
            parms.flags & ~(ZOEAVL_PARM_NOLOCK | ZOEAVL_PARM_LOCKVARIANT | ZOEAVL_PARM_CONTEXT);
        const bool locked = (parms.flags & ZOEAVL_PARM_NOLOCK) == 0;
        const bool variant = (parms.flags & ZOEAVL_PARM_LOCKVARIANT) != 0;
        report.note(!locked   ? "no lock"
                    : variant ? "a lock of the host's other kind, taken by the four operations"
                              : "a lock, taken by the four operations");
        if (!locked && variant)
            report.warning("the lock variant means nothing without a lock");
        if ((parms.flags & ZOEAVL_PARM_CONTEXT) == 0 && parms.context != 0)
            report.warning("the context is dropped, since ZOEAVL_PARM_CONTEXT isn't set");
        if (meaningless != 0)
            report.warning("flags %#x mean nothing", meaningless);
        if (parms.optable != nullptr && parms.keytype != ZOEAVL_KEYTYPE_OPTABLE)
            report.warning("the table of operations is ignored: only key type 0 takes one");
    }

    Memory &memory;
    const ZOEAVLParms &parms;
    Report &report;
};

} // namespace
} // namespace zoe::inspect

using namespace zoe::inspect;

int64_t zoeavl_explain(const ZOEAVLParms *parms, FILE *out) {
    Memory memory;
    Report report(out);
    ZOEAVLParms copy;
    if (memory.read(reinterpret_cast<std::uintptr_t>(parms), copy))
        Explanation(memory, copy, report).tell();
    else if (memory.failure() == 0)
        report.warning("the parameters at %p can't be read", static_cast<const void *>(parms));
    return report.goes_on(memory.failure()) ? report.faults() : ZOEAVL_INSPECT_FAILED;
}
