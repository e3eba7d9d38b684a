// Words in the order of their letters, upper and lower case being the same letter.
// Spelt is how a record holds its text; a macro's members must not be called a, b, n, p or f.
struct Spelt {
    const unsigned char *chars;
    uint32_t length;
} __attribute__((packed));

static int lower(int c) {
    return c >= 'A' && c <= 'Z' ? c + 32 : c;
}

static int word_order(const struct Spelt *sought, const struct Spelt *here) {
    uint32_t common = sought->length < here->length ? sought->length : here->length;
    for (uint32_t i = 0; i < common; i++) {
        int difference = lower(sought->chars[i]) - lower(here->chars[i]);
        if (difference != 0)
            return difference;
    }
    return (sought->length > here->length) - (sought->length < here->length);
}

#define ZOEAVL_COMP(a, b, n, p, f)                                                                 \
    {                                                                                              \
        int order = word_order((a), (b));                                                          \
        if (order < 0)                                                                             \
            goto p;                                                                                \
        else if (order > 0)                                                                        \
            goto f;                                                                                \
    }
