/* Orders compiled into a program: the tables that the generation tests drive, in a file whose own
 * names are those that the text has a use for. */
#include <zoeavl.h>

#define TRUE 7
#define FALSE TRUE
#define ASSERT(cond) ((cond) + 1)
#undef NULL
#define NULL 0
extern int Adder, Finder, FuzzyFinder, Killer;
int Adder, Finder, FuzzyFinder, Killer;

#define ZOEAVL_COMP(a, b, n, p, f)                                                                 \
    {                                                                                              \
        int c = __builtin_memcmp((a), (b), (size_t)(n));                                           \
        if (c < 0)                                                                                 \
            goto p;                                                                                \
        if (c > 0)                                                                                 \
            goto f;                                                                                \
    }
#define ZOEAVL_ORDER_NAME order_of_bytes
#include <zoeavl_order.h>

#define ZOEAVL_COMP(a, b, n, p, f)                                                                 \
    {                                                                                              \
        const int32_t *x = (a), *y = (b);                                                          \
        if (*x < *y)                                                                               \
            goto p;                                                                                \
        if (*x > *y)                                                                               \
            goto f;                                                                                \
    }
#define ZOEAVL_ORDER_NAME order_of_integers
#include <zoeavl_order.h>

static int by_half(const int64_t *sought, const int32_t *here) {
    return (*sought / 2 < *here) - (*sought / 2 > *here);
}
#define ZOEAVL_COMP(a, b, n, p, f)                                                                 \
    if (*(int32_t *)(a) > *(int32_t *)(b))                                                         \
        goto p;                                                                                    \
    else if (*(int32_t *)(a) < *(int32_t *)(b))                                                    \
        goto f;
#define ZOEAVL_FINDCOMP(a, b, n, p, f)                                                             \
    {                                                                                              \
        int order = by_half((a), (b));                                                             \
        if (order < 0)                                                                             \
            goto p;                                                                                \
        if (order > 0)                                                                             \
            goto f;                                                                                \
    }
#define ZOEAVL_ORDER_NAME order_by_halves
#include <zoeavl_order.h>

static_assert(TRUE == 7 && FALSE == 7 && NULL == 0 && ASSERT(1) == 2, "own macros are kept");
#if defined ZOEAVL_COMP || defined ZOEAVL_FINDCOMP || defined ZOEAVL_ORDER_NAME ||                 \
    defined ZOEAVL_LINK || defined Adder || defined ZOEAVLp
#    error "a macro is left behind"
#endif
