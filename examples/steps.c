/* Draws a tree ahead of one operation and behind it, as Graphviz text: an insertion that needs a
 * rotation, or a removal from a Fibonacci tree, the sparsest of its height, in which one removal
 * can need a rotation on every other level. The pictures in docs/ are made by it
 * (scripts/pictures.sh). */
#include <stdio.h>
#include <string.h>

#include <zoeavl.h>
#include <zoeavl_inspect.h>

struct Number {
    ZOEAVLNODE node;
    int64_t key;
};

static ZOEAVL_ROOT tree = {NULL, offsetof(struct Number, key), 1, NULL};
static struct Number numbers[64];

static void add(int64_t key) {
    numbers[key].key = key;
    cbi64.adder(&tree, &numbers[key].node);
}

static void label(void *context, ZOEAVLp record, char *text, size_t size) {
    (void)context;
    snprintf(text, size, "%d", (int)((const struct Number *)(const void *)record)->key);
}

static void draw(const char *title) {
    const ZOEAVLDrawing drawing = {label, NULL, 0, title};
    zoeavl_draw(NULL, &tree.headptr, &drawing, stdout);
}

/* The middle keys of a Fibonacci tree of that height whose keys follow `below`, level by level from
 * above: added in this order they need no rotation. Gives the number of its keys. */
static int64_t keys_of_level(int height, int level, int64_t below) {
    static const int64_t sizes[] = {0, 1, 2, 4, 7, 12, 20, 33};
    if (height > 0 && level == 0)
        add(below + sizes[height - 1] + 1);
    if (height > 1) {
        keys_of_level(height - 1, level - 1, below);
        keys_of_level(height - 2, level - 1, below + sizes[height - 1] + 1);
    }
    return sizes[height];
}

int main(int count, char **arguments) {
    const char *const what = count == 2 ? arguments[1] : "";
    const int insertion = strcmp(what, "insertion") == 0;
    if (!insertion && strcmp(what, "removal") != 0) {
        fprintf(stderr, "usage: steps insertion|removal\n");
        return 2;
    }
    printf("digraph steps {\nordering=out;\nfontname=\"sans-serif\";\n");
    if (insertion) {
        const int64_t keys[] = {20, 10, 40, 30, 50};
        for (size_t i = 0; i < sizeof keys / sizeof keys[0]; i++)
            add(keys[i]);
        draw("before");
        add(60);
        draw("after_60_came");
    } else {
        const int height = 5;
        int64_t size = 0;
        for (int level = 0; level < height; level++)
            size = keys_of_level(height, level, 0);
        draw("before");
        cbi64.killer(&tree, &size);
        draw("after_the_last_went");
    }
    printf("}\n");
    return 0;
}
