// Words by their length, and words of one length by their letters.
// Sized is how a record holds its text; a macro's members must not be called a, b, n, p or f.
struct Sized {
    const unsigned char *chars;
    uint32_t length;
} __attribute__((packed));

#define ZOEAVL_COMP(a, b, n, p, f)                                                                 \
    {                                                                                              \
        const struct Sized *sought = (a), *here = (b);                                             \
        if (sought->length < here->length)                                                         \
            goto p;                                                                                \
        if (sought->length > here->length)                                                         \
            goto f;                                                                                \
        int order = __builtin_memcmp(sought->chars, here->chars, sought->length);                  \
        if (order < 0)                                                                             \
            goto p;                                                                                \
        else if (order > 0)                                                                        \
            goto f;                                                                                \
    }
