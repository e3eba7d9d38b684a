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
    DEMAND(ZOEAVLSTToList(nullptr, &run.root.headptr, &tail) == run.expected.at(0));
    DEMAND(tail == run.expected.before(run.expected.order.size()) && model::is_list(run.expected));
    return 0;
}
