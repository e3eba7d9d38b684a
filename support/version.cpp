/* The version record: what the build left about itself. */
#include <cstring>

#include "version_stamp.h" // made by the build
#include "zosupport.h"

#define BLANKS_39 "                                       "
#define HOTFIX_KEY "ORB_VERSION_HOTFIX_NUMBER=" BLANKS_39
#define DESCRIPTION_KEY "VERCON_IMAGE_DESCRIPTION=" BLANKS_39 " "
static_assert(sizeof HOTFIX_KEY == 65 + 1 && sizeof DESCRIPTION_KEY == 65 + 1);
static_assert(sizeof ZOEAVL_STAMP == 18 + 1);

static const ZOVersionRecord info = {
    .stamp = ZOEAVL_STAMP,
    .path = "zocore/zoeavl",
    .empty16 = "",
    .seconds = ZOEAVL_BUILD_SECONDS,
    .family = "zocore",
    .opaque40 = "zo2100",
    .component = "zoeavl",
    .opaque56 = "zoeavl-2.1.0-release",
    .empty64 = "",
    .word = "version",
    .separator = "::",
    .empty88 = "",
    .hotfix = HOTFIX_KEY,
    .opaque104 = "zoeavl-2.1.0-linux64-le",
    .description = DESCRIPTION_KEY,
    .machine = ZOEAVL_BUILD_MACHINE,
    .date = ZOEAVL_BUILD_DATE,
    .zero = {},
};

uint64_t zovercn1(void *destination) {
    constexpr std::size_t block = 16;
    static_assert(sizeof info % block == 0);
    for (std::size_t end = sizeof info; end > 0; end -= block) {
        std::memcpy(static_cast<char *>(destination) + end - block,
                    reinterpret_cast<const char *>(&info) + end - block, block);
        asm volatile("" : : : "memory"); // from the last block to the first, one after the other
    }
    return 0;
}
