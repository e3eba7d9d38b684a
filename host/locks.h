/* The two kinds of locks: the plain one, and the one that knows who holds it. */
#ifndef ZOEAVL_HOST_LOCKS_H
#define ZOEAVL_HOST_LOCKS_H

#include "zohost.h"

ZOLock *create_lock(ZOHost *, const ZOLockParms *parms, ZOJournal *, const char *name);
ZOLock *create_checked_lock(ZOHost *, const ZOLockParms *parms, ZOJournal *journal,
                            const char *name);

#endif
