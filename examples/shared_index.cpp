/* An index for several threads, twice: behind a mutex of the program's, and in a tree object, whose
 * lock comes from the host and which functions in C can share. */
#include <cstdio>
#include <exception>
#include <thread>
#include <vector>
#include <zoeavl.hpp>
#include <zoeavl_host.h>

struct Job : zoe::node {
    long deadline = 0;
};

/* Four threads put every fourth job in, and take the most urgent one out for every second of them.
 */
template <class Shared>
long run(Shared &shared, std::vector<Job> &jobs) {
    std::vector<std::thread> threads;
    for (std::size_t first = 0; first < 4; first++)
        threads.emplace_back([&, first] {
            for (std::size_t i = first; i < jobs.size(); i += 4) {
                jobs[i].deadline = static_cast<long>(i * 7919 % jobs.size());
                shared.write()->insert(jobs[i]);
                if (i % 8 < 4)
                    shared.write()->pop_front();
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    long left = 0;
    for (const Job &job : shared.read()) // holds the lock for the loop
        left += job.deadline >= 0 ? 1 : 0;
    return left;
}

int main() try { // NOLINT(bugprone-exception-escape): none of another kind is thrown
    std::vector<Job> jobs(10000);
    zoe::guarded<zoe::index<Job, &Job::deadline>> guarded;
    std::printf("guarded: %ld left\n", run(guarded, jobs));
    guarded.write()->clear();

    zoextent(zoeavl_host());
    ZOEAVLExtension *const factory = zoeavl(nullptr, nullptr);
    {
        zoe::tree<Job, &Job::deadline> tree(factory, {.name = "jobs"});
        std::printf("tree: %ld left\n", run(tree, jobs));
        ZOEAVLTree *const object = tree.get(); // the same tree for functions in C
        const Job &most_urgent =
            *static_cast<Job *>(static_cast<zoe::node *>(object->First(&object->root)));
        std::printf("most urgent by the function in C as by the face: %d\n",
                    &most_urgent == &tree.read()->front());
    }
    factory->RealDestroy(factory);
} catch (const std::exception &failure) {
    std::fprintf(stderr, "shared_index: %s\n", failure.what());
    return 1;
}
