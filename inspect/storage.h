/* Storage of this library's own, on malloc: an array that grows, and says so when it can't. */
#ifndef ZOEAVL_INSPECT_STORAGE_H
#define ZOEAVL_INSPECT_STORAGE_H

#include <cstddef>
#include <cstdlib>

namespace zoe::inspect {

template <class Value>
class Array {
  public:
    Array() = default;
    ~Array() { std::free(values); }
    Array(const Array &) = delete;
    Array &operator=(const Array &) = delete;

    [[nodiscard]] bool add(const Value &value) {
        if (count == capacity) {
            const std::size_t wanted = capacity == 0 ? 64 : 2 * capacity;
            auto *const grown = static_cast<Value *>(std::realloc(values, wanted * sizeof(Value)));
            if (grown == nullptr)
                return false;
            values = grown;
            capacity = wanted;
        }
        values[count++] = value;
        return true;
    }
    [[nodiscard]] std::size_t size() const { return count; }
    Value &operator[](std::size_t i) { return values[i]; }
    const Value &operator[](std::size_t i) const { return values[i]; }

  private:
    Value *values = nullptr;
    std::size_t count = 0;
    std::size_t capacity = 0;
};

} // namespace zoe::inspect

#endif
