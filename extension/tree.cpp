/* The tree object: creation, re-creation and destruction. */
#include <cstring>

#include "report.h"
#include "selection.h"
#include "zosupport.h"

namespace zoe::inline v2::engine {
namespace {

ZOLock *make_lock(const ZOEAVLParms *parms, ZOJournal *journal, const char *name) {
    ZOHost *const host = Exported_ZOHandle;
    ZOLockParms lcp{};
    lcp.variant = (parms->flags & ZOEAVL_PARM_LOCKVARIANT) != 0 ? 0 : 1;
    return host->LockCreate(host, &lcp, journal, name);
}

/* Ends a tree that can't be used. The copy of its name stays in the pool. */
void discard(const ZOEAVLExtension *extension, ZOEAVLTree *tree) {
    if (tree->root.rw != nullptr)
        tree->root.rw->Destroy(tree->root.rw);
    extension->pool->Free(extension->pool, tree);
}

/* A tree with everything that outlives a re-creation; null, reported, for lack of a block or lock.
 */
ZOEAVLTree *make_unconfigured(ZOEAVLExtension *extension, const ZOEAVLParms *parms,
                              ZOJournal *journal, const char *name) {
    ZOPool *const pool = extension->pool;
    auto *const tree = static_cast<ZOEAVLTree *>(pool->Alloc(pool, sizeof(ZOEAVLTree), 0));
    if (tree == nullptr) {
        report_lack_of_resources(journal);
        return nullptr;
    }
    tree->root.headptr = nullptr;
    tree->optable = nullptr;
    tree->treeflags = 0;
    tree->extension = extension;
    std::memcpy(tree->tag, "nevo", sizeof tree->tag);
    tree->destroy = ZOEAVLDestroy;
    tree->name =
        name != nullptr ? static_cast<char *>(skMemDup(name, skStrLen(name), pool)) : nullptr;

    const bool locked = (parms->flags & ZOEAVL_PARM_NOLOCK) == 0;
    tree->root.rw = locked ? make_lock(parms, journal, name) : nullptr;
    if (locked && tree->root.rw == nullptr) {
        report_lack_of_resources(journal);
        discard(extension, tree);
        return nullptr;
    }
    tree->First = ZOEAVLFirst;
    tree->Last = ZOEAVLLast;
    tree->Next = ZOEAVLNext;
    tree->Prev = ZOEAVLPrev;
    tree->STAdd = ZOEAVLSTAdd;
    tree->STFind = ZOEAVLSTFind;
    tree->STFFnd = ZOEAVLSTFFnd;
    tree->STRemove = ZOEAVLSTRemove;
    tree->STFirst = ZOEAVLSTFirst;
    tree->STLast = ZOEAVLSTLast;
    tree->ToList = ZOEAVLToList;
    tree->STToList = ZOEAVLSTToList;
    tree->Codegen = ZOEAVLCodegen;
    tree->ReTree = ZOEAVLReTree;
    return tree;
}

bool is_rejected(const ZOEAVLParms *parms) {
    return parms->keylen > 1 &&
           (parms->keytype == ZOEAVL_KEYTYPE_DBL || parms->keytype == ZOEAVL_KEYTYPE_MDBL);
}

} // namespace
} // namespace zoe::inline v2::engine

using namespace zoe::engine;

ZOEAVLTree *ZOEAVLReCreate(ZOEAVLExtension *extension, ZOEAVLTree *tree, const ZOEAVLParms *parms,
                           ZOJournal *journal, const char *name) {
    if (is_rejected(parms))
        return nullptr;
    if (tree == nullptr) {
        tree = make_unconfigured(extension, parms, journal, name);
        if (tree == nullptr)
            return nullptr;
    }
    tree->context = (parms->flags & ZOEAVL_PARM_CONTEXT) != 0 ? parms->context : 0;
    tree->root.keyoff = parms->keyoff;
    tree->root.keylen = parms->keylen;
    if (!select_operations(tree, parms)) {
        discard(extension, tree);
        return nullptr;
    }
    return tree;
}

ZOEAVLTree *ZOEAVLCreate(ZOEAVLExtension *extension, const ZOEAVLParms *parms, ZOJournal *journal,
                         const char *name) {
    return ZOEAVLReCreate(extension, nullptr, parms, journal, name);
}

uint64_t ZOEAVLDestroy(ZOEAVLTree *tree) {
    ZOPool *const pool = tree->extension->pool;
    if ((tree->treeflags & ZOEAVL_TREE_OWNS_OPTABLE) != 0)
        pool->Free(pool, const_cast<ZOEAVLOpTable *>(tree->optable)); // a block of the pool
    if (tree->root.rw != nullptr)
        tree->root.rw->Destroy(tree->root.rw);
    if (tree->name != nullptr)
        pool->Free(pool, tree->name);
    pool->Free(pool, tree);
    return 0;
}
