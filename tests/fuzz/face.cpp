/* Whatever an index can be asked and told, by two keys, against the model. */
#include "fuzz.h"

#include "../index_operations.h"

namespace {

struct Record : zoe::node {
    std::int8_t first = 0;
    unsigned char second = 0;
};

/* The second key runs downwards. */
std::tuple<int, int> values(std::size_t rank) {
    return {static_cast<int>(rank / 8) - 4, 7 - static_cast<int>(rank % 8)};
}
void set(Record &record, std::size_t rank) {
    record.first = static_cast<std::int8_t>(std::get<0>(values(rank)));
    record.second = static_cast<unsigned char>(std::get<1>(values(rank)));
}
ZOEAVLp links(Record &record) {
    return &record;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    zoe::index<Record, &Record::first, zoe::descending<&Record::second>> index;
    IndexOperations<Record, true, decltype(index), decltype(&set), decltype(&values),
                    decltype(&links)>
        run(index, 72, set, values, links);
    while (bytes.remaining_bytes() > 0)
        run.step(bytes);
    run.clear();
    return 0;
}
