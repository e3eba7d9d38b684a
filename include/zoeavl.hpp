/* zoeavl in C++: typed, ordered indexes over your own records, without an allocation.
 *
 *     #include <zoeavl.hpp>
 *
 *     struct City : zoe::node {
 *         long population;
 *         std::string name;
 *     };
 *     zoe::index<City, &City::population> by_size;
 *
 *     by_size.insert(bergen);              // a record of yours, which stays where it is
 *     auto city = by_size.find(291189);    // an iterator, or by_size.end()
 *     auto [below, match, above] = by_size.neighbours(300000);
 *     for (City &c : by_size.between(100000, 500000))
 *         std::cout << c.name;
 *     by_size.erase(bergen);
 *
 * A record stands in several indexes through several member nodes (index_on), and an index may go
 * by several keys. zoeavl/key.hpp says what a key is and how types are ordered,
 * zoeavl/operations.hpp what can be done. guarded puts a lock around an index; tree and view reach
 * the tree objects of zoeavl.h by the same operations. For C++20, with exceptions on. Header-only,
 * but for tree and view. */
#ifndef ZOEAVL_HPP
#define ZOEAVL_HPP

#if __cplusplus < 202002L
#    error "zoeavl.hpp is for C++20 and later: compile with -std=c++20"
#else
#    include "zoeavl/guarded.hpp"
#    include "zoeavl/index.hpp"
#    include "zoeavl/tree.hpp"
#endif

#endif
