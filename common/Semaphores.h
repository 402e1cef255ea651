#pragma once
// Semaphores: named ones, shared between processes, and unnamed ones, private
// to the process. Each call returns SUCCESS or an API_ERROR code.

#include <semaphore.h>

typedef sem_t* SEM_NAMED;
typedef sem_t SEM_UNNAMED;

// The plain locks wait for the semaphore but not forever: a holder stuck on a
// fault costs the waiter ERR_SEM_TIMEOUT instead of freezing it too. Ten
// minutes lies beyond the longest legitimate hold, an automatic open whose ten
// probes each wait out a busy port and the slowest exchange deadline.
constexpr unsigned int kSemLockBudgetMs = 10u * 60u * 1000u;

// --- Named semaphores (shared between processes) ---------------------------
int CreateNamedSem(const char* name, sem_t** sem);
int DestroyNamedSem(const char* name, sem_t** sem);
int UnlinkNamedSem(const char* name);
int LockNamedSem(sem_t* sem, unsigned int budgetMs = kSemLockBudgetMs);
// Deliberately measured against CLOCK_MONOTONIC although sem_timedwait takes a
// CLOCK_REALTIME deadline: the deadline lies in the past, so this behaves as a
// try-wait. Callers that need to wait use LockNamedSem.
int LockNamedSemTimeOut(sem_t* sem, unsigned int ms);
int ReleaseNamedSem(sem_t* sem);

// --- Unnamed semaphores (private to the process) ----------------------------
int CreateUnamedSem(sem_t* sem);
int DestroyUnamedSem(sem_t* sem);
int LockUnamedSem(sem_t* sem, unsigned int budgetMs = kSemLockBudgetMs);
int LockUnamedSemTimeOut(sem_t* sem, unsigned int ms);
int ReleaseUnamedSem(sem_t* sem);
