/* Journal shims: a variable argument list of the call becomes a list object for the slot. */
#include "zosupport.h"

ZOWord zolMessageToBuf(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ZOWord d, ZOWord e, ...) {
    va_list list;
    va_start(list, e);
    const ZOWord result = journal->MessageToBuf(journal, a, b, c, d, e, list);
    va_end(list);
    return result;
}

ZOWord zolMessageToJnl(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ...) {
    va_list list;
    va_start(list, c);
    const ZOWord result = journal->MessageToJnl(journal, a, b, c, list);
    va_end(list);
    return result;
}

ZOWord zolStatusToBuf(ZOJournal *journal, ZOWord a, ZOWord b, ZOWord c, ZOWord d, ...) {
    va_list list;
    va_start(list, d);
    const ZOWord result = journal->StatusToBuf(journal, a, b, c, d, list);
    va_end(list);
    return result;
}

ZOWord zolStatusToJnl(ZOJournal *journal, ZOWord level, ZOWord status, ...) {
    va_list list;
    va_start(list, status);
    const ZOWord result = journal->StatusToJnl(journal, level, status, list);
    va_end(list);
    return result;
}

#if defined(__x86_64__) && defined(__CET__)
#    define GET_LOCALE "endbr64; jmp *96(%rdi)"
#elif defined(__x86_64__)
#    define GET_LOCALE "jmp *96(%rdi)"
#elif defined(__aarch64__)
#    define GET_LOCALE "ldr x16, [x0, #96]; br x16"
#else
#    error "zolGetLocale needs the jump through GetLocale in this processor's instructions"
#endif

/* A jump leaves every register and the stack as they came, however many arguments there are. */
asm(R"(
    .pushsection .text
    .globl  zolGetLocale
    .type   zolGetLocale, %function
zolGetLocale:
)" GET_LOCALE R"(
    .size   zolGetLocale, . - zolGetLocale
    .popsection
)");
static_assert(offsetof(ZOJournal, GetLocale) == 96);

ZOStatus skUnsup(void) {
    return ZOEAVL_STATUS_UNSUPPORTED;
}
