/* The links of a record, and the way from a record to its links and back. */
#ifndef ZOEAVL_NODE_HPP
#define ZOEAVL_NODE_HPP

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>

#include "../zoeavl.h"
#include "face.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

/* The two links of a record in one index: 16 bytes, as a base class (at any place among the bases)
 * or as a member. A record that is copied or assigned keeps its own links, and a copy is in no
 * index. A record must not move or end while it is in an index. */
class node : public ZOEAVLNODE {
  public:
    /* In no index; a copy too. */
    node() noexcept : ZOEAVLNODE{nullptr, nullptr} {}
    node(const node &) noexcept : node() {}
    /* Changes nothing. */
    node &operator=(const node &) noexcept { return *this; } // NOLINT: links are never copied
    ~node() = default;

    /* True while the record is in an index. It means nothing after that index has died, until
     * `reset`. */
    [[nodiscard]] bool is_linked() const noexcept { return llink != nullptr || rlink != nullptr; }

    /* Makes the links those of a record in no index. Of a record that is in one: a fault. */
    void reset() noexcept { llink = rlink = nullptr; }
};
static_assert(sizeof(node) == sizeof(ZOEAVLNODE));

namespace detail {

/* The distance of a data member from the start of the object: that is what a pointer to it holds.
 */
template <class Record, class Member>
std::ptrdiff_t offset_of(Member Record::*member) {
    static_assert(sizeof member == sizeof(std::ptrdiff_t));
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return offset;
}

template <class>
struct member_pointer;
template <class Record_, class Member_>
struct member_pointer<Member_ Record_::*> {
    using record = Record_;
    using member = Member_;
};

template <class Record>
constexpr void require_record() {
    static_assert(!std::is_reference_v<Record> && !std::is_const_v<Record>,
                  "zoeavl: a record is a plain class, not a reference and not const");
}

/* The links are a base class of the record. */
template <class Record>
struct base_hook {
    using record = Record;
    static constexpr bool checks_links = std::is_base_of_v<node, Record>;
    static constexpr void require() {
        require_record<Record>();
        static_assert(
            std::is_convertible_v<Record *, ZOEAVLNODE *> &&
                requires(ZOEAVLNODE * links) { static_cast<Record *>(links); },
            "zoeavl: the record needs zoe::node as a public base class, once and not virtual; for "
            "a "
            "member node there is index_on<&Record::member, ...>");
    }
    static ZOEAVLp node_of(const Record &r) { return const_cast<Record *>(std::addressof(r)); }
    static Record *record_of(ZOEAVLp node) { return static_cast<Record *>(node); }
    static std::ptrdiff_t node_offset() { return offset_of<Record, ZOEAVLp>(&ZOEAVLNODE::llink); }
};

/* The links are a member of the record. */
template <auto member>
struct member_hook {
    using record = typename member_pointer<decltype(member)>::record;
    using links = typename member_pointer<decltype(member)>::member;
    static constexpr bool checks_links = std::is_same_v<links, node>;
    static constexpr void require() {
        require_record<record>();
        static_assert(std::is_convertible_v<links *, ZOEAVLNODE *>,
                      "zoeavl: index_on takes the address of a member of type zoe::node");
    }
    static ZOEAVLp node_of(const record &r) {
        return const_cast<links *>(std::addressof(r.*member));
    }
    static record *record_of(ZOEAVLp node) {
        void *const start = reinterpret_cast<char *>(node) - node_offset();
        return static_cast<record *>(start);
    }
    static std::ptrdiff_t node_offset() { return offset_of<record, links>(member); }
};

} // namespace detail
} // namespace ZOEAVL_FACE_NAMESPACE

#endif
