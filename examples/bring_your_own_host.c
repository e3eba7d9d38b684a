/* A host in C, whole: everything that the library asks of a kernel, filled in with malloc and no
 * lock. Then a tree made with it and driven through its slots. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include <zoeavl.h>

/* ---- The pool. Ending it ends every block, so blocks are kept in a ring. --------------------- */

struct Block {
    struct Block *previous, *next;
};

struct Pool {
    ZOPool slots; /* first, so that a pointer to it is a pointer to the pool */
    struct Block ring;
};

static void *alloc(ZOPool *pool, uint64_t size, uint32_t flags) {
    struct Block *ring = &((struct Pool *)pool)->ring;
    if (size > SIZE_MAX - sizeof(struct Block))
        return NULL;
    struct Block *block =
        flags & ZOPOOL_ZEROFILL ? calloc(1, sizeof *block + size) : malloc(sizeof *block + size);
    if (block == NULL)
        return NULL;
    block->previous = ring;
    block->next = ring->next;
    ring->next->previous = block;
    ring->next = block;
    return block + 1;
}

static void free_block(ZOPool *pool, void *memory) {
    (void)pool;
    if (memory == NULL)
        return;
    struct Block *block = (struct Block *)memory - 1;
    block->previous->next = block->next;
    block->next->previous = block->previous;
    free(block);
}

static void destroy_pool(ZOPool *pool) {
    struct Pool *self = (struct Pool *)pool;
    while (self->ring.next != &self->ring)
        free_block(pool, self->ring.next + 1);
    free(self);
}

static ZOPool *create_pool(ZOHost *host, const ZOPoolParms *parms, ZOJournal *journal,
                           const char *name) {
    (void)host, (void)parms, (void)journal, (void)name;
    struct Pool *pool = calloc(1, sizeof *pool);
    if (pool == NULL)
        return NULL;
    pool->slots.Destroy = destroy_pool;
    pool->slots.Alloc = alloc;
    pool->slots.Free = free_block;
    pool->ring.previous = pool->ring.next = &pool->ring;
    return &pool->slots;
}

/* ---- The journal: statuses alone, to standard error. ----------------------------------------- */

static ZOWord status_to_journal(ZOJournal *journal, ZOWord level, ZOWord status, va_list list) {
    (void)journal, (void)list;
    return fprintf(stderr, "level %" PRId64 ": status 0x%08" PRIx32 "\n", level, (uint32_t)status);
}

/* ---- A record, and a tree of records. -------------------------------------------------------- */

struct City {
    ZOEAVLNODE node;
    int64_t population;
    const char *name;
};

int main(void) {
    /* No LockCreate: every tree is created with ZOEAVL_PARM_NOLOCK. */
    ZOHost host = {.PoolCreate = create_pool};
    ZOJournal journal = {.StatusToJnl = status_to_journal};
    struct City cities[] = {{.population = 291189, .name = "Bergen"},
                            {.population = 717710, .name = "Oslo"},
                            {.population = 148374, .name = "Stavanger"},
                            {.population = 214565, .name = "Trondheim"},
                            {.population = 78745, .name = "Tromso"}};

    zoextent(&host);
    ZOEAVLExtension *factory = zoeavl(NULL, &journal);
    if (factory == NULL)
        return 1;
    ZOEAVLParms parms = {.keylen = 1,
                         .keyoff = offsetof(struct City, population),
                         .keytype = ZOEAVL_KEYTYPE_I64,
                         .flags = ZOEAVL_PARM_NOLOCK};
    ZOEAVLTree *tree = factory->Create(factory, &parms, &journal, "cities");
    if (tree == NULL)
        return 1;

    for (size_t i = 0; i < sizeof cities / sizeof cities[0]; i++)
        if (tree->adder(&tree->root, &cities[i].node) != &cities[i].node)
            printf("%s: that population is there already\n", cities[i].name);

    for (ZOEAVLp node = tree->First(&tree->root); node != NULL; node = tree->Next(node))
        printf("%8" PRId64 " %s\n", ZOEAVL_RECORD(struct City, node)->population,
               ZOEAVL_RECORD(struct City, node)->name);

    int64_t wanted = 250000;
    ZOEAVLp below, above;
    if (tree->fuzzier(&tree->root, &wanted, &below, &above) == NULL)
        printf("%" PRId64 " lies between %s and %s\n", wanted,
               ZOEAVL_RECORD(struct City, below)->name, ZOEAVL_RECORD(struct City, above)->name);

    tree->killer(&tree->root, &cities[1].population);
    printf("largest without Oslo: %s\n", ZOEAVL_RECORD(struct City, tree->Last(&tree->root))->name);

    tree->destroy(tree);
    factory->RealDestroy(factory);
    return 0;
}
