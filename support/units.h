/* Reading a unit of memory at any alignment. */
#ifndef ZOEAVL_SUPPORT_UNITS_H
#define ZOEAVL_SUPPORT_UNITS_H

#include <cstring>

#include "zohost.h"

namespace zoe::inline v2::engine {

template <class Unit>
inline Unit unit_at(const Unit *units, uint64_t index) {
    Unit unit;
    std::memcpy(&unit, reinterpret_cast<const char *>(units) + index * sizeof(Unit), sizeof unit);
    return unit;
}

} // namespace zoe::inline v2::engine

#endif
