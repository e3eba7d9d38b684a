/* The one report that the library makes of its own accord. */
#ifndef ZOEAVL_EXTENSION_REPORT_H
#define ZOEAVL_EXTENSION_REPORT_H

#include "zosupport.h"

namespace zoe::inline v2::engine {

/* Says that a pool, a block or a lock couldn't be had. `journal` may be null. */
inline void report_lack_of_resources(ZOJournal *journal) {
    if (journal != nullptr)
        zolStatusToJnl(journal, ZOJOURNAL_LEVEL, static_cast<int32_t>(ZOEAVL_STATUS_RESOURCE));
}

} // namespace zoe::inline v2::engine

#endif
