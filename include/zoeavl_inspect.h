/* zoeavl_inspect: sees into a tree from outside, sound or not.
 *
 *     if (zoeavl_check(tree, ZOEAVL_CHECK_ORDER, stderr) != 0) abort();
 *     zoeavl_explain(&parms, stderr);
 *
 * The operations on trees check nothing. These functions do: they never follow a word that they
 * haven't judged, end on cyclic links, change nothing in what they look at, and survive whatever it
 * is: the tree object, the records, keys and tables are read through the system
 * (process_vm_readv(2), or a pipe where that call is refused), each page once, and judged on that
 * copy. So a pointer to freed or unmapped memory gives a line in the report.
 *
 * No function takes a lock. Keep writers off the tree meanwhile, or hold its lock for reading.
 *
 * Memory for the copies and 32 bytes a record come from malloc. Where there is none to be had, or
 * neither call nor pipe, the result is ZOEAVL_INSPECT_FAILED and the report's last line says why.
 *
 * A `report` or `out` may be any stream. Nothing else is written.
 *
 * Valid as C11 and as C++17. */
#ifndef ZOEAVL_INSPECT_H
#define ZOEAVL_INSPECT_H

#include <stdio.h>

#include "zoeavl.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the library exports. */
#define ZOEAVL_INSPECT_API __attribute__((visibility("default")))

/* What every function gives that couldn't be carried through. */
#define ZOEAVL_INSPECT_FAILED (-1)

/* ---- The checker ------------------------------------------------------------------------------
 */

/* How much is checked; each level includes those before it. */
enum {
    ZOEAVL_CHECK_LINKS = 1,   /* every word a child or the right thread, both tags legal, the first
                               * and the last record, no cycle, no record met twice */
    ZOEAVL_CHECK_HEIGHTS = 2, /* subtrees differ by at most one, and the balance bits say how */
    ZOEAVL_CHECK_ORDER = 3    /* if the links are sound: keys strictly ascending. Key types 0 and 25
                               * are asked, by their look-up without a lock, whether each record is
                               * found by its own key; a line says so where there is no such
                               * look-up, or it wants a key of another form. It is called with the
                               * field as it stands: where it would follow that as a pointer to
                               * something else, or its code is gone, ask for the heights alone */
};

/* Checks the tree up to `level` and gives the number of faults. Each is a line in `report`, which
 * may be null: the record's address, its place in the order from 0 on, what was expected, what was
 * found, and, where the pattern is known, the likely slip. Linear in time.
 *
 * With `rootp` the tree's operations stand for the order and `*rootp`, a root word of the caller's,
 * for the head. */
ZOEAVL_INSPECT_API int64_t zoeavl_check(const ZOEAVLTree *tree, int level, FILE *report);
ZOEAVL_INSPECT_API int64_t zoeavl_check_root(const ZOEAVLTree *tree, const ZOEAVLp *rootp,
                                             int level, FILE *report);

/* True if the key of `before` sorts strictly before that of `after`. */
typedef int (*ZOEAVLAscending)(void *context, ZOEAVLp before, ZOEAVLp after);

/* As zoeavl_check_root, for a tree whose order no ZOEAVLTree tells: `ascending` is called with each
 * record and its successor, once the links were found sound, and reads the records themselves. With
 * a null `ascending` the order isn't checked. */
ZOEAVL_INSPECT_API int64_t zoeavl_check_words(const ZOEAVLp *rootp, ZOEAVLAscending ascending,
                                              void *context, int level, FILE *report);

/* ---- Explanations -----------------------------------------------------------------------------
 */

/* Tells in words what creation will make of `parms`, and why it would give null or why operations
 * would surprise. Gives the number of such warnings. `report` may be null. */
ZOEAVL_INSPECT_API int64_t zoeavl_explain(const ZOEAVLParms *parms, FILE *report);

/* ---- Statistics -------------------------------------------------------------------------------
 */

/* What zoeavl_statistics tells of a tree. */
typedef struct ZOEAVLStatistics {
    uint64_t records;         /* how many were reached */
    uint32_t height;          /* levels; 0 for an empty tree */
    uint32_t least_height;    /* of any tree with that many records */
    double average_depth;     /* records that a look-up of a random record compares with */
    double level_share;       /* of the records, how many don't lean: 0 to 1 */
    double same_line;         /* of the steps of a walk, how many stay in a line of 64 bytes */
    double same_page;         /* or in a page of 4096 */
    uint64_t median_distance; /* bytes from a record to the next in order, rounded up to 2^n */
} ZOEAVLStatistics;

/* Fills `statistics`, for the root word at `rootp`, or for the tree's own if that is null; with
 * `rootp`, `tree` may be null. Gives the number of faults in the links, 0 for a sound tree; with
 * faults the numbers tell of the records that could be reached. */
ZOEAVL_INSPECT_API int64_t zoeavl_statistics(const ZOEAVLTree *tree, const ZOEAVLp *rootp,
                                             ZOEAVLStatistics *statistics);

/* ---- The picture ------------------------------------------------------------------------------
 */

/* How a tree is drawn. All zero is a plain picture of the whole tree. */
typedef struct ZOEAVLDrawing {
    /* Puts what stands in the node of `record`, with its zero, in `text`, which has room for `size`
     * bytes; null shows addresses. It reads the record itself. */
    void (*label)(void *context, ZOEAVLp record, char *text, size_t size);
    void *context;
    uint32_t depth;      /* levels drawn; 0 for all. What lies below is a triangle with its count */
    const char *cluster; /* null for a graph of its own; otherwise the picture becomes a subgraph
                          * with that title, of letters and digits, for a graph of the caller's */
} ZOEAVLDrawing;

/* Writes the tree to `out` as Graphviz text for `dot`: children as lines, bold on the side to which
 * a node leans, leaning nodes filled, threads dashed, faulty links red. The tree is told as for
 * zoeavl_statistics; `drawing` may be null. Gives the number of faults in the links. */
ZOEAVL_INSPECT_API int64_t zoeavl_draw(const ZOEAVLTree *tree, const ZOEAVLp *rootp,
                                       const ZOEAVLDrawing *drawing, FILE *out);

#ifdef __cplusplus
}
#endif

#endif
