/* Lists the distinct words among its arguments in two orders that are compiled into the program:
 * the files in orders/ that `word_index --order` has compiled while it runs. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <zoeavl.h>
#include <zoeavl_host.h>

#include "orders/by_length.h"
#define ZOEAVL_ORDER_NAME by_length
#include <zoeavl_order.h>

#include "orders/case_blind.h"
#define ZOEAVL_ORDER_NAME case_blind
#include <zoeavl_order.h>

/* A record. Each word has one in either tree. */
struct Word {
    ZOEAVLNODE node;
    ZOEAVLVaryingKey text;
};

static ZOEAVLTree *tree_of(ZOEAVLExtension *factory, const ZOEAVLOpTable *order) {
    const ZOEAVLParms parms = {.keylen = 1,
                               .keyoff = offsetof(struct Word, text),
                               .keytype = ZOEAVL_KEYTYPE_OPTABLE,
                               .flags = ZOEAVL_PARM_NOLOCK,
                               .optable = order};
    return factory != NULL ? factory->Create(factory, &parms, NULL, "words") : NULL;
}

static void list(const char *title, ZOEAVLTree *tree) {
    printf("%s:", title);
    for (ZOEAVLp node = tree->First(&tree->root); node != NULL; node = tree->Next(node)) {
        const struct Word *word = (const void *)node;
        printf(" %.*s", (int)word->text.length, (const char *)word->text.chars);
    }
    printf("\n");
}

int main(int argc, char **argv) {
    zoextent(zoeavl_host());
    ZOEAVLExtension *factory = zoeavl(NULL, NULL);
    ZOEAVLTree *trees[] = {tree_of(factory, &by_length), tree_of(factory, &case_blind)};
    struct Word *words = calloc((size_t)argc * 2, sizeof *words);
    if (words == NULL || trees[0] == NULL || trees[1] == NULL) {
        fprintf(stderr, "word_orders: out of memory\n");
        return 2;
    }
    for (int i = 2; i < 2 * argc; i++) {
        words[i].text.chars = argv[i / 2];
        words[i].text.length = (uint32_t)strlen(argv[i / 2]);
        trees[i % 2]->adder(&trees[i % 2]->root, &words[i].node);
    }
    list("by length", trees[0]);
    list("case-blind", trees[1]);
    for (int i = 0; i < 2; i++)
        trees[i]->destroy(trees[i]);
    factory->RealDestroy(factory);
    free(words);
    return 0;
}
