/* The contract with the host kernel: every object, slot and parameter block that the library takes
 * from its host, at the byte offsets that separately built hosts rely on.
 *
 * A host object is a record of function slots. Each slot takes the object that it was read from as
 * its first argument. The library reads only the slots named here; the words named `reserved` are
 * the host's own. Where nothing else is said, the library ignores a slot's result.
 *
 * Valid as C11 and as C++17, for 64-bit little-endian Linux. */
#ifndef ZOHOST_H
#define ZOHOST_H

#include <assert.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Asserts the place of a field in a record whose layout is part of the binary contract. */
#define ZO_ASSERT_OFFSET(record, field, offset)                                                    \
    static_assert(offsetof(record, field) == (offset), #record "." #field)
#define ZO_ASSERT_SIZE(record, bytes) static_assert(sizeof(record) == (bytes), #record)

/* Words that the library hands through without looking at them. */
typedef int64_t ZOWord;

/* The kernel's wide character. */
typedef uint32_t zochar;

/* A result that a journal is told of; 0 is success. */
typedef uint32_t ZOStatus;
#define ZOEAVL_STATUS_RESOURCE 0x803fc002u    /* no pool, block or lock to be had */
#define ZOEAVL_STATUS_UNSUPPORTED 0x803fc004u /* what skUnsup returns */

/* The host's objects, below. */
typedef struct ZOHost ZOHost;
typedef struct ZOPool ZOPool;
typedef struct ZOLock ZOLock;
typedef struct ZOJournal ZOJournal;
typedef struct ZOCodegen ZOCodegen;
typedef struct ZOModule ZOModule;

/* What PoolCreate is given. The block lies on the caller's stack and must not be kept. */
typedef struct ZOPoolParms {
    uint32_t kind; /* always ZOPOOL_KIND; its meaning is the host's */
    uint32_t reserved4;
    uint64_t extent; /* always ZOPOOL_EXTENT; its meaning is the host's */
    uint64_t reserved16;
} ZOPoolParms;
#define ZOPOOL_KIND 0x820100u /* what a pool of this library asks for */
#define ZOPOOL_EXTENT 16384u  /* in bytes */
ZO_ASSERT_SIZE(ZOPoolParms, 24);
ZO_ASSERT_OFFSET(ZOPoolParms, extent, 8);
ZO_ASSERT_OFFSET(ZOPoolParms, reserved16, 16);

/* What LockCreate is given. The block lies on the caller's stack and must not be kept. */
typedef struct ZOLockParms {
    uint8_t reserved0;
    uint8_t variant; /* 1, or 0 for a tree created with ZOEAVL_PARM_LOCKVARIANT */
    uint8_t reserved2[22];
} ZOLockParms;
ZO_ASSERT_SIZE(ZOLockParms, 24);
ZO_ASSERT_OFFSET(ZOLockParms, variant, 1);

/* The kernel itself, as zoextent is given it. */
struct ZOHost {
    void *reserved0[3];
    /* Makes a reader/writer lock. `journal` and `name` may be null; `name` is the caller's string.
     * Null when there is no lock to be had. */
    ZOLock *(*LockCreate)(ZOHost *host, const ZOLockParms *parms, ZOJournal *journal,
                          const char *name);
    void *reserved32[2];
    /* Makes a memory pool. `journal` may be null. Null when there is no pool to be had. */
    ZOPool *(*PoolCreate)(ZOHost *host, const ZOPoolParms *parms, ZOJournal *journal,
                          const char *name);
};
ZO_ASSERT_OFFSET(ZOHost, LockCreate, 24);
ZO_ASSERT_OFFSET(ZOHost, PoolCreate, 48);
ZO_ASSERT_SIZE(ZOHost, 56);

/* A pool must be safe for use from several threads if its trees are made on several threads. */
struct ZOPool {
    void *reserved0[2];
    /* Ends the pool and every block still allocated from it. */
    void (*Destroy)(ZOPool *pool);
    /* Gives a block of `size` bytes, aligned for any type, or null. `flags` is 0 for a block of
     * unspecified contents or ZOPOOL_ZEROFILL for one of zeros. */
    void *(*Alloc)(ZOPool *pool, uint64_t size, uint32_t flags);
    /* Takes one block back. Must tolerate null. */
    void (*Free)(ZOPool *pool, void *block);
};
#define ZOPOOL_ZEROFILL 0x80000000u /* the flag of Alloc for a block of zeros */
ZO_ASSERT_OFFSET(ZOPool, Destroy, 16);
ZO_ASSERT_OFFSET(ZOPool, Alloc, 24);
ZO_ASSERT_OFFSET(ZOPool, Free, 32);
ZO_ASSERT_SIZE(ZOPool, 40);

/* A reader/writer lock. Nobody retries: Get must not return before the lock is held. */
struct ZOLock {
    void *reserved0[2];
    /* Ends the lock, which nobody holds. */
    void (*Destroy)(ZOLock *lock);
    /* `wr` is 1 to write and 0 to read; `wa` is always 1, wait until granted. */
    uint32_t (*Get)(ZOLock *lock, uint32_t wr, uint32_t wa);
    uint32_t (*Release)(ZOLock *lock);
};
ZO_ASSERT_OFFSET(ZOLock, Destroy, 16);
ZO_ASSERT_OFFSET(ZOLock, Get, 24);
ZO_ASSERT_OFFSET(ZOLock, Release, 32);
ZO_ASSERT_SIZE(ZOLock, 40);

/* Where statuses and messages go. The library makes one report of its own, through StatusToJnl:
 * level ZOJOURNAL_LEVEL, the status widened to 64 bits with its sign, an empty list. The other
 * slots are reached through the shims of zosupport.h, whose callers give the words their meaning.
 */
struct ZOJournal {
    void *reserved0[4];
    /* Messages and statuses, into a buffer or into the journal. */
    ZOWord (*MessageToBuf)(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ZOWord d, ZOWord e,
                           va_list list);
    ZOWord (*MessageToJnl)(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, va_list list);
    ZOWord (*StatusToBuf)(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ZOWord d, va_list list);
    ZOWord (*StatusToJnl)(ZOJournal *journal, ZOWord level, ZOWord status, va_list list);
    void *reserved64[4];
    ZOWord (*GetLocale)(ZOJournal *journal, ...); /* arguments and result are the host's */
};
#define ZOJOURNAL_LEVEL 4 /* the level of the library's own report: an error */
ZO_ASSERT_OFFSET(ZOJournal, MessageToBuf, 32);
ZO_ASSERT_OFFSET(ZOJournal, MessageToJnl, 40);
ZO_ASSERT_OFFSET(ZOJournal, StatusToBuf, 48);
ZO_ASSERT_OFFSET(ZOJournal, StatusToJnl, 56);
ZO_ASSERT_OFFSET(ZOJournal, GetLocale, 96);
ZO_ASSERT_SIZE(ZOJournal, 104);

/* One member of a structure that generated text is to see; a table of them ends in a row of zeros.
 */
typedef struct ZOCodegenMember {
    const char *name; /* the member's name */
    uint64_t size;    /* in bytes */
    uint64_t offset;  /* in bytes, from the start of the structure */
    const char *decl; /* a format with one %s, which the member's name fills */
} ZOCodegenMember;
ZO_ASSERT_OFFSET(ZOCodegenMember, size, 8);
ZO_ASSERT_OFFSET(ZOCodegenMember, offset, 16);
ZO_ASSERT_OFFSET(ZOCodegenMember, decl, 24);
ZO_ASSERT_SIZE(ZOCodegenMember, 32);

/* One structure that generated text is to see; a table of them ends in a row of zeros. */
typedef struct ZOCodegenStruct {
    const char *name;               /* the structure's tag */
    uint64_t size;                  /* in bytes */
    const ZOCodegenMember *members; /* a table that ends in a row of zeros */
} ZOCodegenStruct;
ZO_ASSERT_OFFSET(ZOCodegenStruct, size, 8);
ZO_ASSERT_OFFSET(ZOCodegenStruct, members, 16);
ZO_ASSERT_SIZE(ZOCodegenStruct, 24);

/* Collects C text piece by piece and compiles it. The three additions give 0 for success and any
 * other status for failure. With `line` 1 the service ends the piece with a line end. */
struct ZOCodegen {
    void *reserved0[2];
    void (*Destroy)(ZOCodegen *codegen); /* the host's own, never called by the library */
    void *reserved24;
    /* Adds a definition of each structure of the table; a `count` of all ones means up to its
     * terminator row. */
    uint32_t (*addStructs)(ZOCodegen *codegen, const ZOCodegenStruct *structs, uint32_t count);
    void *reserved40;
    /* Appends `length` bytes of text; -1 means up to its NUL. */
    uint32_t (*addText)(ZOCodegen *codegen, uint32_t line, const char *text, int64_t length);
    /* Appends what printf would make of the arguments. */
    uint32_t (*addFormat)(ZOCodegen *codegen, uint32_t line, const char *format, ...);
    void *reserved64;
    /* Compiles all text in the order of its addition. The two words are the caller's. Null on
     * failure. */
    ZOModule *(*compile)(ZOCodegen *codegen, ZOWord first, ZOWord second);
};
ZO_ASSERT_OFFSET(ZOCodegen, Destroy, 16);
ZO_ASSERT_OFFSET(ZOCodegen, addStructs, 32);
ZO_ASSERT_OFFSET(ZOCodegen, addText, 48);
ZO_ASSERT_OFFSET(ZOCodegen, addFormat, 56);
ZO_ASSERT_OFFSET(ZOCodegen, compile, 72);
ZO_ASSERT_SIZE(ZOCodegen, 80);

/* A compiled module. It must outlive the last call of its functions. */
struct ZOModule {
    void *reserved0[2];
    void (*Destroy)(ZOModule *module); /* the host's own, never called by the library */
    /* The address of the external function of that name, or null. */
    void *(*symbol)(ZOModule *module, const char *name);
};
ZO_ASSERT_OFFSET(ZOModule, Destroy, 16);
ZO_ASSERT_OFFSET(ZOModule, symbol, 24);
ZO_ASSERT_SIZE(ZOModule, 32);

#ifdef __cplusplus
}
#endif

#endif
