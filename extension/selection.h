/* The decision which operations a key type and a key length call for. */
#ifndef ZOEAVL_EXTENSION_SELECTION_H
#define ZOEAVL_EXTENSION_SELECTION_H

#include "zoeavl.h"

namespace zoe::inline v2::engine {

/* Puts the operations that `parms` call for in the tree, and their table in its `optable`. False if
 * they call for none, or for a table without the adder that the tree needs. */
bool select_operations(ZOEAVLTree *tree, const ZOEAVLParms *parms);

} // namespace zoe::inline v2::engine

#endif
