/* zoeavl: ordered in-memory indexes as intrusive, threaded, height-balanced (AVL) trees.
 *
 * A node is the caller's own record with a ZOEAVLNODE at its front. The library links records; it
 * never allocates, copies or frees one, and what comes back is a pointer to a record, or null.
 *
 * Usage, in C (examples/ has whole programs; zoeavl_host.h gives a host to whoever has none):
 *
 *     struct City { ZOEAVLNODE node; int64_t population; const char *name; };
 *
 *     zoextent(host);                                          // once, ahead of everything else
 *     ZOEAVLExtension *factory = zoeavl(NULL, journal);
 *
 *     // 1. Fill the parameters: one 64-bit integer key, no lock.
 *     ZOEAVLParms parms = {.keylen = 1, .keyoff = offsetof(struct City, population),
 *                          .keytype = ZOEAVL_KEYTYPE_I64, .flags = ZOEAVL_PARM_NOLOCK};
 *     // 2. Create.
 *     ZOEAVLTree *tree = factory->Create(factory, &parms, journal, "cities");
 *     // 3. Add, look up, walk. Any result of `adder` but the argument is the equal record there.
 *     tree->adder(&tree->root, &bergen.node);
 *     int64_t wanted = 291000;
 *     ZOEAVLp below, above, found = tree->fuzzier(&tree->root, &wanted, &below, &above);
 *     for (ZOEAVLp n = tree->First(&tree->root); n; n = tree->Next(n))
 *         puts(ZOEAVL_RECORD(struct City, n)->name);
 *     tree->killer(&tree->root, &wanted);
 *     // 4. End the tree, then the factory. Records are not touched.
 *     tree->destroy(tree);
 *     factory->RealDestroy(factory);
 *
 * What things cost, for a tree of n records:
 *
 *     operation                       comparisons     writes                     extra memory
 *     adder                           <= 1.44 log2 n  one path, <= 1 rotation    none
 *     finder                          <= 1.44 log2 n  none                       none
 *     fuzzier                         <= 1.44 log2 n  the two outputs            none
 *     killer                          <= 1.44 log2 n  <= 1 rotation a level      none
 *     First, Last                     none            none                       none
 *     Next, Prev                      none            none, O(1) on average      none
 *     ToList, STToList                none            every record, O(n)         none
 *     ReTree                          n times adder   every record               none
 *     a record in a tree                                                         16 bytes
 *
 * Locking. The four operations in force (adder, finder, fuzzier, killer) of a tree with a lock take
 * it for the whole operation: adder and killer for writing, finder and fuzzier for reading.
 * Everything else takes no lock: keep other threads off, or hold the tree's `root.rw` yourself.
 * While you hold it, don't call the four slots of the tree, which would take it a second time, but
 * the plain operations of its table. A neighbour lookup beside writers is to be made in this way,
 * since the locked fuzzier reads the head ahead of the lock, and that record may be gone by the
 * time the lock is had:
 *
 *     ZOLock *lock = tree->root.rw;
 *     lock->Get(lock, 0, 1);                                   // for reading; wait for it
 *     found = tree->optable->fuzzier(&tree->root, &wanted, &below, &above);
 *     lock->Release(lock);
 *
 * A tree with zero-length keys doesn't need it. A tree of key type 25 has no table: make it with a
 * lock that one thread may hold twice for reading (ZOEAVL_PARM_LOCKVARIANT, with the embedded host)
 * and call the tree's own fuzzier in between.
 *
 * Nothing is checked that isn't said to be: null arguments, short keys and records that are in two
 * trees at once are faults of the caller.
 *
 * Valid as C11 and as C++17. */
#ifndef ZOEAVL_H
#define ZOEAVL_H

#include "zohost.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the library exports. */
#define ZOEAVL_API __attribute__((visibility("default")))

/* The library uses its own data where it stands. Code with -fPIC reaches it there by the global
 * offset table; in other programs a plain declaration would get them a copy of their own, and a
 * weak one doesn't. But a linker that leaves out what it takes for unneeded (--as-needed, which is
 * the default of some compilers) doesn't count weak references: a program that names tables and
 * calls no function of the library is compiled with -fPIC or linked with --no-as-needed, as CMake's
 * targets and pkg-config see to by themselves. */
#ifndef ZOEAVL_DATA
#    if defined(__PIC__) && !defined(__PIE__)
#        define ZOEAVL_DATA ZOEAVL_API
#    else
#        define ZOEAVL_DATA ZOEAVL_API __attribute__((weak))
#    endif
#endif

/* ---- Nodes and roots --------------------------------------------------------------------------
 */

/* A record, by the node at its front; null for none. */
typedef struct ZOEAVLNODE *ZOEAVLp;

/* A root, by its address, and the objects below. */
typedef struct ZOEAVL_ROOT ZOEAVL_ROOT;
typedef struct ZOEAVL_ROOT *ZOEAVLRootp;
typedef struct ZOEAVLTree ZOEAVLTree;
typedef struct ZOEAVLExtension ZOEAVLExtension;

/* The head of every record in a tree. In a tree each word holds a node's address, a balance bit in
 * bit 0 and a thread bit in bit 1; read the order through First, Last, Next and Prev instead. After
 * `killer` returned a record both are null (ZOEAVLZeroKill alone leaves them as they are). In a
 * list they are plain addresses of the neighbours. Ahead of `adder` they may hold anything.
 *
 * A record need only be aligned to four bytes, and must not move while it is in a tree. */
#pragma pack(push, 4)
typedef struct ZOEAVLNODE {
    ZOEAVLp llink; /* to the left child, or as a thread to the record before */
    ZOEAVLp rlink; /* to the right child, or as a thread to the record after */
} ZOEAVLNODE;
#pragma pack(pop)
ZO_ASSERT_OFFSET(ZOEAVLNODE, rlink, 8);
ZO_ASSERT_SIZE(ZOEAVLNODE, 16);

/* The record of that type with `node`, which may be null, at its front. */
#ifdef __cplusplus
#    define ZOEAVL_RECORD(type, node) (static_cast<type *>(static_cast<void *>(node)))
#else
#    define ZOEAVL_RECORD(type, node) ((type *)(void *)(node))
#endif

/* What the four operations work on. Callers may read all of it, store null in `headptr` after a
 * list conversion, and lock `rw` around a walk. */
struct ZOEAVL_ROOT {
    ZOEAVLp headptr; /* the root node, null for an empty tree */
    int32_t keyoff;  /* bytes from the start of a record to its key field */
    int32_t keylen;  /* in units of the key type */
    ZOLock *rw;      /* null for a tree without a lock */
};
ZO_ASSERT_OFFSET(ZOEAVL_ROOT, headptr, 0);
ZO_ASSERT_OFFSET(ZOEAVL_ROOT, keyoff, 8);
ZO_ASSERT_OFFSET(ZOEAVL_ROOT, keylen, 12);
ZO_ASSERT_OFFSET(ZOEAVL_ROOT, rw, 16);
ZO_ASSERT_SIZE(ZOEAVL_ROOT, 24);

/* The key field of the varying character types. `chars` may be anything when `length` is 0. Only
 * the first 12 bytes are read, and they may stand at any alignment. */
typedef struct ZOEAVLVaryingKey {
    const void *chars; /* the characters, at any alignment, without a terminator */
    uint32_t length;   /* bytes for cbvchar, 32-bit characters for cbvzochar */
} ZOEAVLVaryingKey;
ZO_ASSERT_OFFSET(ZOEAVLVaryingKey, length, 8);

/* ---- The four operations ----------------------------------------------------------------------
 */

/* Links `node` in. Gives `node`, or the record already there whose key is equal; then nothing was
 * written. Insertion follows Knuth, The Art of Computer Programming 6.2.3, Algorithm A. */
typedef ZOEAVLp (*ZOEAVLAdder)(ZOEAVLRootp root, ZOEAVLp node);

/* Gives the record whose key equals the one at `key`, or null. `key` is the address of a value
 * shaped exactly like the key field of a record; it isn't read if the tree is empty. */
typedef ZOEAVLp (*ZOEAVLFinder)(ZOEAVLRootp root, const void *key);

/* As ZOEAVLFinder, and stores the records just below and just above the key, or null, whether or
 * not the key is there. Either output may be null (not so in a tree with zero-length keys). The
 * locked form reads the head ahead of the lock and so may follow a record that a writer has just
 * removed: with writers about, call the plain form with the lock held, as told under "Locking". */
typedef ZOEAVLp (*ZOEAVLFuzzier)(ZOEAVLRootp root, const void *key, ZOEAVLp *previous,
                                 ZOEAVLp *next);

/* Unlinks the record whose key equals the one at `key` and gives it with both links null; null if
 * there is none. */
typedef ZOEAVLp (*ZOEAVLKiller)(ZOEAVLRootp root, const void *key);

/* A table of operations: slots 0 to 3 take no lock, slots 4 to 7 take the root's. A caller's own
 * table (key type 0) has the same layout and keeps to the same contract. */
typedef struct ZOEAVLOpTable {
    ZOEAVLAdder adder;          /* without a lock, as are the next three */
    ZOEAVLFinder finder;        /* slot 1 */
    ZOEAVLFuzzier fuzzier;      /* slot 2 */
    ZOEAVLKiller killer;        /* slot 3 */
    ZOEAVLAdder safe_adder;     /* locks for writing */
    ZOEAVLFinder safe_finder;   /* locks for reading */
    ZOEAVLFuzzier safe_fuzzier; /* locks for reading */
    ZOEAVLKiller safe_killer;   /* locks for writing */
} ZOEAVLOpTable;
ZO_ASSERT_OFFSET(ZOEAVLOpTable, finder, 8);
ZO_ASSERT_OFFSET(ZOEAVLOpTable, fuzzier, 16);
ZO_ASSERT_OFFSET(ZOEAVLOpTable, killer, 24);
ZO_ASSERT_OFFSET(ZOEAVLOpTable, safe_adder, 32);
ZO_ASSERT_OFFSET(ZOEAVLOpTable, safe_finder, 40);
ZO_ASSERT_OFFSET(ZOEAVLOpTable, safe_fuzzier, 48);
ZO_ASSERT_OFFSET(ZOEAVLOpTable, safe_killer, 56);
ZO_ASSERT_SIZE(ZOEAVLOpTable, 64);

/* ---- Key types --------------------------------------------------------------------------------
 */

/* A scalar code and its array code are one request: `keylen` 1 selects the scalar table, any other
 * non-zero `keylen` the array table. A `keylen` of 0 selects the zero-length operations for every
 * code but 0: such a tree holds at most one record. Where the length isn't the caller's to choose,
 * write 1.
 *
 * Missing values (the codes with MDBL) are NaNs. Byte 5 of the eight, bits 40 to 47, holds the
 * negation of a code from 1 to 28; any other byte is read as code 2. They stand ahead of all
 * numbers in the order of their codes, and two of one code are equal. To the other doubles a NaN
 * equals everything: keep NaNs out of such a tree. The two zeros are equal.
 *
 * Varying keys are decided by their common prefix, in the order of the fixed type of the same
 * characters, and then by length, the shorter one first. */
typedef uint32_t ZOEAVLKeyType;
enum {
    ZOEAVL_KEYTYPE_OPTABLE = 0,  /* the caller's own table */
    ZOEAVL_KEYTYPE_CHAR = 1,     /* `keylen` bytes, unsigned */
    ZOEAVL_KEYTYPE_ZOCHAR = 2,   /* `keylen` 32-bit characters, signed as wmemcmp has it */
    ZOEAVL_KEYTYPE_I32 = 3,      /* signed 32-bit integer */
    ZOEAVL_KEYTYPE_U32 = 4,      /* unsigned 32-bit integer */
    ZOEAVL_KEYTYPE_I64 = 5,      /* signed 64-bit integer */
    ZOEAVL_KEYTYPE_U64 = 6,      /* unsigned 64-bit integer */
    ZOEAVL_KEYTYPE_DBL = 7,      /* double; NaN equals everything; `keylen` 1 */
    ZOEAVL_KEYTYPE_MDBL = 8,     /* double; NaNs are missing values, first; `keylen` 1 */
    ZOEAVL_KEYTYPE_IA32 = 9,     /* `keylen` signed 32-bit integers, in lexicographic order */
    ZOEAVL_KEYTYPE_IA64 = 10,    /* the same, signed 64-bit */
    ZOEAVL_KEYTYPE_UA32 = 11,    /* the same, unsigned 32-bit */
    ZOEAVL_KEYTYPE_UA64 = 12,    /* the same, unsigned 64-bit */
    ZOEAVL_KEYTYPE_VCHAR = 13,   /* ZOEAVLVaryingKey of bytes; any `keylen` but 0 */
    ZOEAVL_KEYTYPE_VZOCHAR = 14, /* ZOEAVLVaryingKey of 32-bit characters; any `keylen` but 0 */
    ZOEAVL_KEYTYPE_I32P = 15,    /* from here on: a pointer to the key of the direct type */
    ZOEAVL_KEYTYPE_U32P = 16,
    ZOEAVL_KEYTYPE_I64P = 17,
    ZOEAVL_KEYTYPE_U64P = 18,
    ZOEAVL_KEYTYPE_DBLP = 19,
    ZOEAVL_KEYTYPE_MDBLP = 20,
    ZOEAVL_KEYTYPE_IA32P = 21,
    ZOEAVL_KEYTYPE_IA64P = 22,
    ZOEAVL_KEYTYPE_UA32P = 23,
    ZOEAVL_KEYTYPE_UA64P = 24,
    ZOEAVL_KEYTYPE_GENERATED = 25 /* operations compiled at run time, see ZOEAVLCodegen */
};

/* Every built-in key type, in the order in which their tables stand in memory. */
#define ZOEAVL_FOR_EACH_KEYTYPE(apply)                                                             \
    apply(char) apply(zochar) apply(vchar) apply(vzochar) apply(i32) apply(i64) apply(u32)         \
        apply(u64) apply(ia32) apply(ia64) apply(ua32) apply(ua64) apply(dbl) apply(mdbl)          \
            apply(i32p) apply(i64p) apply(u32p) apply(u64p) apply(ia32p) apply(ia64p) apply(ua32p) \
                apply(ua64p) apply(dblp) apply(mdblp)

/* The constant tables cbchar to cbmdblp, adjacent in memory. */
#define ZOEAVL_DECLARE_TABLE(type) ZOEAVL_DATA extern const ZOEAVLOpTable cb##type;
ZOEAVL_FOR_EACH_KEYTYPE(ZOEAVL_DECLARE_TABLE)
#undef ZOEAVL_DECLARE_TABLE

/* ---- Creation ---------------------------------------------------------------------------------
 */

/* Bits of ZOEAVLParms.flags; all others are ignored. */
#define ZOEAVL_PARM_NOLOCK 1u      /* make no lock; ignored by re-creation */
#define ZOEAVL_PARM_LOCKVARIANT 4u /* ask the host for the other kind of lock */
#define ZOEAVL_PARM_CONTEXT 8u     /* store `context`; without it the tree's context becomes 0 */

/* Bit of ZOEAVLTree.treeflags, for the caller to set: `destroy` also frees `optable`, which then
 * must be a block of the factory's pool. */
#define ZOEAVL_TREE_OWNS_OPTABLE 0x100u

/* Everything that configures a tree; read only during the call. */
typedef struct ZOEAVLParms {
    int32_t keylen; /* in units of the key type; note that it stands ahead of `keyoff` here */
    int32_t keyoff; /* bytes from the start of a record to its key field, of either sign */
    ZOEAVLKeyType keytype;        /* a ZOEAVL_KEYTYPE_ code */
    uint32_t flags;               /* ZOEAVL_PARM_ bits */
    const ZOEAVLOpTable *optable; /* read for ZOEAVL_KEYTYPE_OPTABLE alone; kept by pointer */
    uint64_t context;             /* a word for the caller's own operations */
} ZOEAVLParms;
ZO_ASSERT_OFFSET(ZOEAVLParms, keylen, 0);
ZO_ASSERT_OFFSET(ZOEAVLParms, keyoff, 4);
ZO_ASSERT_OFFSET(ZOEAVLParms, keytype, 8);
ZO_ASSERT_OFFSET(ZOEAVLParms, flags, 12);
ZO_ASSERT_OFFSET(ZOEAVLParms, optable, 16);
ZO_ASSERT_OFFSET(ZOEAVLParms, context, 24);
ZO_ASSERT_SIZE(ZOEAVLParms, 32);

/* The tree object. Drive a tree through these slots; mind that their first arguments differ.
 * Callers may write `root.headptr` (null, after a list conversion) and `treeflags`. */
struct ZOEAVLTree {
    char tag[4]; /* "nevo" */
    char *name;  /* private copy of the name, without a terminating zero; or null */
    /* ZOEAVLDestroy. */
    uint64_t (*destroy)(ZOEAVLTree *tree);
    ZOEAVL_ROOT root; /* what the four operations take the address of */
    /* The operations in force: those of `optable` without a lock, or the locked ones. */
    ZOEAVLAdder adder;
    ZOEAVLFinder finder;
    ZOEAVLFuzzier fuzzier;
    ZOEAVLKiller killer;

    /* ZOEAVLFirst, ZOEAVLLast, ZOEAVLNext, ZOEAVLPrev. */
    ZOEAVLp (*First)(const ZOEAVL_ROOT *root);
    ZOEAVLp (*Last)(const ZOEAVL_ROOT *root);
    ZOEAVLp (*Next)(ZOEAVLp node);
    ZOEAVLp (*Prev)(ZOEAVLp node);

    /* The operations on a root word of the caller's: ZOEAVLSTAdd and so on. */
    ZOEAVLp (*STAdd)(ZOEAVLTree *tree, ZOEAVLp *rootp, ZOEAVLp node);
    ZOEAVLp (*STFind)(ZOEAVLTree *tree, const ZOEAVLp *rootp, const void *key);
    ZOEAVLp (*STFFnd)(ZOEAVLTree *tree, const ZOEAVLp *rootp, const void *key, ZOEAVLp *previous,
                      ZOEAVLp *next);
    ZOEAVLp (*STRemove)(ZOEAVLTree *tree, ZOEAVLp *rootp, const void *key);
    ZOEAVLp (*STFirst)(ZOEAVLTree *tree, const ZOEAVLp *rootp);
    ZOEAVLp (*STLast)(ZOEAVLTree *tree, const ZOEAVLp *rootp);

    /* ZOEAVLToList and ZOEAVLSTToList. */
    ZOEAVLp (*ToList)(ZOEAVLTree *tree, ZOEAVLp *tailp);
    ZOEAVLp (*STToList)(ZOEAVLTree *tree, ZOEAVLp *rootp, ZOEAVLp *tailp);

    /* ZOEAVLCodegen. */
    ZOModule *(*Codegen)(ZOEAVLTree *tree, ZOCodegen *codegen, ZOWord first, ZOWord second);
    uint64_t context; /* as given at creation; the library doesn't look at it */
    /* ZOEAVLReTree. */
    ZOEAVLTree *(*ReTree)(ZOEAVLTree *tree, const ZOEAVLParms *parms, ZOEAVLp *dupHead,
                          ZOEAVLp *dupTail, ZOJournal *journal);
    ZOEAVLExtension *extension;   /* the factory that made it */
    const ZOEAVLOpTable *optable; /* null for zero-length keys and generated operations */
    uint32_t treeflags;           /* ZOEAVL_TREE_ bits */
};
ZO_ASSERT_OFFSET(ZOEAVLTree, tag, 0);
ZO_ASSERT_OFFSET(ZOEAVLTree, name, 8);
ZO_ASSERT_OFFSET(ZOEAVLTree, destroy, 16);
ZO_ASSERT_OFFSET(ZOEAVLTree, root, 24);
ZO_ASSERT_OFFSET(ZOEAVLTree, adder, 48);
ZO_ASSERT_OFFSET(ZOEAVLTree, finder, 56);
ZO_ASSERT_OFFSET(ZOEAVLTree, fuzzier, 64);
ZO_ASSERT_OFFSET(ZOEAVLTree, killer, 72);
ZO_ASSERT_OFFSET(ZOEAVLTree, First, 80);
ZO_ASSERT_OFFSET(ZOEAVLTree, Last, 88);
ZO_ASSERT_OFFSET(ZOEAVLTree, Next, 96);
ZO_ASSERT_OFFSET(ZOEAVLTree, Prev, 104);
ZO_ASSERT_OFFSET(ZOEAVLTree, STAdd, 112);
ZO_ASSERT_OFFSET(ZOEAVLTree, STFind, 120);
ZO_ASSERT_OFFSET(ZOEAVLTree, STFFnd, 128);
ZO_ASSERT_OFFSET(ZOEAVLTree, STRemove, 136);
ZO_ASSERT_OFFSET(ZOEAVLTree, STFirst, 144);
ZO_ASSERT_OFFSET(ZOEAVLTree, STLast, 152);
ZO_ASSERT_OFFSET(ZOEAVLTree, ToList, 160);
ZO_ASSERT_OFFSET(ZOEAVLTree, STToList, 168);
ZO_ASSERT_OFFSET(ZOEAVLTree, Codegen, 176);
ZO_ASSERT_OFFSET(ZOEAVLTree, context, 184);
ZO_ASSERT_OFFSET(ZOEAVLTree, ReTree, 192);
ZO_ASSERT_OFFSET(ZOEAVLTree, extension, 200);
ZO_ASSERT_OFFSET(ZOEAVLTree, optable, 208);
ZO_ASSERT_OFFSET(ZOEAVLTree, treeflags, 216);
ZO_ASSERT_SIZE(ZOEAVLTree, 224);

/* The factory object. Everything that it makes lies in its pool and ends with it, locks excepted:
 * destroy each tree first to have its lock ended. */
struct ZOEAVLExtension {
    char tag[4]; /* "nevo" */
    void *reserved8[2];
    /* ZOEAVLGetReqVersion and ZOEAVLGetVersion. */
    uint64_t (*GetReqVersion)(ZOEAVLExtension *extension, uint64_t *major, uint64_t *minor,
                              uint64_t *patch);
    uint64_t (*GetVersion)(ZOEAVLExtension *extension, uint64_t *major, uint64_t *minor,
                           uint64_t *patch);
    void *reserved40;
    /* ZOEAVLRealDestroy. */
    uint64_t (*RealDestroy)(ZOEAVLExtension *extension);
    void *reserved56[2];
    /* ZOEAVLCreate. */
    ZOEAVLTree *(*Create)(ZOEAVLExtension *extension, const ZOEAVLParms *parms, ZOJournal *journal,
                          const char *name);
    ZOPool *pool; /* what the factory and its trees lie in */
};
ZO_ASSERT_OFFSET(ZOEAVLExtension, tag, 0);
ZO_ASSERT_OFFSET(ZOEAVLExtension, reserved8, 8);
ZO_ASSERT_OFFSET(ZOEAVLExtension, GetReqVersion, 24);
ZO_ASSERT_OFFSET(ZOEAVLExtension, GetVersion, 32);
ZO_ASSERT_OFFSET(ZOEAVLExtension, RealDestroy, 48);
ZO_ASSERT_OFFSET(ZOEAVLExtension, Create, 72);
ZO_ASSERT_OFFSET(ZOEAVLExtension, pool, 80);
ZO_ASSERT_SIZE(ZOEAVLExtension, 88);

/* ---- Entry points -----------------------------------------------------------------------------
 */

/* The host in force: null until zoextent or zoextver stores it, then read whenever a factory or a
 * locked tree is made. Written without synchronisation. */
ZOEAVL_DATA extern ZOHost *Exported_ZOHandle;

/* Stores `handle`; writes the first two numbers (9, 1) of the required kernel version. Gives 0. */
ZOEAVL_API uint64_t zoextver(ZOHost *handle, uint64_t *major, uint64_t *minor);

/* Stores `handle` in Exported_ZOHandle. Gives 0. */
ZOEAVL_API uint64_t zoextent(ZOHost *handle);

/* Makes a factory with a pool of its own. `ignored` may be anything; `journal` may be null. Null,
 * and ZOEAVL_STATUS_RESOURCE to the journal, if there is no pool or no block to be had. */
ZOEAVL_API ZOEAVLExtension *zoeavl(void *ignored, ZOJournal *journal);
ZOEAVL_API ZOEAVLExtension *zoeavlx(void *ignored, ZOJournal *journal);

/* Write the kernel version that the library requires (9, 1, 1) and its own (2, 1, 0). `extension`
 * is ignored. Both give 0. */
ZOEAVL_API uint64_t ZOEAVLGetReqVersion(ZOEAVLExtension *extension, uint64_t *major,
                                        uint64_t *minor, uint64_t *patch);
ZOEAVL_API uint64_t ZOEAVLGetVersion(ZOEAVLExtension *extension, uint64_t *major, uint64_t *minor,
                                     uint64_t *patch);

/* Ends a factory by ending its pool, trees included; their locks stay. Gives 0. */
ZOEAVL_API uint64_t ZOEAVLRealDestroy(ZOEAVLExtension *extension);

/* ---- The tree object --------------------------------------------------------------------------
 */

/* Makes a tree; `journal` and `name` may be null. Null if there is no block or lock to be had
 * (reported as ZOEAVL_STATUS_RESOURCE), or if the parameters name no operations (silently). */
ZOEAVL_API ZOEAVLTree *ZOEAVLCreate(ZOEAVLExtension *extension, const ZOEAVLParms *parms,
                                    ZOJournal *journal, const char *name);

/* As ZOEAVLCreate for a null `tree`. Otherwise re-configures `tree` in place: key, context and
 * operations are replaced; lock, name, owned table and records stay, the records in their old
 * order. `extension` must be the tree's own; `name` isn't looked at. Floating codes 7 and 8 with a
 * `keylen` above 1 give null and change nothing; any other failure frees the tree. */
ZOEAVL_API ZOEAVLTree *ZOEAVLReCreate(ZOEAVLExtension *extension, ZOEAVLTree *tree,
                                      const ZOEAVLParms *parms, ZOJournal *journal,
                                      const char *name);

/* Ends the tree, its lock and its name; records keep their links. Gives 0. */
ZOEAVL_API uint64_t ZOEAVLDestroy(ZOEAVLTree *tree);

/* ---- Zero-length keys and generic wrappers ----------------------------------------------------
 */

/* The operations of a tree whose `keylen` is 0: all keys are equal, no key is read, and the tree
 * holds at most one record. Each takes `rw` for writing if there is one. Both outputs of
 * ZOEAVLZeroFuzzy are mandatory and become null. ZOEAVLZeroKill leaves the links as they are. */
ZOEAVL_API ZOEAVLp ZOEAVLZeroAdd(ZOEAVLRootp root, ZOEAVLp node);
ZOEAVL_API ZOEAVLp ZOEAVLZeroFind(ZOEAVLRootp root, const void *key);
ZOEAVL_API ZOEAVLp ZOEAVLZeroFuzzy(ZOEAVLRootp root, const void *key, ZOEAVLp *previous,
                                   ZOEAVLp *next);
ZOEAVL_API ZOEAVLp ZOEAVLZeroKill(ZOEAVLRootp root, const void *key);

/* Locked slots 4 to 6 for a caller's own table: each takes `rw` for writing, calls slot 0, 1 or 2
 * of the tree's `optable` and releases. They work only on the root inside a ZOEAVLTree with a lock.
 * Slot 7 has no such wrapper. */
ZOEAVL_API ZOEAVLp ZOEAVLGenericSafeAdder(ZOEAVLRootp root, ZOEAVLp node);
ZOEAVL_API ZOEAVLp ZOEAVLGenericSafeFinder(ZOEAVLRootp root, const void *key);
ZOEAVL_API ZOEAVLp ZOEAVLGenericSafeFuzzier(ZOEAVLRootp root, const void *key, ZOEAVLp *previous,
                                            ZOEAVLp *next);

/* ---- Walking and lists ------------------------------------------------------------------------
 */

/* None of these looks at a key or takes a lock. The walk rests on threads (Perlis and Thornton,
 * Symbol Manipulation by Threaded Lists, CACM 3, 1960): no stack, no search. */

/* The first and the last record of the tree, null if it is empty. */
ZOEAVL_API ZOEAVLp ZOEAVLFirst(const ZOEAVL_ROOT *root);
ZOEAVL_API ZOEAVLp ZOEAVLLast(const ZOEAVL_ROOT *root);

/* The record after and before `node`, which is in a tree or null; null at the end and for null. */
ZOEAVL_API ZOEAVLp ZOEAVLNext(ZOEAVLp node);
ZOEAVL_API ZOEAVLp ZOEAVLPrev(ZOEAVLp node);

/* As ZOEAVLFirst and ZOEAVLLast, on a root word of the caller's. `tree` is ignored. */
ZOEAVL_API ZOEAVLp ZOEAVLSTFirst(ZOEAVLTree *tree, const ZOEAVLp *rootp);
ZOEAVL_API ZOEAVLp ZOEAVLSTLast(ZOEAVLTree *tree, const ZOEAVLp *rootp);

/* Turn the tree into a doubly linked list of its records in ascending order, through their own two
 * words, and give its first record; null for an empty tree. `tailp` receives the last, or may be
 * null. The root is left as it was: store null in it before the tree is used again. ZOEAVLToList
 * takes the tree object, ZOEAVLSTToList ignores it and takes a root word of the caller's. */
ZOEAVL_API ZOEAVLp ZOEAVLToList(ZOEAVLTree *tree, ZOEAVLp *tailp);
ZOEAVL_API ZOEAVLp ZOEAVLSTToList(ZOEAVLTree *tree, ZOEAVLp *rootp, ZOEAVLp *tailp);

/* ---- External roots ---------------------------------------------------------------------------
 */

/* Run the tree's operation in force on a tree whose root word the caller keeps at `rootp`: one
 * pointer, null while empty. The tree object gives only the configuration. A lock covers the
 * operation but not the root word, whose use the caller serialises. */
ZOEAVL_API ZOEAVLp ZOEAVLSTAdd(ZOEAVLTree *tree, ZOEAVLp *rootp, ZOEAVLp node);
ZOEAVL_API ZOEAVLp ZOEAVLSTFind(ZOEAVLTree *tree, const ZOEAVLp *rootp, const void *key);
ZOEAVL_API ZOEAVLp ZOEAVLSTFFnd(ZOEAVLTree *tree, const ZOEAVLp *rootp, const void *key,
                                ZOEAVLp *previous, ZOEAVLp *next);
ZOEAVL_API ZOEAVLp ZOEAVLSTRemove(ZOEAVLTree *tree, ZOEAVLp *rootp, const void *key);

/* ---- Re-keying --------------------------------------------------------------------------------
 */

/* Takes all records out and adds them again in the old order, under `parms`, or, with null `parms`,
 * under the same configuration after keys were changed. Records equal to one already back come out
 * as a list from `dupHead` to `dupTail` (each may be null) in the old order. Gives the tree, or
 * null on failure; then the outputs are unwritten, and the records not yet back can't be reached
 * through the tree. A failing re-creation also ends the tree, unless it was rejected (codes 7 and 8
 * with a `keylen` above 1). Keep all other threads off. */
ZOEAVL_API ZOEAVLTree *ZOEAVLReTree(ZOEAVLTree *tree, const ZOEAVLParms *parms, ZOEAVLp *dupHead,
                                    ZOEAVLp *dupTail, ZOJournal *journal);

/* ---- Generation -------------------------------------------------------------------------------
 */

#ifndef ZOEAVL_NO_TEXT_NAMES
/* The engine as C text with its comparison left open as the macro ZOEAVL_COMP, and the size of that
 * text in bytes, final NUL counted. A program that wants these two names for itself defines
 * ZOEAVL_NO_TEXT_NAMES ahead of the header. */
ZOEAVL_DATA extern const char code[];
ZOEAVL_DATA extern const uint32_t codesize;
#endif

/* Fits out a tree of key type 25: adds a preamble and `code` to `codegen`, which already holds the
 * caller's ZOEAVL_COMP (and ZOEAVL_FINDCOMP, if lookups compare otherwise), has it compiled with
 * the two words handed on, and stores the four functions in the tree. Gives the module, which the
 * caller keeps for as long as the tree is used; null on failure, and then the tree is as it was.
 * Takes no lock: keep all other threads off the tree. */
ZOEAVL_API ZOModule *ZOEAVLCodegen(ZOEAVLTree *tree, ZOCodegen *codegen, ZOWord first,
                                   ZOWord second);

#ifdef __cplusplus
}
#endif

#endif
