/* Operations on a tree, for every key type, with and without a lock, against the model. */
#include "fuzz.h"

#include "../operations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    const Type &type = bytes.PickValueInArray(types);
    Operations run(type, bytes.ConsumeBool());
    while (bytes.remaining_bytes() > 0)
        run.step(bytes);
    DEMAND(model::walks_alike(run.expected, &run.root));
    ZOEAVLp tail = nullptr;
    ZOEAVLp node = ZOEAVLSTToList(nullptr, &run.root.headptr, &tail);
    DEMAND(tail == (run.expected.order.empty() ? nullptr : run.expected.order.back()));
    for (const ZOEAVLp listed : run.expected.order) {
        DEMAND(node == listed);
        node = node->rlink;
    }
    DEMAND(node == nullptr);
    return 0;
}
