/* The two kinds of pools: the plain one, and the one that keeps watch over its blocks. */
#ifndef ZOEAVL_HOST_POOLS_H
#define ZOEAVL_HOST_POOLS_H

#include "zohost.h"

ZOPool *create_pool(ZOHost *, const ZOPoolParms *, ZOJournal *, const char *name);
ZOPool *create_checked_pool(ZOHost *, const ZOPoolParms *, ZOJournal *journal, const char *name);

#endif
