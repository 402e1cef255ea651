#pragma once
// Threads, by the pthread identifier held in an unsigned long. 0 on success,
// -1 on failure.

int ThreadCreate(unsigned long* thread, void* (*routine)(void*), void* arg);
int ThreadClose(unsigned long thread);
int ThreadWait(unsigned long thread);
// The time-out is ignored: this is a plain join.
int ThreadWaitTimeOut(unsigned long thread, unsigned int ms);
unsigned long UtlGetCurrentThreadId();
