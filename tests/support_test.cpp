/* The support routines against naive loops, on memory that ends and begins at inaccessible pages;
 * the shims; the version record. */
#include <algorithm>
#include <cfenv>
#include <cstring>
#include <ctime>
#include <numeric>
#include <setjmp.h>
#include <signal.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "guarded.h"
#include "zosupport.h"

namespace {

using Buffer = std::vector<unsigned char>;

Buffer counted(std::size_t size) {
    Buffer bytes(size);
    std::iota(bytes.begin(), bytes.end(), 1);
    return bytes;
}

/* Runs `check` with a block of `size` bytes that ends, and one that begins, at an inaccessible
 * page. The block holds no zero. */
template <class Check>
void at_both_edges(std::size_t size, Check check) {
    Guarded memory(size + 1);
    for (char *const block : {memory.end() - size, memory.begin()}) {
        std::memset(block, 0xC3, size);
        check(block);
    }
}

TEST(Copies, GoByteByByteOrAsIfThroughAScratchBuffer) {
    for (std::size_t len = 0; len <= 230; len += len < 40 ? 1 : 19)
        for (int distance = -static_cast<int>(len) - 3; distance <= static_cast<int>(len) + 3;
             distance++) {
            const std::size_t room = len + static_cast<std::size_t>(std::abs(distance));
            Guarded memory(room + 1);
            for (char *const base : {memory.end() - room, memory.begin()}) {
                const Buffer before = counted(room + 1);
                auto *const src = base + (distance < 0 ? -distance : 0);
                auto *const dst = src + distance;
                Buffer forward = before;
                Buffer moved = before;
                const std::size_t from = static_cast<std::size_t>(src - base);
                const std::size_t to = static_cast<std::size_t>(dst - base);
                for (std::size_t i = 0; i < len; i++)
                    forward[to + i] = forward[from + i];
                for (std::size_t i = 0; i < len; i++)
                    moved[to + i] = before[from + i];
                std::memcpy(base, before.data(), room);
                EXPECT_EQ(skMemCpy(src, dst, len), dst);
                ASSERT_EQ(std::memcmp(base, forward.data(), room), 0) << len << " by " << distance;
                std::memcpy(base, before.data(), room);
                skMemSCpy(src, dst, len);
                ASSERT_EQ(std::memcmp(base, moved.data(), room), 0) << len << " by " << distance;
            }
        }
}

TEST(FillsScansAndComparisons, AgreeWithLoops) {
    for (std::size_t len = 0; len <= 70; len++) {
        at_both_edges(len, [&](char *bytes) {
            skMemSet(bytes, 0x105, len);
            const Buffer fives(len, 5);
            EXPECT_EQ(skMemNot(0x105, bytes, len), 1U);
            EXPECT_EQ(skMemNScan(bytes, len, 0x205), -1);
            EXPECT_EQ(skMemScan(bytes, len, 0x305), len == 0 ? -1 : 0);
            EXPECT_EQ(skMemCmp(bytes, fives.data(), len), 0);
            for (const unsigned char other : Buffer{4, 6, 0x85, 0xFA}) {
                EXPECT_EQ(skMemScan(bytes, len, other), -1);
                for (std::size_t at = 0; at < len; at++) {
                    const int order = other < 5 ? -1 : 1;
                    bytes[at] = static_cast<char>(other);
                    EXPECT_EQ(skMemNot(5, bytes, len), 0U);
                    EXPECT_EQ(skMemNScan(bytes, len, 5), static_cast<std::int64_t>(at));
                    EXPECT_EQ(skMemScan(bytes, len, other), static_cast<std::int64_t>(at));
                    bytes[len - 1] = static_cast<char>(other); // no later byte counts
                    EXPECT_EQ(skMemScan(bytes, len, other), static_cast<std::int64_t>(at));
                    EXPECT_EQ(skMemCmp(bytes, fives.data(), len), order);
                    EXPECT_EQ(skMemCmp(fives.data(), bytes, len), -order);
                    bytes[at] = bytes[len - 1] = 5;
                }
            }
        });
        for (const std::size_t shift : {0U, 1U}) // 32-bit units at any alignment
            at_both_edges(4 * len + shift, [&](char *bytes) {
                auto *const units = reinterpret_cast<zochar *>(bytes);
                const std::uint32_t value = 0x80000105;
                const std::vector<zochar> values(len + 1, value);
                skMemTSet(units, value, len);
                EXPECT_EQ(skMemTNot(value, units, len), 1U);
                EXPECT_EQ(skMemTNot(0x105, units, len), len == 0);
                EXPECT_EQ(skMemTNScan(units, len, value), -1);
                EXPECT_EQ(skWMemCmp(units, values.data(), len), 0);
                for (std::size_t at = 0; at < 4 * len; at++) {
                    const char kept = bytes[at];
                    bytes[at] = static_cast<char>(kept ^ (1 << at % 7));
                    const int order = (kept & 1 << at % 7) != 0 ? -1 : 1;
                    EXPECT_EQ(skMemTNot(value, units, len), 0U);
                    EXPECT_EQ(skMemTNScan(units, len, value), static_cast<std::int64_t>(at / 4));
                    EXPECT_EQ(skWMemCmp(units, values.data(), len), order);
                    EXPECT_EQ(skWMemCmp(values.data(), units, len), -order);
                    bytes[at] = kept;
                }
            });
    }
    /* Lengths have 64 bits: all of this is decided by the first units. */
    Buffer ones(64, 1);
    ones[9] = 2;
    const Buffer nans(64, 0xFF);
    const auto *const wide = reinterpret_cast<const zochar *>(ones.data());
    constexpr std::uint64_t endless = std::uint64_t{1} << 32;
    EXPECT_EQ(skMemNot(1, ones.data(), endless), 0U);
    EXPECT_EQ(skMemTNot(wide[0], wide, endless), 0U);
    EXPECT_EQ(skMemScan(ones.data(), endless, 2), 9);
    EXPECT_EQ(skMemNScan(ones.data(), endless, 1), 9);
    EXPECT_EQ(skMemTNScan(wide, endless, wide[0]), 2);
    EXPECT_EQ(skMemCmp(ones.data(), nans.data(), endless), -1);
    EXPECT_EQ(skWMemCmp(wide, reinterpret_cast<const zochar *>(nans.data()), endless), 1);
    EXPECT_EQ(skMissArray(reinterpret_cast<const double *>(nans.data()), endless), 1U);
    const struct {
        zochar a, b;
        int order;
    } modular[] = {{0x80000000, 1, 1},  {1, 0x80000000, -1}, {0xF0000000, 1, -1},
                   {0x80000000, 0, -1}, {0, 0x80000000, -1}, {0x7FFFFFFF, 0xFFFFFFFF, -1}};
    for (const auto &row : modular)
        EXPECT_EQ(skWMemCmp(&row.a, &row.b, 1), row.order) << row.a << " " << row.b;
    for (const std::uint64_t len : {0U, 5U}) {
        EXPECT_EQ(skMemScan(nullptr, len, 0), -1);
        EXPECT_EQ(skMemNScan(nullptr, len, 0), -1);
        EXPECT_EQ(skMemTNScan(nullptr, len, 0), -1);
    }
}

TEST(Strings, AreMeasuredCopiedAndChangedInCase) {
    for (std::size_t len = 0; len <= 40; len++) {
        at_both_edges(len + 1, [&](char *str) {
            std::memset(str, 0x80, len);
            str[len] = 0;
            EXPECT_EQ(skStrLen(str), len);
            at_both_edges(len + 1, [&](char *copy) {
                skStrCpy(str, copy);
                EXPECT_EQ(std::memcmp(str, copy, len + 1), 0);
            });
        });
        at_both_edges(4 * len + 5, [&](char *bytes) { // the last byte isn't the string's
            auto *const str = reinterpret_cast<zochar *>(bytes);
            std::memset(bytes, 0, 4 * len + 4);
            for (std::size_t i = 0; i < len; i++)
                bytes[4 * i + i % 4] = 1;
            EXPECT_EQ(skStrTLen(str), len);
            at_both_edges(4 * len + 4, [&](char *copy) {
                skStrTCpy(str, reinterpret_cast<zochar *>(copy));
                EXPECT_EQ(std::memcmp(str, copy, 4 * len + 4), 0);
            });
        });
    }
    EXPECT_EQ(skStrLen(nullptr), 0U);
    EXPECT_EQ(skStrTLen(nullptr), 0U);
    char narrow[] = "xy";
    zochar wide[] = {0xFFFFFFFF, 0xFFFFFFFF};
    skStrCpy(nullptr, nullptr);
    skStrCpy(narrow, nullptr);
    skStrCpy(nullptr, narrow);
    EXPECT_EQ(std::string(narrow, 2), std::string("\0y", 2));
    skStrTCpy(nullptr, nullptr);
    skStrTCpy(wide, nullptr);
    skStrTCpy(nullptr, wide);
    EXPECT_EQ(wide[0], 0U);
    EXPECT_EQ(wide[1], 0xFFFFFFFFU);

    for (const char first : {'a', 'A'}) {
        std::string text(1, first); // letters at both ends, of which the last is to stay
        for (int c = 0; c < 256; c++)
            text += static_cast<char>(c);
        text += first;
        std::string expected = text;
        for (std::size_t i = 0; i + 1 < text.size(); i++)
            if (text[i] >= first && text[i] < first + 26)
                expected[i] = static_cast<char>(text[i] ^ 32);
        (first == 'a' ? skStrUp : skStrLow)(text.data(), text.size() - 1);
        EXPECT_EQ(text, expected);
    }
}

TEST(NullPointers, DoNoHarmWithLengthZero) {
    skStrUp(nullptr, 0);
    skStrLow(nullptr, 0);
    skMemSet(nullptr, 0, 0);
    skMemTSet(nullptr, 0, 0);
    skMemSCpy(nullptr, nullptr, 0);
    EXPECT_EQ(skMemCpy(nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(skMemNot(1, nullptr, 0), 1U);
    EXPECT_EQ(skMemTNot(1, nullptr, 0), 1U);
    EXPECT_EQ(skMemCmp(nullptr, nullptr, 0), 0);
    EXPECT_EQ(skWMemCmp(nullptr, nullptr, 0), 0);
    EXPECT_EQ(skMissArray(nullptr, 0), 0U);
}

TEST(Missing, AnyNanCountsAndRaisesNoException) {
    std::feclearexcept(FE_ALL_EXCEPT);
    for (std::size_t len = 0; len <= 20; len++)
        at_both_edges(8 * len, [&](char *bytes) {
            const std::uint64_t infinity = 0xFFF0000000000000;
            for (std::size_t i = 0; i < len; i++)
                std::memcpy(bytes + 8 * i, &infinity, 8);
            auto *const values = reinterpret_cast<double *>(bytes);
            EXPECT_EQ(skMissArray(values, len), 0U);
            for (std::size_t at = 0; at < len; at++)
                for (const std::uint64_t nan : {0x7FF0000000000001U, 0xFFF8000000000000U}) {
                    std::memcpy(bytes + 8 * at, &nan, 8);
                    EXPECT_EQ(skMissArray(values, len), 1U);
                    std::memcpy(bytes + 8 * at, &infinity, 8);
                }
        });
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
}

TEST(Duplicates, ComeFromThePool) {
    static std::string asked;
    ZOPool pool{};
    static char block[8] = "-------";
    pool.Alloc = [](ZOPool *, std::uint64_t size, std::uint32_t flags) -> void * {
        asked = std::to_string(size) + " " + std::to_string(flags);
        return size > 5 ? nullptr : block;
    };
    EXPECT_EQ(skMemDup(nullptr, 3, &pool), nullptr);
    EXPECT_EQ(skMemDup("abc", 3, nullptr), nullptr);
    EXPECT_EQ(asked, "");
    EXPECT_EQ(skMemDup("abc", 0, &pool), block);
    EXPECT_EQ(asked, "0 0");
    EXPECT_EQ(skMemDup("abc", 3, &pool), block);
    EXPECT_STREQ(block, "abc----");
    EXPECT_EQ(skMemDup("abcdef", 6, &pool), nullptr);
}

/* ---- Shims ----------------------------------------------------------------------------------- */

struct Journal : ZOJournal {
    std::string seen;
    template <class... Words>
    static ZOWord note(ZOJournal *journal, va_list list, Words... words) {
        std::string &seen = static_cast<Journal *>(journal)->seen;
        seen.clear();
        ((seen += std::to_string(words) + " "), ...);
        for (int i = 0; i < 3; i++) {
            seen += "| " + std::to_string(va_arg(list, int)) + " ";
            seen += std::to_string(va_arg(list, double)) + " ";
            seen += va_arg(list, const char *);
        }
        return -0x123456789ABCDEF;
    }
    static ZOWord locale(ZOJournal *journal, ...) {
        va_list list;
        va_start(list, journal);
        const ZOWord result = note(journal, list);
        va_end(list);
        return result;
    }
};

TEST(Shims, HandTheVariableArgumentsOnAsAList) {
    Journal j{};
    j.MessageToBuf = [](ZOJournal *o, ZOWord a, ZOWord b, ZOWord c, ZOWord d, ZOWord e, va_list l) {
        return Journal::note(o, l, a, b, c, d, e);
    };
    j.MessageToJnl = [](ZOJournal *o, ZOWord a, ZOWord b, ZOWord c, va_list l) {
        return Journal::note(o, l, a, b, c);
    };
    j.StatusToBuf = [](ZOJournal *o, ZOWord a, ZOWord b, ZOWord c, ZOWord d, va_list l) {
        return Journal::note(o, l, a, b, c, d);
    };
    j.StatusToJnl = [](ZOJournal *o, ZOWord a, ZOWord b, va_list l) {
        return Journal::note(o, l, a, b);
    };
    const std::string list = "| 7 0.500000 x| 8 1.500000 y| 9 2.500000 z";
    const ZOWord big = INT64_MIN;
    EXPECT_EQ(zolMessageToBuf(&j, 1, 2, 3, 4, big, 7, 0.5, "x", 8, 1.5, "y", 9, 2.5, "z"),
              -0x123456789ABCDEF);
    EXPECT_EQ(j.seen, "1 2 3 4 -9223372036854775808 " + list);
    EXPECT_EQ(zolMessageToJnl(&j, 1, big, 3, 7, 0.5, "x", 8, 1.5, "y", 9, 2.5, "z"),
              -0x123456789ABCDEF);
    EXPECT_EQ(j.seen, "1 -9223372036854775808 3 " + list);
    EXPECT_EQ(zolStatusToBuf(&j, 1, 2, 3, big, 7, 0.5, "x", 8, 1.5, "y", 9, 2.5, "z"),
              -0x123456789ABCDEF);
    EXPECT_EQ(j.seen, "1 2 3 -9223372036854775808 " + list);
    EXPECT_EQ(zolStatusToJnl(&j, 4, big, 7, 0.5, "x", 8, 1.5, "y", 9, 2.5, "z"),
              -0x123456789ABCDEF);
    EXPECT_EQ(j.seen, "4 -9223372036854775808 " + list);
    EXPECT_EQ(skUnsup(), 0x803fc004U);
}

TEST(Shims, GetLocaleIsAJump) {
    Journal j{};
    j.GetLocale = Journal::locale;
    EXPECT_EQ(zolGetLocale(&j, 7, 0.5, "x", 8, 1.5, "y", 9, 2.5, "z"), -0x123456789ABCDEF);
    EXPECT_EQ(j.seen, "| 7 0.500000 x| 8 1.500000 y| 9 2.500000 z");
}

/* ---- Version record -------------------------------------------------------------------------- */

TEST(Version, RecordHasItsForm) {
    char buffer[208 + 3];
    std::memset(buffer, 0x5A, sizeof buffer);
    EXPECT_EQ(zovercn1(buffer + 1), 0U);
    EXPECT_EQ(buffer[0], 0x5A);
    EXPECT_EQ(buffer[209], 0x5A);
    ZOVersionRecord info;
    std::memcpy(&info, buffer + 1, sizeof info);
    const std::time_t seconds = static_cast<std::time_t>(info.seconds);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[64];
    std::strftime(text, sizeof text, "V.02.01M0P%m%d%Y", &utc);
    EXPECT_STREQ(info.stamp, text);
    std::strftime(text, sizeof text, "%a %b %e %H:%M:%S UTC %Y", &utc);
    EXPECT_STREQ(info.date, text);
    const std::string path = info.path;
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 1);
    for (const char *const empty : {info.empty16, info.empty64, info.empty88})
        EXPECT_STREQ(empty, "");
    EXPECT_STREQ(info.family, "zocore");
    EXPECT_STREQ(info.component, "zoeavl");
    EXPECT_STREQ(info.word, "version");
    EXPECT_STREQ(info.separator, "::");
    EXPECT_EQ(std::strlen(info.opaque40), 6U);
    EXPECT_EQ(std::strlen(info.opaque56), 20U);
    EXPECT_EQ(std::strlen(info.opaque104), 23U);
    EXPECT_EQ(std::string(info.hotfix), "ORB_VERSION_HOTFIX_NUMBER=" + std::string(39, ' '));
    EXPECT_EQ(std::string(info.description), "VERCON_IMAGE_DESCRIPTION=" + std::string(40, ' '));
    EXPECT_EQ(std::string(info.machine).find_first_of(" \t"), std::string::npos);
    EXPECT_NE(info.machine[0], 0);
    for (const std::uint64_t word : info.zero)
        EXPECT_EQ(word, 0U);
}

sigjmp_buf back;

TEST(Version, RecordIsCopiedFromTheLastBlockToTheFirst) {
    /* The buffer begins in front of accessible memory: all blocks but the first get written. */
    Guarded memory(208);
    std::memset(memory.begin(), 0x5A, 208);
    struct sigaction action {};
    struct sigaction former {};
    action.sa_handler = [](int) { siglongjmp(back, 1); };
    sigaction(SIGSEGV, &action, &former);
    if (sigsetjmp(back, 1) == 0) {
        zovercn1(memory.begin() - 16);
        ADD_FAILURE() << "the block ahead of the memory can't be written";
    }
    char whole[208];
    zovercn1(whole);
    EXPECT_EQ(std::memcmp(memory.begin(), whole + 16, 192), 0);

    /* The buffer ends behind accessible memory: nothing at all gets written. */
    std::memset(memory.end() - 192, 0x5A, 192);
    if (sigsetjmp(back, 1) == 0) {
        zovercn1(memory.end() - 192);
        ADD_FAILURE() << "the last block can't be written";
    }
    sigaction(SIGSEGV, &former, nullptr);
    EXPECT_EQ(std::string(memory.end() - 192, 192), std::string(192, 0x5A));
}

} // namespace
