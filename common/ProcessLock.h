#pragma once
// A lock shared by processes that outlives the death of its holder.
//
// The lock is a named semaphore (count 1) and, beside it, a holder record in
// shared memory named after the same lock: the identity of the process that
// holds the turn (its pid and its start time, so that a recycled pid is not
// taken for the holder). Whoever holds the turn is decided by the record,
// changed only by compare-and-exchange; the semaphore queues the waiters and
// wakes them. A waiter never sleeps longer than one short slice: between
// slices it checks that the recorded holder still lives. When the holder died,
// the first waiter to notice swaps itself into the record and goes on with the
// dead holder's turn; its release posts the semaphore as any release does, so
// every process already waiting keeps its place in the queue and is woken in
// turn. Nothing is unlinked from under a waiter.
//
// Liveness is read from kill(pid, 0) and /proc/<pid>/stat (start time and
// state: a zombie is dead), never from an outside program.

#include <semaphore.h>
#include <sys/types.h>

#include <cstdint>

struct HolderRecord;

class ProcessLock {
public:
    // Longest single sleep of a waiter, ms: how long a dead holder can go
    // unnoticed.
    static constexpr unsigned int kSliceMs = 50;

    // What an acquire met on its way.
    struct Wait {
        // A holder that died holding the turn, which this acquire took over;
        // -1 when a holder died before it could record itself; 0 when none.
        pid_t tookOverFrom = 0;
        // After ERR_SEM_TIMEOUT: the live process holding the turn (0 when no
        // holder is recorded).
        pid_t heldBy = 0;
    };

    ProcessLock() = default;
    ~ProcessLock();
    ProcessLock(const ProcessLock&) = delete;
    ProcessLock& operator=(const ProcessLock&) = delete;

    // Opens the semaphore of that name (creating it with count 1) and its
    // holder record. SUCCESS or ERR_SEM_ERROR_CREATE_SEM; a record that cannot
    // be had (another user's, say) leaves a lock that waits but cannot tell a
    // dead holder from a live one.
    int open(const char* name);
    void close();
    bool isOpen() const { return sem != nullptr; }
    sem_t* semaphore() const { return sem; }

    // Removes the semaphore and the record of that name, so that the next open
    // starts afresh; processes that have them open keep their own. SUCCESS, or
    // ERR_SEM_ERROR_CLOSE_SEM when there was no semaphore to remove.
    static int discard(const char* name);

    // Takes the turn within budgetMs (0: only what is free or abandoned now).
    // SUCCESS, ERR_SEM_TIMEOUT (a live holder kept it), ERR_SEM_INVALID (not
    // open) or ERR_SEM_GENERIC_ERROR. Safe from several threads at once.
    int acquire(unsigned int budgetMs, Wait* wait = nullptr);
    // Gives the turn back. SUCCESS, ERR_SEM_INVALID or ERR_SEM_RELEASE_FAILED.
    int release();

    // The pid recorded as holding the turn now, 0 when none.
    pid_t holder() const;
    // Whether a process is running, on /proc and signals alone (for callers
    // that keep their own record of a pid).
    static bool isRunning(pid_t pid);

private:
    bool claim(uint64_t self, uint64_t seen, Wait* wait);
    bool claimAfterWake(uint64_t self, Wait* wait);
    struct EmptySince;
    bool takeOverAbandoned(uint64_t self, EmptySince* empty, Wait* wait);

    sem_t* sem = nullptr;
    HolderRecord* record = nullptr;
};

// Holds a ProcessLock from construction until destruction when the acquire
// succeeded.
class ProcessLockHold {
public:
    ProcessLockHold(ProcessLock& lock, unsigned int budgetMs, ProcessLock::Wait* wait = nullptr)
        : held(&lock), result(lock.acquire(budgetMs, wait)) {}
    ~ProcessLockHold() {
        if (result == 0) held->release();
    }
    ProcessLockHold(const ProcessLockHold&) = delete;
    ProcessLockHold& operator=(const ProcessLockHold&) = delete;

    // The acquire's result.
    int status() const { return result; }
    bool owns() const { return result == 0; }

private:
    ProcessLock* held;
    int result;
};
