/* A tree object through a life of any parameters while calls of the host fail: the right reports,
 * every lock ended, every block given back but the names that failed creations leave behind. */
#include "../model.h"
#include "../recording_host.h"
#include "fuzz.h"

namespace {

struct Record {
    ZOEAVLNODE node;
    char key[40];
};

ZOEAVLParms some_parms(FuzzedDataProvider &bytes) {
    return {bytes.PickValueInArray<std::int32_t>({0, 1, 1, 1, 2, 3, -1, INT32_MIN}),
            bytes.ConsumeIntegralInRange<std::int32_t>(16, 24),
            bytes.ConsumeIntegralInRange<std::uint32_t>(0, 27),
            bytes.ConsumeIntegral<std::uint32_t>(),
            bytes.ConsumeBool() ? &cbchar : nullptr,
            bytes.ConsumeIntegral<std::uint64_t>()};
}

/* True if any bytes of a record will do as the key. */
bool takes_any_bytes(const ZOEAVLTree *tree) {
    const auto *const table = tree->optable;
    return tree->adder == ZOEAVLZeroAdd ||
           (table != nullptr && tree->root.keylen > 0 && tree->root.keylen <= 3 &&
            (table < &cbvchar || (table > &cbvzochar && table < &cbi32p)));
}

std::size_t walked(const ZOEAVLTree *tree) {
    std::size_t count = 0;
    for (ZOEAVLp node = tree->First(&tree->root); node != nullptr; node = tree->Next(node))
        count++;
    return count;
}

std::size_t listed(ZOEAVLp node) {
    std::size_t count = 0;
    for (; node != nullptr; node = node->rlink)
        count++;
    return count;
}

/* What a host's log says of one call into the library, of whose requests the `failing`-th failed.
 */
struct Story {
    Story(const Calls &calls, int failing) {
        for (const std::string &call : calls) {
            const bool request = call.starts_with("Alloc") || call.starts_with("LockCreate");
            const bool failed = request && ++requests == failing;
            /* The block of the name may fail unseen. */
            wants |= failed && !(call.starts_with("Alloc") && requests == 2);
            locked |= call.starts_with("LockCreate") && !failed;
            reports += call.starts_with("Status");
            ended += call == "Lock.Destroy";
            DEMAND(call != "Free of a stranger");
        }
    }
    int requests = 0, reports = 0, ended = 0;
    bool wants = false, locked = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    RecordingHost host;
    zoextent(&host.host);
    ZOEAVLExtension *const extension = zoeavl(nullptr, nullptr);
    std::vector<Record> records(12);
    ZOEAVLTree *tree = nullptr;
    std::size_t lost_names = 0;
    while (bytes.remaining_bytes() > 0) {
        const auto action = bytes.ConsumeIntegralInRange(0, 9);
        ZOEAVLParms parms = some_parms(bytes);
        ZOJournal *const journal = bytes.ConsumeBool() ? &host.journal : nullptr;
        const char *const name = bytes.ConsumeBool() ? "name" : nullptr;
        const int failing = bytes.ConsumeIntegralInRange(0, 4);
        const bool rejected = parms.keylen > 1 && (parms.keytype == 7 || parms.keytype == 8);
        const bool had_name = tree != nullptr && tree->name != nullptr;
        const bool had_lock = tree != nullptr && tree->root.rw != nullptr;
        host.calls();
        if (tree == nullptr) {
            host.fail_at(failing);
            tree = extension->Create(extension, &parms, journal, name);
            host.fail_at(0);
            const Story story(host.calls(), failing);
            DEMAND(story.requests == 0 ? rejected && tree == nullptr : !rejected);
            DEMAND(story.reports == (story.wants && journal != nullptr ? 1 : 0));
            DEMAND(!story.wants || tree == nullptr);
            DEMAND(tree == nullptr || story.locked == ((parms.flags & 1) == 0));
            DEMAND(story.ended == (story.locked && tree == nullptr ? 1 : 0));
            const std::size_t blocks = 1 + lost_names + (tree ? 1 + (tree->name != nullptr) : 0);
            lost_names += host.live.size() - blocks;
            DEMAND(host.live.size() <= blocks + (name != nullptr && tree == nullptr ? 1 : 0));
            continue;
        }
        bool survives = true;
        if (action == 0) {
            if (bytes.ConsumeBool()) {
                tree->optable =
                    static_cast<ZOEAVLOpTable *>(extension->pool->Alloc(extension->pool, 64, 0));
                tree->treeflags = ZOEAVL_TREE_OWNS_OPTABLE;
                host.calls();
            }
            DEMAND(tree->destroy(tree) == 0);
            survives = false;
        } else if (action == 1) {
            tree->root.headptr = nullptr;
            const ZOEAVLTree *const result = ZOEAVLReCreate(extension, tree, &parms, journal, name);
            survives = result == tree || rejected;
            DEMAND((result == nullptr) == (rejected || !survives));
            lost_names += had_name && !survives;
        } else if (takes_any_bytes(tree)) {
            Record &record = records[bytes.ConsumeIntegral<std::uint8_t>() % records.size()];
            const char *const key = reinterpret_cast<const char *>(&record) + tree->root.keyoff;
            const std::size_t before = walked(tree);
            if (action == 2) {
                parms.keytype %= 13;
                parms.keylen &= 3;
                ZOEAVLp duplicate = nullptr;
                const bool refused = parms.keylen > 1 && (parms.keytype == 7 || parms.keytype == 8);
                survives = tree->ReTree(tree, &parms, &duplicate, nullptr, journal) != nullptr;
                DEMAND(!refused || !survives);
                DEMAND(!survives || walked(tree) + listed(duplicate) == before);
                survives |= refused;
                lost_names += had_name && !survives;
            } else if (action < 7) {
                bool linked = false;
                for (ZOEAVLp node = tree->First(&tree->root); node; node = tree->Next(node))
                    linked |= node == &record.node;
                if (!linked) {
                    bytes.ConsumeData(record.key, sizeof record.key);
                    const bool added = tree->adder(&tree->root, &record.node) == &record.node;
                    DEMAND(walked(tree) == before + added);
                }
            } else {
                ZOEAVLp around[2];
                const ZOEAVLp found = tree->fuzzier(&tree->root, key, &around[0], &around[1]);
                DEMAND(tree->finder(&tree->root, key) == found);
                DEMAND(tree->killer(&tree->root, key) == found);
                DEMAND(walked(tree) == before - (found != nullptr));
            }
        }
        const Story story(host.calls(), 0);
        DEMAND(story.ended == (had_lock && !survives ? 1 : 0) && story.reports == 0);
        tree = survives ? tree : nullptr;
        DEMAND(host.live.size() == 1 + lost_names + (tree ? 1 + had_name : 0));
    }
    return 0;
}
