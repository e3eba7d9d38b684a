/* zoeavl: a table of operations for a key order of your own, compiled into your program.
 *
 * In C, any number of times in a file:
 *
 *     #define ZOEAVL_COMP(a, b, n, p, f)                                                     \
 *         {                                                                                  \
 *             const struct Word *sought = (a), *here = (b);                                  \
 *             if (sought->length < here->length) goto p;                                     \
 *             if (sought->length > here->length) goto f;                                     \
 *         }
 *     #define ZOEAVL_ORDER_NAME by_length
 *     #include <zoeavl_order.h>
 *
 * From there on `by_length` is a `const ZOEAVLOpTable` with external linkage: other files declare
 * it with `extern`. Give it to a tree:
 *
 *     ZOEAVLParms parms = {.keylen = 1, .keyoff = offsetof(struct Record, word),
 *                          .keytype = ZOEAVL_KEYTYPE_OPTABLE, .optable = &by_length};
 *
 * or call its plain slots on a ZOEAVL_ROOT of your own, without any tree object or library.
 *
 * ZOEAVL_COMP is a statement that compares two keys. `a` is the address of the sought key (in the
 * adder, of the new record's key), `b` the address of the key in the record at hand, both as
 * `void *`; `n` is the root's `keylen`; it does `goto p` if `a` sorts before `b`, `goto f` if it
 * sorts after, and runs off its end if they are equal. It may name its parameters more than once,
 * must not fail, must not touch the tree, and orders all keys the same way every time. The
 * parameters capture: no member or variable named in it may be called a, b, n, p or f. So do the
 * text's own variables, in `a` and `b` as well: name no variable tree, now, nowKey, off, q, r, s,
 * t, o, sbal, pbal, qBal, sBal, pBal, qBal2, stack, stackp, top, holdTop, scan, prevp, nextp or
 * heightChanged, outside of a function that it calls. Ahead of the include, ZOEAVL_FINDCOMP, of the
 * same form, may give finder and fuzzier a comparison of their own; the killer keeps to
 * ZOEAVL_COMP.
 *
 * The operations are compiled from the text that key type 25 has compiled at run time, so links,
 * results and the reads ahead of the lock are the same. The locked slots call `Get` and `Release`
 * of the root's `rw`; the plain ones don't read it.
 *
 * ZOEAVL_COMP, ZOEAVL_FINDCOMP and ZOEAVL_ORDER_NAME are used up: they are undefined behind the
 * include. Macros of yours that the text has a use for (TRUE, FALSE, NULL, ASSERT, ...) are as they
 * were; what ZOEAVL_COMP says of them it says with the text's meaning. No other name is left behind
 * than those that begin with ZOEAVL_.
 *
 * Needs gcc or clang, C11 or later. In C++ include <zoeavl.hpp>, where an order is a key. */
#ifdef __cplusplus
#    error                                                                                         \
        "zoeavl_order.h is for C: in C++ include <zoeavl.hpp> and give the order as by<&Record::key, Compare>"
#else

#    include "zoeavl.h"

#    ifndef ZOEAVL_ORDER_NAME
#        error "define ZOEAVL_ORDER_NAME, the name of the table, ahead of zoeavl_order.h"
#    endif
#    ifndef ZOEAVL_COMP
#        error "define ZOEAVL_COMP(a, b, n, p, f), the comparison, ahead of zoeavl_order.h"
#    endif

/* The text is older than these warnings, and is data to the last blank. */
#    pragma GCC diagnostic push
#    pragma GCC diagnostic ignored "-Wcast-align"
#    pragma GCC diagnostic ignored "-Wcast-qual"
#    pragma GCC diagnostic ignored "-Wconversion"
#    pragma GCC diagnostic ignored "-Wshadow"

#    pragma push_macro("TRUE")
#    pragma push_macro("FALSE")
#    pragma push_macro("NULL")
#    pragma push_macro("ASSERT")
#    pragma push_macro("Adder")
#    pragma push_macro("Finder")
#    pragma push_macro("FuzzyFinder")
#    pragma push_macro("Killer")
#    undef TRUE
#    undef FALSE
#    undef NULL
#    undef ASSERT
#    undef Adder
#    undef Finder
#    undef FuzzyFinder
#    undef Killer

#    define NULL ((void *)0)
#    define Adder ZOEAVL_ORDER_PART(adder)
#    define Finder ZOEAVL_ORDER_PART(text_finder)
#    define FuzzyFinder ZOEAVL_ORDER_PART(text_fuzzier)
#    define Killer ZOEAVL_ORDER_PART(text_killer)

/* Names with the table's in them, so that tables don't meet. */
#    define ZOEAVL_ORDER_PASTE(name, half, part) ZOEAVL_##name##_##half##part
#    define ZOEAVL_ORDER_JOIN(name, half, part) ZOEAVL_ORDER_PASTE(name, half, part)
#    define ZOEAVL_ORDER_PART(part) ZOEAVL_ORDER_JOIN(ZOEAVL_ORDER_NAME, ZOEAVL_ORDER_HALF, part)

/* A node may stand at any multiple of four, and so may a word of it that is pointed at. */
typedef ZOEAVLp ZOEAVL_ORDER_LINK __attribute__((aligned(4)));
#    define ZOEAVLp ZOEAVL_ORDER_LINK

/* One half of the table: what the text defines stays within the file, and lookups get the slots'
 * own signatures. */
#    define ZOEAVL_ORDER_DECLARE                                                                   \
        static ZOEAVLp Adder(ZOEAVLRootp tree, ZOEAVLp now);                                       \
        static ZOEAVLp Finder(ZOEAVLRootp tree, void *nowKey);                                     \
        static ZOEAVLp FuzzyFinder(ZOEAVLRootp tree, void *nowKey, ZOEAVLp *prevp,                 \
                                   ZOEAVLp *nextp);                                                \
        static ZOEAVLp Killer(ZOEAVLRootp tree, void *nowKey);                                     \
        static ZOEAVLp ZOEAVL_ORDER_PART(finder)(ZOEAVLRootp root, const void *key) {              \
            return Finder(root, (void *)key);                                                      \
        }                                                                                          \
        static ZOEAVLp ZOEAVL_ORDER_PART(fuzzier)(ZOEAVLRootp root, const void *key,               \
                                                  ZOEAVLp *previous, ZOEAVLp *next) {              \
            return FuzzyFinder(root, (void *)key, previous, next);                                 \
        }                                                                                          \
        static ZOEAVLp ZOEAVL_ORDER_PART(killer)(ZOEAVLRootp root, const void *key) {              \
            return Killer(root, (void *)key);                                                      \
        }

#    define ZOEAVL_ORDER_HALF
#    define ZOEAVL_DO_LOCK(l, rw)
#    define ZOEAVL_DO_UNLOCK(l)
ZOEAVL_ORDER_DECLARE
#    include "zoeavl/generation/engine.c"
#    undef ZOEAVL_ORDER_HALF
#    undef ZOEAVL_DO_LOCK
#    undef ZOEAVL_DO_UNLOCK

#    define ZOEAVL_ORDER_HALF safe_
#    define ZOEAVL_DO_LOCK(l, rw) ((l)->Get((l), (rw), TRUE))
#    define ZOEAVL_DO_UNLOCK(l) ((l)->Release((l)))
ZOEAVL_ORDER_DECLARE
#    include "zoeavl/generation/engine.c"
#    undef ZOEAVL_ORDER_HALF
#    undef ZOEAVL_DO_LOCK
#    undef ZOEAVL_DO_UNLOCK

#    define ZOEAVL_ORDER_SLOTS(half)                                                               \
        ZOEAVL_ORDER_JOIN(ZOEAVL_ORDER_NAME, half, adder),                                         \
            ZOEAVL_ORDER_JOIN(ZOEAVL_ORDER_NAME, half, finder),                                    \
            ZOEAVL_ORDER_JOIN(ZOEAVL_ORDER_NAME, half, fuzzier),                                   \
            ZOEAVL_ORDER_JOIN(ZOEAVL_ORDER_NAME, half, killer)
extern const ZOEAVLOpTable ZOEAVL_ORDER_NAME;
const ZOEAVLOpTable ZOEAVL_ORDER_NAME = {ZOEAVL_ORDER_SLOTS(), ZOEAVL_ORDER_SLOTS(safe_)};

#    undef ZOEAVL_COMP
#    undef ZOEAVL_FINDCOMP
#    undef ZOEAVL_ORDER_NAME
#    undef ZOEAVL_ORDER_DECLARE
#    undef ZOEAVL_ORDER_JOIN
#    undef ZOEAVL_ORDER_PART
#    undef ZOEAVL_ORDER_PASTE
#    undef ZOEAVL_ORDER_SLOTS
#    undef ZOEAVL_IS_THREAD
#    undef ZOEAVL_WENT_RIGHT
#    undef ZOEAVL_MAKE_THREAD
#    undef ZOEAVL_GO_RIGHT
#    undef ZOEAVL_IS_BALANCE
#    undef ZOEAVL_MAKE_BALANCE
#    undef ZOEAVL_STRIP_BALANCE
#    undef ZOEAVL_ASSIGN_KEEP_BALANCE
#    undef ZOEAVL_GET_BALANCE
#    undef ZOEAVL_SET_BALANCE
#    undef ZOEAVL_LINK
#    undef ZOEAVLp
#    undef TRUE
#    undef FALSE
#    undef NULL
#    undef ASSERT
#    undef Adder
#    undef Finder
#    undef FuzzyFinder
#    undef Killer
#    pragma pop_macro("TRUE")
#    pragma pop_macro("FALSE")
#    pragma pop_macro("NULL")
#    pragma pop_macro("ASSERT")
#    pragma pop_macro("Adder")
#    pragma pop_macro("Finder")
#    pragma pop_macro("FuzzyFinder")
#    pragma pop_macro("Killer")
#    pragma GCC diagnostic pop

#endif
