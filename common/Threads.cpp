#include "common/Threads.h"

#include <pthread.h>

int ThreadCreate(unsigned long* thread, void* (*routine)(void*), void* arg) {
    if (thread == nullptr || routine == nullptr) return -1;
    pthread_t t;
    if (pthread_create(&t, nullptr, routine, arg) != 0) return -1;
    *thread = static_cast<unsigned long>(t);
    return 0;
}

int ThreadClose(unsigned long thread) {
    return pthread_cancel(static_cast<pthread_t>(thread)) == 0 ? 0 : -1;
}

int ThreadWait(unsigned long thread) {
    return ThreadWaitTimeOut(thread, 0xFFFFFFFFu);
}

int ThreadWaitTimeOut(unsigned long thread, unsigned int /*ms*/) {
    return pthread_join(static_cast<pthread_t>(thread), nullptr) == 0 ? 0 : -1;
}

unsigned long UtlGetCurrentThreadId() {
    return static_cast<unsigned long>(pthread_self());
}
