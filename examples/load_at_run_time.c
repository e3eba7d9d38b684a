/* A kernel that loads the library by dlopen alone: it is built with the headers and linked with
 * nothing of zoeavl. Its pool frees all blocks at once, its lock is pthread's.
 *     load_at_run_time [PATH OF libzoeavl.so.2] */
#define _XOPEN_SOURCE 700 /* for the reader/writer lock */
#include <dlfcn.h>
#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>

#include <zoeavl.h>

/* ---- The pool: blocks in a chain, which end with it. ----------------------------------------- */

struct Block {
    _Alignas(max_align_t) struct Block *next;
};

struct Pool {
    ZOPool slots; /* first, so that a pointer to it is a pointer to the pool */
    pthread_mutex_t guard;
    struct Block *last;
};

static void *alloc(ZOPool *pool, uint64_t size, uint32_t flags) {
    struct Pool *self = (struct Pool *)pool;
    if (size > SIZE_MAX - sizeof(struct Block))
        return NULL;
    struct Block *block =
        flags & ZOPOOL_ZEROFILL ? calloc(1, sizeof *block + size) : malloc(sizeof *block + size);
    if (block == NULL)
        return NULL;
    pthread_mutex_lock(&self->guard);
    block->next = self->last;
    self->last = block;
    pthread_mutex_unlock(&self->guard);
    return block + 1;
}

static void free_block(ZOPool *pool, void *block) {
    (void)pool, (void)block;
}

static void destroy_pool(ZOPool *pool) {
    struct Pool *self = (struct Pool *)pool;
    for (struct Block *block = self->last, *next; block != NULL; block = next) {
        next = block->next;
        free(block);
    }
    pthread_mutex_destroy(&self->guard);
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
    pthread_mutex_init(&pool->guard, NULL);
    return &pool->slots;
}

/* ---- The lock. Nobody looks at what Get returns, so it returns with the lock or not at all. -- */

struct Lock {
    ZOLock slots;
    pthread_rwlock_t rwlock;
};

static uint32_t get(ZOLock *lock, uint32_t wr, uint32_t wa) {
    (void)wa; /* always 1 */
    pthread_rwlock_t *rwlock = &((struct Lock *)lock)->rwlock;
    if ((wr ? pthread_rwlock_wrlock(rwlock) : pthread_rwlock_rdlock(rwlock)) != 0)
        abort();
    return 0;
}

static uint32_t release(ZOLock *lock) {
    pthread_rwlock_unlock(&((struct Lock *)lock)->rwlock);
    return 0;
}

static void destroy_lock(ZOLock *lock) {
    pthread_rwlock_destroy(&((struct Lock *)lock)->rwlock);
    free(lock);
}

static ZOLock *create_lock(ZOHost *host, const ZOLockParms *parms, ZOJournal *journal,
                           const char *name) {
    (void)host, (void)parms, (void)journal, (void)name;
    struct Lock *lock = calloc(1, sizeof *lock);
    if (lock == NULL)
        return NULL;
    lock->slots.Destroy = destroy_lock;
    lock->slots.Get = get;
    lock->slots.Release = release;
    pthread_rwlock_init(&lock->rwlock, NULL);
    return &lock->slots;
}

/* ---- The journal: statuses alone, to standard error. ----------------------------------------- */

static ZOWord status_to_journal(ZOJournal *journal, ZOWord level, ZOWord status, va_list list) {
    (void)journal, (void)list;
    return fprintf(stderr, "level %" PRId64 ": status 0x%08" PRIx32 "\n", level, (uint32_t)status);
}

/* ---- Loading --------------------------------------------------------------------------------- */

typedef ZOWord EntryPoint(ZOHost *, uint64_t *, uint64_t *);
typedef ZOEAVLExtension *FactoryMaker(void *, ZOJournal *);

static void *symbol(void *library, const char *name) {
    void *address = dlsym(library, name);
    if (address == NULL) {
        fprintf(stderr, "load_at_run_time: %s\n", dlerror());
        exit(1);
    }
    return address;
}

struct Event {
    ZOEAVLNODE node;
    uint64_t time;
};

int main(int argc, char **argv) {
    ZOHost host = {.LockCreate = create_lock, .PoolCreate = create_pool};
    ZOJournal journal = {.StatusToJnl = status_to_journal};
    void *library = dlopen(argc > 1 ? argv[1] : "libzoeavl.so.2", RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "load_at_run_time: %s\n", dlerror());
        return 1;
    }
    EntryPoint *entry;
    FactoryMaker *make_factory;
    *(void **)&entry = symbol(library, "zoextver");
    *(void **)&make_factory = symbol(library, "zoeavl");

    uint64_t major, minor;
    entry(&host, &major, &minor);
    printf("requires kernel %" PRIu64 ".%" PRIu64 "\n", major, minor);
    ZOEAVLExtension *factory = make_factory(NULL, &journal);
    if (factory == NULL)
        return 1;
    ZOEAVLParms parms = {
        .keylen = 1, .keyoff = offsetof(struct Event, time), .keytype = ZOEAVL_KEYTYPE_U64};
    ZOEAVLTree *tree = factory->Create(factory, &parms, &journal, "events");
    if (tree == NULL)
        return 1;

    struct Event events[] = {{.time = 40}, {.time = 10}, {.time = 30}, {.time = 20}};
    for (size_t i = 0; i < sizeof events / sizeof events[0]; i++)
        tree->adder(&tree->root, &events[i].node);
    printf("events at");
    for (ZOEAVLp node = tree->First(&tree->root); node != NULL; node = tree->Next(node))
        printf(" %" PRIu64, ZOEAVL_RECORD(struct Event, node)->time);
    printf("\n");

    tree->destroy(tree);
    factory->RealDestroy(factory);
    dlclose(
        library); /* once nothing of it is in use: factories, trees, and slots that were copied */
    return 0;
}
