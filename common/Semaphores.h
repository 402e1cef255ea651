#pragma once
// Semaphores: named ones, shared between processes, and unnamed ones, private
// to the process. Each call returns SUCCESS or an API_ERROR code.

#include <semaphore.h>

typedef sem_t* SEM_NAMED;
typedef sem_t SEM_UNNAMED;

// The plain locks wait for the semaphore but not forever: a holder stuck on a
// fault costs the waiter ERR_SEM_TIMEOUT instead of freezing it too. Ten
// minutes lies beyond the longest hold at the settings terminals use: an
// automatic open at 9600 baud with the default time-outs probes ten bases in
// under eight minutes, each waiting out the configuration lock (5 s) and a
// busy port (about 22 s) before its open and close (about 9 s each on
// RS-485). At the slowest settings the configuration accepts, an open can take
// longer, and a waiter then gives up while it is still probing.
constexpr unsigned int kSemLockBudgetMs = 10u * 60u * 1000u;

// --- Named semaphores (shared between processes) ---------------------------
int CreateNamedSem(const char* name, sem_t** sem);
int DestroyNamedSem(const char* name, sem_t** sem);
int UnlinkNamedSem(const char* name);
int LockNamedSem(sem_t* sem, unsigned int budgetMs = kSemLockBudgetMs);
// Measured against CLOCK_MONOTONIC although sem_timedwait takes a
// CLOCK_REALTIME deadline: the deadline lies in the past, so this behaves as a
// try-wait. Kept so, because callers of the named form rely on it not
// blocking; callers that need to wait use LockNamedSem.
int LockNamedSemTimeOut(sem_t* sem, unsigned int ms);
int ReleaseNamedSem(sem_t* sem);

// --- Unnamed semaphores (private to the process) ----------------------------
int CreateUnamedSem(sem_t* sem);
int DestroyUnamedSem(sem_t* sem);
int LockUnamedSem(sem_t* sem, unsigned int budgetMs = kSemLockBudgetMs);
int LockUnamedSemTimeOut(sem_t* sem, unsigned int ms);
int ReleaseUnamedSem(sem_t* sem);
