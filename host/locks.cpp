/* The two kinds of locks: the plain one, and the one that knows who holds it. */
#include <algorithm>
#include <cerrno>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include "locks.h"
#include "report.h"
#include "requests.h"
#include "zoeavl/scaling_mutex.hpp"

namespace {

zoe::preference preference_of(const ZOLockParms *parms) {
    return parms->variant != 0 ? zoe::preference::writers : zoe::preference::readers;
}

/* ---- Plain ----------------------------------------------------------------------------------- */

struct Lock : ZOLock {
    explicit Lock(zoe::preference first) : ZOLock{}, mutex(first) {}

    /* Status 0, or EBUSY from a lock that isn't waited for. */
    uint32_t get(bool wr, bool wa) {
        if (!wa) {
            if (!(wr ? mutex.try_lock() : mutex.try_lock_shared()))
                return EBUSY;
        } else if (wr) {
            mutex.lock();
        } else {
            mutex.lock_shared();
        }
        if (wr)
            written = true;
        return 0;
    }

    void release() {
        if (written) {
            written = false;
            mutex.unlock();
        } else {
            mutex.unlock_shared();
        }
    }

  private:
    zoe::scaling_mutex mutex;
    bool written = false; /* changed by the writer, and read by whoever holds the lock */
};

uint32_t get_lock(ZOLock *lock, uint32_t wr, uint32_t wa) {
    try {
        return static_cast<Lock *>(lock)->get(wr != 0, wa != 0);
    } catch (const std::system_error &) {
        end_with_fault(nullptr, "a lock is taken again by the thread that holds it for writing");
    }
}

uint32_t release_lock(ZOLock *lock) {
    static_cast<Lock *>(lock)->release();
    return 0;
}

void destroy_lock(ZOLock *lock) {
    delete static_cast<Lock *>(lock);
}

/* ---- Checked --------------------------------------------------------------------------------- */

class CheckedLock : public ZOLock {
  public:
    CheckedLock(zoe::preference first_, ZOJournal *journal_, const char *name_)
        : ZOLock{}, lock(first_), first(first_), journal(journal_),
          name(name_ != nullptr ? name_ : "") {}

    /* Lets other threads go ahead around each call, so that they meet where they seldom would. */
    uint32_t get(bool wr, bool wa) {
        std::this_thread::yield();
        if (wa)
            check_get(wr);
        const uint32_t status = lock.get(wr, wa);
        if (status == 0) {
            const std::lock_guard hold(guard);
            (wr ? writers : readers).push_back(gettid());
        }
        return status;
    }

    void release() {
        {
            const std::lock_guard hold(guard);
            std::vector<pid_t> &holders = writers.empty() ? readers : writers;
            const auto self = std::find(holders.begin(), holders.end(), gettid());
            if (self == holders.end())
                fault("is released by a thread that doesn't hold it");
            holders.erase(self);
        }
        lock.release();
        std::this_thread::yield();
    }

    void check_destroy() {
        const std::lock_guard hold(guard);
        if (!writers.empty() || !readers.empty())
            fault("is destroyed while a thread holds it for " +
                  std::string(writers.empty() ? "reading" : "writing"));
    }

  private:
    void check_get(bool wr) {
        const std::lock_guard hold(guard);
        if (holds(writers))
            fault("is taken again by the thread that holds it for writing");
        if (holds(readers) && wr)
            fault("is taken for writing by a thread that holds it for reading");
        if (holds(readers) && first == zoe::preference::writers)
            fault("is taken for reading twice by one thread, which this kind of lock forbids");
    }

    static bool holds(const std::vector<pid_t> &holders) {
        return std::find(holders.begin(), holders.end(), gettid()) != holders.end();
    }

    [[noreturn]] void fault(const std::string &what) {
        end_with_fault(journal, "lock '" + name + "' " + what);
    }

    Lock lock;
    zoe::preference first;
    ZOJournal *journal;
    std::string name;
    std::mutex guard; /* of what follows */
    std::vector<pid_t> writers;
    std::vector<pid_t> readers;
};

/* The lock, or null when there is no memory for it. */
template <class Kind, class... Arguments>
Kind *made(Arguments... arguments) {
    try {
        return new Kind(arguments...);
    } catch (const std::exception &) {
        return nullptr;
    }
}

} // namespace

ZOLock *create_lock(ZOHost *, const ZOLockParms *parms, ZOJournal *, const char *) {
    auto *const lock = made<Lock>(preference_of(parms));
    if (lock == nullptr)
        return nullptr;
    lock->Destroy = destroy_lock;
    lock->Get = get_lock;
    lock->Release = release_lock;
    return lock;
}

ZOLock *create_checked_lock(ZOHost *, const ZOLockParms *parms, ZOJournal *journal,
                            const char *name) {
    auto *const lock =
        request_fails() ? nullptr : made<CheckedLock>(preference_of(parms), journal, name);
    if (lock == nullptr)
        return nullptr;
    lock->Destroy = [](ZOLock *self) {
        static_cast<CheckedLock *>(self)->check_destroy();
        delete static_cast<CheckedLock *>(self);
    };
    lock->Get = [](ZOLock *self, uint32_t wr, uint32_t wa) {
        return static_cast<CheckedLock *>(self)->get(wr != 0, wa != 0);
    };
    lock->Release = [](ZOLock *self) -> uint32_t {
        static_cast<CheckedLock *>(self)->release();
        return 0;
    };
    return lock;
}
