#include "common/Semaphores.h"

#include <fcntl.h>

#include <cerrno>
#include <ctime>

#include "manager/Global.h"

int CreateNamedSem(const char* name, sem_t** sem) {
    if (sem == nullptr) return ERR_SEM_ERROR_CREATE_SEM;
    if (name == nullptr) {
        *sem = nullptr;
        return ERR_SEM_ERROR_CREATE_SEM;
    }
    sem_t* s = sem_open(name, O_CREAT, 0644, 1);
    if (s == SEM_FAILED) {
        *sem = nullptr;
        return ERR_SEM_ERROR_CREATE_SEM;
    }
    *sem = s;
    return SUCCESS;
}

int DestroyNamedSem(const char* /*name*/, sem_t** sem) {
    if (sem == nullptr || *sem == nullptr) return ERR_SEM_INVALID;
    if (sem_close(*sem) != 0) return ERR_SEM_ERROR_CLOSE_SEM;
    return SUCCESS;
}

int UnlinkNamedSem(const char* name) {
    if (name == nullptr || sem_unlink(name) != 0) return ERR_SEM_ERROR_CLOSE_SEM;
    return SUCCESS;
}

// Waiting and posting are the same for both kinds of semaphore. The wait is
// measured on the monotonic clock so that a clock step neither cuts it short
// nor stretches it.
static int waitWithinBudget(sem_t* sem, unsigned int budgetMs) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += budgetMs / 1000;
    deadline.tv_nsec += static_cast<long>(budgetMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        ++deadline.tv_sec;
        deadline.tv_nsec -= 1000000000L;
    }
    int rc;
    do {
        rc = sem_clockwait(sem, CLOCK_MONOTONIC, &deadline);
    } while (rc != 0 && errno == EINTR);
    if (rc == 0) return SUCCESS;
    return errno == ETIMEDOUT ? ERR_SEM_TIMEOUT : ERR_SEM_GENERIC_ERROR;
}

static int post(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return sem_post(sem) == 0 ? SUCCESS : ERR_SEM_RELEASE_FAILED;
}

int LockNamedSem(sem_t* sem, unsigned int budgetMs) {
    return waitWithinBudget(sem, budgetMs);
}

// Absolute deadline "now + ms" on the given clock, in double precision with
// the nanoseconds truncated: the timed forms keep their established rounding.
static timespec deadlineAfter(clockid_t clock, unsigned int ms) {
    timespec now{};
    clock_gettime(clock, &now);
    unsigned int s = ms / 1000;
    unsigned int r = ms % 1000;
    double ns = r * 1e6 + static_cast<double>(now.tv_nsec);
    timespec deadline{};
    if (ns >= 1e9) {
        deadline.tv_sec = now.tv_sec + s + 1;
        deadline.tv_nsec = static_cast<long>(r * 1e6 - 1e9 + static_cast<double>(now.tv_nsec));
    } else {
        deadline.tv_sec = now.tv_sec + s;
        deadline.tv_nsec = static_cast<long>(ns);
    }
    return deadline;
}

static int timedWait(sem_t* sem, clockid_t clock, unsigned int ms) {
    timespec deadline = deadlineAfter(clock, ms);
    int rc;
    do {
        rc = sem_timedwait(sem, &deadline);
    } while (rc != 0 && errno == EINTR);
    return rc == 0 ? SUCCESS : ERR_SEM_GENERIC_ERROR;
}

int LockNamedSemTimeOut(sem_t* sem, unsigned int ms) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return timedWait(sem, CLOCK_MONOTONIC, ms);
}

int ReleaseNamedSem(sem_t* sem) {
    return post(sem);
}

int CreateUnamedSem(sem_t* sem) {
    if (sem == nullptr || sem_init(sem, 0, 1) != 0) return ERR_SEM_ERROR_CREATE_SEM;
    return SUCCESS;
}

int DestroyUnamedSem(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return sem_destroy(sem) == 0 ? SUCCESS : ERR_SEM_ERROR_CLOSE_SEM;
}

int LockUnamedSem(sem_t* sem, unsigned int budgetMs) {
    return waitWithinBudget(sem, budgetMs);
}

int LockUnamedSemTimeOut(sem_t* sem, unsigned int ms) {
    if (sem == nullptr) return ERR_SEM_GENERIC_ERROR;
    return timedWait(sem, CLOCK_REALTIME, ms);
}

int ReleaseUnamedSem(sem_t* sem) {
    return post(sem);
}
