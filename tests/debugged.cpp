/* A program for the debugger to look into: trees of several kinds, an index, and one broken tree.
 */
#include <csignal>
#include <cstdio>

#include <zoeavl.hpp>
#include <zoeavl_host.h>

struct City {
    ZOEAVLNODE node;
    ZOEAVLVaryingKey name;
    std::int64_t people;
};

struct Town {
    const char *name;
    int people;
    zoe::node by_people;
};

int main() {
    zoextent(zoeavl_host());
    ZOEAVLExtension *factory = zoeavl(nullptr, nullptr);
    const auto make = [&](std::uint32_t type, std::size_t offset) {
        const ZOEAVLParms parms{
            1, static_cast<std::int32_t>(offset), type, ZOEAVL_PARM_NOLOCK, nullptr, 0};
        return factory->Create(factory, &parms, nullptr, "cities");
    };
    City cities[] = {
        {{}, {"Oslo", 4}, 717710}, {{}, {"Bergen", 6}, 291189}, {{}, {"Moss", 4}, 47000}};
    City again[] = {cities[0], cities[1], cities[2]};
    City broken[] = {cities[0], cities[1], cities[2]};
    ZOEAVLTree *by_people = make(ZOEAVL_KEYTYPE_I64, offsetof(City, people));
    ZOEAVLTree *by_name = make(ZOEAVL_KEYTYPE_VCHAR, offsetof(City, name));
    ZOEAVLTree *wrong = make(ZOEAVL_KEYTYPE_I64, offsetof(City, people));
    Town towns[] = {{"Moss", 47000, {}}, {"Hamar", 28535, {}}};
    zoe::index_on<&Town::by_people, &Town::people> index;
    for (int i = 0; i < 3; i++) {
        by_people->adder(&by_people->root, &cities[i].node);
        by_name->adder(&by_name->root, &again[i].node);
        wrong->adder(&wrong->root, &broken[i].node);
    }
    broken[1].people = 1;
    for (Town &town : towns)
        index.insert(town);
    std::raise(SIGABRT);
    std::printf("%p\n", static_cast<void *>(wrong));
}
