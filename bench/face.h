/* The C++ face as a contestant, one record at a time or many. */
#ifndef ZOEAVL_BENCH_FACE_H
#define ZOEAVL_BENCH_FACE_H

#include <tuple>
#include <vector>

#include <boost/iterator/transform_iterator.hpp>
#include <boost/range/iterator_range.hpp>

#include "contestants.h"
#include "zoeavl.hpp"

/* For each key type: the record, its index, and the values that a look-up takes. */
template <class Key>
struct Indexed {
    using Node = Record<zoe::node, Key>;
    using Index = zoe::index<Node, &Node::key>;
    static auto values(const typename Key::Value &key) { return std::tie(key); }
};
template <>
struct Indexed<Pairs> {
    struct Node : zoe::node {
        Node(const Pairs::Value &key, std::size_t)
            : first(std::get<0>(key)), second(std::get<1>(key)) {}
        std::int64_t first, second;
    };
    using Index = zoe::index<Node, &Node::first, &Node::second>;
    static const Pairs::Value &values(const Pairs::Value &key) { return key; }
};
template <>
struct Indexed<Triples> {
    struct Node : zoe::node {
        Node(const Triples::Value &key, std::size_t)
            : first(std::get<0>(key)), second(std::get<1>(key)), third(std::get<2>(key)) {}
        std::int32_t first;
        std::int64_t second;
        std::int32_t third;
    };
    using Index = zoe::index<Node, &Node::first, &Node::second, &Node::third>;
    static const Triples::Value &values(const Triples::Value &key) { return key; }
};
template <>
struct Indexed<PrefixedStrings> {
    struct Node : zoe::node {
        Node(Strings::Value key, std::size_t) : text(key) {}
        std::string text;
        std::uint64_t prefix = 0;
    };
    using Index = zoe::index<Node, zoe::prefixed<&Node::text, &Node::prefix>>;
    static auto values(const Strings::Value &key) { return std::tie(key); }
};

template <class Key>
class Face {
  public:
    using Value = typename Key::Value;
    static constexpr const char *name = "zoe::index";
    static constexpr Kind kind = Kind::ours;

    explicit Face(const std::vector<Value> &keys) : records(records_of<Node>(keys)) {}
    void insert(std::size_t i) { index.insert(records[i]); }
    const void *find(const Value &key) {
        return with(key, [&](const auto &...values) {
            const auto at = index.find(values...);
            return at != index.end() ? &*at : nullptr;
        });
    }
    void neighbours(const Value &key) {
        const auto around =
            with(key, [&](const auto &...values) { return index.neighbours(values...); });
        take(around.match, around.below, around.above);
    }
    void erase(const Value &key) {
        with(key, [&](const auto &...values) { return index.extract(values...); });
    }
    std::size_t walk() {
        std::size_t count = 0;
        for (Node &record : index) {
            count++;
            asm volatile("" : : "r"(&record));
        }
        return count;
    }
    std::uint64_t scan() {
        std::uint64_t sum = 0;
        for (const Node &record : index)
            sum += read(record);
        return sum;
    }
    void clear() { index = {}; }

  protected:
    using Node = typename Indexed<Key>::Node;
    static decltype(auto) with(const Value &key, auto ask) {
        return std::apply(ask, Indexed<Key>::values(key));
    }
    std::vector<Node> records;
    typename Indexed<Key>::Index index;
};

/* The same once more: how far two measurements of one thing lie apart. */
template <class Key>
struct FaceControl : Face<Key> {
    using Face<Key>::Face;
    static constexpr const char *name = "zoe::index, control";
};
/* The same beside operations on many. */
template <class Key>
struct FaceOneByOne : Face<Key> {
    using Face<Key>::Face;
    static constexpr const char *name = "zoe::index, one by one";
};

template <class Key>
class FaceOfMany : public Face<Key> {
    using Face<Key>::index, Face<Key>::records;
    using typename Face<Key>::Node;

  public:
    using typename Face<Key>::Value;
    using Face<Key>::Face;
    void find_many(const std::vector<Value> &keys) {
        found.resize(keys.size());
        index.find_many(keys, found.begin());
    }
    void erase_many(const std::vector<Value> &keys) {
        found.resize(keys.size());
        index.erase_many(keys, found.begin());
    }
    void insert_many(const Order &order) { index.insert_many(picked(order)); }
    void build_sorted(const Order &ascending) { index.assign_sorted(picked(ascending)); }
    void build(const Order &order) { index.assign(picked(order)); }
    void append(const Order &ascending) { index.appender().insert_range(picked(ascending)); }
    std::uint64_t scan() {
        std::uint64_t sum = 0;
        index.for_each([&](const Node &record) { sum += read(record); });
        return sum;
    }
    void cut(const Value &low, const Value &high) {
        const auto gone = index.extract_range(low, high);
    }
    void insert_other(std::size_t i) { other.insert(records[i]); }
    void merge() { index.merge(other); }
    void clear() { index = {}, other = {}; }

  private:
    struct Pick {
        Node *records = nullptr;
        Node &operator()(std::size_t i) const { return records[i]; }
    };
    auto picked(const Order &order) {
        const Pick pick{records.data()};
        return boost::make_iterator_range(boost::make_transform_iterator(order.begin(), pick),
                                          boost::make_transform_iterator(order.end(), pick));
    }
    std::vector<Node *> found;
    typename Indexed<Key>::Index other;
};

#endif
