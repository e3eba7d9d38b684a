/* The inspection of trees whose words were overwritten. */
#include "fuzz.h"

#include "../corrupted_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    CorruptedTree tree(bytes.ConsumeIntegralInRange<std::size_t>(0, 20));
    while (bytes.remaining_bytes() > 0)
        tree.step(bytes);
    return 0;
}
