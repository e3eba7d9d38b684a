/* The kernel's small memory and string routines, the journal shims and the version record. They
 * know nothing of trees.
 *
 * Lengths are 64-bit counts: of bytes, or in the routines with T and in skWMemCmp of 32-bit units
 * (zochar). Nothing outside the given length is read or written, at any alignment. Where null isn't
 * mentioned a pointer is untested: harmless with length 0, a fault of the caller otherwise. The
 * order of the arguments differs from routine to routine; the copies take their source first. All
 * may run on any thread at once. */
#ifndef ZOSUPPORT_H
#define ZOSUPPORT_H

#include "zoeavl.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Units ahead of the first zero unit; null gives 0. */
ZOEAVL_API uint64_t skStrLen(const char *str);
ZOEAVL_API uint64_t skStrTLen(const zochar *str);

/* Copy up to and including the zero unit. Null `dst`: nothing happens. Null `src`: one zero unit.
 */
ZOEAVL_API void skStrCpy(const char *src, char *dst);
ZOEAVL_API void skStrTCpy(const zochar *src, zochar *dst);

/* Change the case of the ASCII letters among exactly `len` bytes, in place. */
ZOEAVL_API void skStrUp(char *buf, uint64_t len);
ZOEAVL_API void skStrLow(char *buf, uint64_t len);

/* A copy of `len` bytes in `pool`, without a terminator. Null if `src` or `pool` is null or the
 * pool gives no block. */
ZOEAVL_API void *skMemDup(const void *src, uint64_t len, ZOPool *pool);

/* 1 if all `len` units equal `value` (its low eight bits, for bytes), else 0. */
ZOEAVL_API uint32_t skMemNot(uint32_t value, const void *buf, uint64_t len);
ZOEAVL_API uint32_t skMemTNot(uint32_t value, const zochar *buf, uint64_t len);

/* Fill `len` units with `value` (its low eight bits, for bytes). */
ZOEAVL_API void skMemSet(void *dst, uint32_t value, uint64_t len);
ZOEAVL_API void skMemTSet(zochar *dst, uint32_t value, uint64_t len);

/* -1, 0 or 1 by the first differing byte, unsigned. */
ZOEAVL_API int32_t skMemCmp(const void *a, const void *b, uint64_t len);

/* -1, 0 or 1 by the first differing pair: -1 if the top bit of their difference modulo 2 to the
 * 32nd is set. That is the unsigned order only for units less than 2 to the 31st apart. */
ZOEAVL_API int32_t skWMemCmp(const zochar *a, const zochar *b, uint64_t len);

/* Copies bytes one after the other in ascending order and gives `dst`. Where `dst` lies above an
 * overlapping `src`, the first `dst` - `src` bytes repeat through the region. */
ZOEAVL_API void *skMemCpy(const void *src, void *dst, uint64_t len);

/* Copies `len` bytes, right for every overlap. */
ZOEAVL_API void skMemSCpy(const void *src, void *dst, uint64_t len);

/* Index of the first byte equal to `value`, the first byte that differs from it, and the first
 * 32-bit unit that differs from it; -1 if there is none, if `len` is 0 and if `buf` is null. */
ZOEAVL_API int64_t skMemScan(const void *buf, uint64_t len, uint32_t value);
ZOEAVL_API int64_t skMemNScan(const void *buf, uint64_t len, uint32_t value);
ZOEAVL_API int64_t skMemTNScan(const zochar *buf, uint64_t len, uint32_t value);

/* 1 if any of the `len` doubles is a NaN, else 0. */
ZOEAVL_API uint32_t skMissArray(const double *values, uint64_t len);

/* ZOEAVL_STATUS_UNSUPPORTED. */
ZOEAVL_API ZOStatus skUnsup(void);

/* Each calls the slot of the same name of `journal` with the named words and the variable arguments
 * as a list, and gives the slot's result. */
ZOEAVL_API ZOWord zolMessageToBuf(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ZOWord d,
                                  ZOWord e, ...);
ZOEAVL_API ZOWord zolMessageToJnl(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ...);
ZOEAVL_API ZOWord zolStatusToBuf(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ZOWord d, ...);
ZOEAVL_API ZOWord zolStatusToJnl(ZOJournal *journal, ZOWord level, ZOWord status, ...);

/* Jumps to the GetLocale slot of `journal` with every argument as it came. */
ZOEAVL_API ZOWord zolGetLocale(ZOJournal *journal, ...);

/* What the build left about itself. All texts are zero-terminated and last as long as the library
 * is loaded. */
typedef struct ZOVersionRecord {
    const char *stamp;       /* V.nn.nnMnPmmddyyyy */
    const char *path;        /* where the library stands in its product */
    const char *empty16;     /* "" */
    uint64_t seconds;        /* build time since 1970-01-01 UTC */
    const char *family;      /* "zocore" */
    const char *opaque40;    /* the version in six characters */
    const char *component;   /* "zoeavl" */
    const char *opaque56;    /* the release */
    const char *empty64;     /* "" */
    const char *word;        /* "version" */
    const char *separator;   /* "::" */
    const char *empty88;     /* "" */
    const char *hotfix;      /* the number of a hot fix behind its key, filled up with blanks */
    const char *opaque104;   /* the release and what it runs on */
    const char *description; /* a description behind its key, filled up with blanks */
    const char *machine;     /* where it was built; "reproducible" for a build that doesn't tell */
    const char *date;        /* as the date command prints it */
    uint64_t zero[9];        /* 0 each */
} ZOVersionRecord;
ZO_ASSERT_OFFSET(ZOVersionRecord, seconds, 24);
ZO_ASSERT_OFFSET(ZOVersionRecord, date, 128);
ZO_ASSERT_OFFSET(ZOVersionRecord, zero, 136);
ZO_ASSERT_SIZE(ZOVersionRecord, 208);

/* Copies the ZOVersionRecord, 208 bytes, to `destination` at any alignment. Gives 0. */
ZOEAVL_API uint64_t zovercn1(void *destination);

#ifdef __cplusplus
}
#endif

#endif
