#include "common/ProcessLock.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/Clock.h"
#include "common/UniqueHandles.h"
#include "manager/Global.h"

// Lives in shared memory, zero-filled when created: no holder, no turns.
struct HolderRecord {
    // Identity of the holder (see below), 0 when the turn is free.
    std::atomic<uint64_t> holder;
    // Counts every hand-over, so that a waiter can tell a record that stayed
    // empty from one that was taken and given back in between two looks.
    std::atomic<uint64_t> turns;
};
static_assert(std::atomic<uint64_t>::is_always_lock_free,
              "the record is shared between processes, so it must not hide a lock");

namespace {

// An identity packs the pid (Linux never hands out more than 22 bits), the
// start time in clock ticks after boot (41 bits: centuries at 100 ticks/s) and
// a flag set by a holder that is giving the turn back.
constexpr uint64_t kPidBits = 22;
constexpr uint64_t kPidMask = (uint64_t{1} << kPidBits) - 1;
constexpr uint64_t kStartMask = (uint64_t{1} << 41) - 1;
constexpr uint64_t kReleasing = uint64_t{1} << 63;

// How long a record must stay empty, with no hand-over in between, while the
// semaphore is taken, before the waiters count the taker as dead. A live
// process gets from its wake-up to its record in microseconds.
constexpr uint64_t kEmptyGraceMs = 2 * ProcessLock::kSliceMs;

pid_t pidOf(uint64_t identity) {
    return static_cast<pid_t>(identity & kPidMask);
}

// State and start time of a process from /proc/<pid>/stat. False when the
// file cannot be read or parsed.
bool readStat(pid_t pid, char* state, uint64_t* startTime) {
    char path[40];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    UniqueFd fd(::open(path, O_RDONLY | O_CLOEXEC));
    if (!fd) return false;
    char text[1024];
    ssize_t n = read(fd.get(), text, sizeof text - 1);
    fd.reset();
    if (n <= 0) return false;
    text[n] = '\0';
    // The command name (field 2) is in parentheses and may hold anything,
    // parentheses included: the fields go on after the last ')'.
    const char* p = std::strrchr(text, ')');
    if (p == nullptr || p[1] != ' ') return false;
    p += 2;
    *state = *p;
    // p is at field 3; the start time is field 22.
    for (int field = 3; field < 22; ++field) {
        p = std::strchr(p, ' ');
        if (p == nullptr) return false;
        ++p;
    }
    char* end = nullptr;
    *startTime = std::strtoull(p, &end, 10);
    return end != p;
}

std::atomic<uint64_t> cachedIdentity{0};

void forgetIdentity() {
    cachedIdentity.store(0, std::memory_order_relaxed);
}

// This process's identity, taken once and again in a forked child, which is
// a process of its own. Cached rather than checked against getpid on every
// call: every log line takes a lock, and getpid is a system call.
uint64_t selfIdentity() {
    static const int forgetsInChild = pthread_atfork(nullptr, nullptr, forgetIdentity);
    (void)forgetsInChild;
    uint64_t identity = cachedIdentity.load(std::memory_order_relaxed);
    if (identity != 0) return identity;
    const uint64_t pid = static_cast<uint64_t>(getpid()) & kPidMask;
    char state = 0;
    uint64_t start = 0;
    // Without /proc the start time stays 0 and only the pid identifies.
    if (!readStat(static_cast<pid_t>(pid), &state, &start)) start = 0;
    identity = pid | ((start & kStartMask) << kPidBits);
    cachedIdentity.store(identity, std::memory_order_relaxed);
    return identity;
}

bool procMounted() {
    return access("/proc/self/stat", R_OK) == 0;
}

// Whether the process of that identity still runs: the pid exists, is not a
// zombie, and started when the identity says (else the pid was recycled).
bool alive(uint64_t identity) {
    const pid_t pid = pidOf(identity);
    if (pid <= 0) return false;
    if (kill(pid, 0) != 0 && errno == ESRCH) return false;
    char state = 0;
    uint64_t start = 0;
    // A process of another user may hide its /proc entry: kill() said it
    // exists, so it counts as alive.
    if (!readStat(pid, &state, &start)) return !procMounted() || kill(pid, 0) == 0 || errno == EPERM;
    if (state == 'Z' || state == 'X') return false;
    const uint64_t recorded = (identity >> kPidBits) & kStartMask;
    return recorded == 0 || recorded == (start & kStartMask);
}

std::string recordName(const char* name) {
    while (*name == '/') ++name;
    return std::string("/") + name + ".holder";
}

timespec monotonicDeadline(uint64_t ms) {
    timespec t{};
    t.tv_sec = static_cast<time_t>(ms / 1000);
    t.tv_nsec = static_cast<long>((ms % 1000) * 1000000);
    return t;
}

}  // namespace

ProcessLock::~ProcessLock() {
    close();
}

int ProcessLock::open(const char* name) {
    close();
    if (name == nullptr) return ERR_SEM_ERROR_CREATE_SEM;
    sem_t* s = sem_open(name, O_CREAT, 0644, 1);
    if (s == SEM_FAILED) return ERR_SEM_ERROR_CREATE_SEM;
    sem = s;

    UniqueFd fd(shm_open(recordName(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!fd) return SUCCESS;
    struct stat st {};
    // Every opener grows a fresh record to its size; growing fills with zeros,
    // so whoever comes first, the record starts empty.
    bool sized = fstat(fd.get(), &st) == 0 &&
                 (st.st_size >= static_cast<off_t>(sizeof(HolderRecord)) ||
                  ftruncate(fd.get(), sizeof(HolderRecord)) == 0);
    void* map = sized ? mmap(nullptr, sizeof(HolderRecord), PROT_READ | PROT_WRITE, MAP_SHARED,
                             fd.get(), 0)
                      : MAP_FAILED;
    if (map != MAP_FAILED) record = static_cast<HolderRecord*>(map);
    return SUCCESS;
}

void ProcessLock::close() {
    if (record != nullptr) munmap(record, sizeof(HolderRecord));
    record = nullptr;
    if (sem != nullptr) sem_close(sem);
    sem = nullptr;
}

int ProcessLock::discard(const char* name) {
    if (name == nullptr) return ERR_SEM_ERROR_CLOSE_SEM;
    shm_unlink(recordName(name).c_str());
    return sem_unlink(name) == 0 ? SUCCESS : ERR_SEM_ERROR_CLOSE_SEM;
}

pid_t ProcessLock::holder() const {
    return record != nullptr ? pidOf(record->holder.load()) : 0;
}

bool ProcessLock::isRunning(pid_t pid) {
    if (pid <= 0) return false;
    return alive(static_cast<uint64_t>(pid) & kPidMask);
}

// Swaps this process in for what the record held when last seen.
bool ProcessLock::claim(uint64_t self, uint64_t seen, Wait* wait) {
    if (!record->holder.compare_exchange_strong(seen, self)) return false;
    record->turns.fetch_add(1);
    if (wait != nullptr && seen != 0 && (seen & kReleasing) == 0) wait->tookOverFrom = pidOf(seen);
    return true;
}

// The semaphore let this process through. The turn is its own unless a live
// process already holds it: one that took the turn over while this process
// was between its wake-up and its record (it looked dead for that moment).
// The semaphore's count then stays taken, as it is while that process holds.
bool ProcessLock::claimAfterWake(uint64_t self, Wait* wait) {
    uint64_t seen = record->holder.load();
    for (;;) {
        bool free = seen == 0 || (seen & kReleasing) != 0 || !alive(seen);
        if (!free) return false;
        if (claim(self, seen, wait)) return true;
        seen = record->holder.load();
    }
}

// Where a waiter stands on an empty record: the turn count and when it first
// saw the record empty with the semaphore taken.
struct ProcessLock::EmptySince {
    bool seen = false;
    uint64_t turns = 0;
    uint64_t sinceMs = 0;
};

// Between two slices: a holder that died with the turn (recorded, or gone
// before it could record itself) leaves the turn to this waiter.
bool ProcessLock::takeOverAbandoned(uint64_t self, EmptySince* empty, Wait* wait) {
    uint64_t seen = record->holder.load();
    if (seen != 0) {
        empty->seen = false;
        // A live holder, releasing or not, will post.
        return !alive(seen) && claim(self, seen, wait);
    }
    int count = 0;
    if (sem_getvalue(sem, &count) != 0 || count > 0) {
        empty->seen = false;  // the next wait takes the count
        return false;
    }
    const uint64_t turns = record->turns.load();
    const uint64_t now = GetMonotonicTickMs();
    if (!empty->seen || empty->turns != turns) {
        *empty = EmptySince{true, turns, now};
        return false;
    }
    if (now - empty->sinceMs < kEmptyGraceMs) return false;
    if (!claim(self, 0, wait)) return false;
    if (wait != nullptr) wait->tookOverFrom = -1;
    return true;
}

int ProcessLock::acquire(unsigned int budgetMs, Wait* wait) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    if (wait != nullptr) *wait = Wait{};
    const uint64_t self = selfIdentity();
    // Most turns are free when asked for: every log line takes one, so the
    // free turn is taken without reading the clock.
    if (sem_trywait(sem) == 0 && (record == nullptr || claimAfterWake(self, wait))) return SUCCESS;
    // The clock reads whole milliseconds: one more keeps the wait at least
    // as long as the budget.
    const uint64_t deadline = GetMonotonicTickMs() + budgetMs + (budgetMs > 0 ? 1 : 0);
    EmptySince empty;
    for (;;) {
        uint64_t now = GetMonotonicTickMs();
        uint64_t sliceEnd = now + kSliceMs < deadline ? now + kSliceMs : deadline;
        timespec until = monotonicDeadline(sliceEnd);
        if (sem_clockwait(sem, CLOCK_MONOTONIC, &until) == 0) {
            if (record == nullptr || claimAfterWake(self, wait)) return SUCCESS;
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != ETIMEDOUT) return ERR_SEM_GENERIC_ERROR;
        if (record != nullptr && takeOverAbandoned(self, &empty, wait)) return SUCCESS;
        if (GetMonotonicTickMs() >= deadline) {
            if (wait != nullptr) wait->heldBy = holder();
            return ERR_SEM_TIMEOUT;
        }
    }
}

int ProcessLock::release() {
    if (sem == nullptr) return ERR_SEM_INVALID;
    if (record == nullptr) return sem_post(sem) == 0 ? SUCCESS : ERR_SEM_RELEASE_FAILED;
    uint64_t self = selfIdentity();
    // Marked first and cleared after the post: the record never reads empty
    // while the turn is on its way to the next waiter, so a slow release is
    // not taken for a dead one.
    if (!record->holder.compare_exchange_strong(self, self | kReleasing)) {
        // Another process holds the turn: it took it over from this one, and
        // its own release will post.
        return SUCCESS;
    }
    record->turns.fetch_add(1);
    int rc = sem_post(sem) == 0 ? SUCCESS : ERR_SEM_RELEASE_FAILED;
    uint64_t releasing = self | kReleasing;
    record->holder.compare_exchange_strong(releasing, 0);
    return rc;
}
