/* What a run against a model takes its choices from in a unit test, and its demands; a fuzz target
 * has its input for the one, and ends where the other isn't met. */
#ifndef ZOEAVL_TESTS_CHOICES_H
#define ZOEAVL_TESTS_CHOICES_H

#include <random>
#include <string>

#include <gtest/gtest.h>

#ifndef DEMAND
#    define DEMAND(condition) EXPECT_TRUE(condition)
#endif

/* Gives what FuzzedDataProvider takes from its bytes; strings are of bytes that sort first and last
 * and that make doubles missing. */
class RandomBytes {
  public:
    template <class Integer>
    Integer ConsumeIntegralInRange(Integer low, Integer high) {
        return static_cast<Integer>(
            low + static_cast<Integer>(random() % (static_cast<std::uint64_t>(high - low) + 1)));
    }
    template <class Integer>
    Integer ConsumeIntegral() {
        return static_cast<Integer>(random());
    }
    bool ConsumeBool() { return random() % 2 != 0; }
    std::string ConsumeBytesAsString(std::size_t size) {
        std::string bytes(size, '\0');
        for (char &byte : bytes)
            byte = "\x00\x01\x7F\x80\xE4\xF0\xFE\xFF"[random() % 8];
        return bytes;
    }

  private:
    std::mt19937_64 random{11};
};

#endif
