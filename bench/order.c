/* The order of 64-bit integers as a caller would write it, compiled with the program. */
#include <stdint.h>

#define ZOEAVL_COMP(a, b, n, p, f)                                                                 \
    if (*(int64_t *)(a) < *(int64_t *)(b))                                                         \
        goto p;                                                                                    \
    else if (*(int64_t *)(a) > *(int64_t *)(b))                                                    \
    goto f
#define ZOEAVL_ORDER_NAME i64_order
#include <zoeavl_order.h>
