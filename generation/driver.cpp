/* Has the engine's text compiled around a caller's comparison, and fits a tree out with the result.
 */
#include <cstdint>

#include "zoeavl.h"

namespace {

const char head_text[] = "//\n"
                         "// Start of ZOEAVL-generated code\n"
                         "//\n"
                         "typedef struct ZOEAVLNODE *ZOEAVLp;\n"
                         "typedef struct ZOEAVL_ROOT *ZOEAVLRootp;\n"
                         "#define NULL ((void *)0)\n";

const char typedef_format[] = "typedef %s%d_t %s;\n";
const char lock_slot_format[] = "#define %s%s (*(%s (**)())(((char *)(h))+%d))%s";

const char lock_text[] = "\n"
                         "#define ZOEAVL_DO_LOCK(l, rw)    zotLockGet(l, rw, TRUE)\n"
                         "#define ZOEAVL_DO_UNLOCK(l)      zotLockRelease(l)\n";

const char lock_free_text[] = "\n"
                              "#define ZOEAVL_DO_LOCK(l, rw)\n"
                              "#define ZOEAVL_DO_UNLOCK(l)\n";

/* The layouts that the text is to see. */
#define MEMBER(record, field, decl)                                                                \
    { #field, sizeof(record::field), offsetof(record, field), decl }

const ZOCodegenMember ROOT_mems[] = {
    MEMBER(ZOEAVL_ROOT, headptr, "ZOEAVLp %s"),
    MEMBER(ZOEAVL_ROOT, keyoff, "int %s"),
    MEMBER(ZOEAVL_ROOT, keylen, "int %s"),
    MEMBER(ZOEAVL_ROOT, rw, "void *%s"),
    {nullptr, 0, 0, nullptr},
};

const ZOCodegenMember NODE_mems[] = {
    MEMBER(ZOEAVLNODE, llink, "ZOEAVLp %s"),
    MEMBER(ZOEAVLNODE, rlink, "ZOEAVLp %s"),
    {nullptr, 0, 0, nullptr},
};

const ZOCodegenStruct structs[] = {
    {"ZOEAVL_ROOT", sizeof(ZOEAVL_ROOT), ROOT_mems},
    {"ZOEAVLNODE", sizeof(ZOEAVLNODE), NODE_mems},
    {nullptr, 0, nullptr},
};

constexpr std::uint32_t whole_table = UINT32_MAX;
constexpr std::int64_t up_to_nul = -1;
constexpr int get_slot = offsetof(ZOLock, Get);
constexpr int release_slot = offsetof(ZOLock, Release);

/* Adds the preamble and the text, all seven pieces whatever becomes of them. Gives their statuses
 * ored together. */
std::uint32_t add_unit(const ZOEAVLTree *tree, ZOCodegen *cg) {
    std::uint32_t status = cg->addText(cg, 1, head_text, up_to_nul);
    status |= cg->addFormat(cg, 0, typedef_format, "int", 64, "intptr_t");
    status |= cg->addFormat(cg, 1, lock_slot_format, "zotLockGet", "(h,wr,wa)", "uint32_t",
                            get_slot, "(h,wr,wa)");
    status |= cg->addFormat(cg, 1, lock_slot_format, "zotLockRelease", "(h)", "uint32_t",
                            release_slot, "(h)");
    status |= cg->addStructs(cg, structs, whole_table);
    status |= cg->addText(cg, 1, tree->root.rw != nullptr ? lock_text : lock_free_text, up_to_nul);
    status |= cg->addText(cg, 1, code, up_to_nul);
    return status;
}

template <class Function>
void look_up(ZOModule *module, const char *name, Function &slot) {
    slot = reinterpret_cast<Function>(module->symbol(module, name));
}

} // namespace

ZOModule *ZOEAVLCodegen(ZOEAVLTree *tree, ZOCodegen *codegen, ZOWord first, ZOWord second) {
    if (add_unit(tree, codegen) != 0)
        return nullptr;
    ZOModule *const module = codegen->compile(codegen, first, second);
    if (module == nullptr)
        return nullptr;
    look_up(module, "Adder", tree->adder);
    look_up(module, "Finder", tree->finder);
    look_up(module, "FuzzyFinder", tree->fuzzier);
    look_up(module, "Killer", tree->killer);
    return module;
}
