#include "common/NamedEvents.h"

#include "manager/Global.h"

int CreateNamedEvent(const char* /*name*/, void** handle, bool /*manualReset*/,
                     bool /*initialState*/) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int DestroyNamedEvent(void** handle) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int ResetNamedEvent(void* handle) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int SetNamedEvent(void* handle) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int SetNamedEvent(void** handle) {
    return SetNamedEvent(static_cast<void*>(handle));
}
bool IsNamedEventSetted(void* handle) {
    return handle != nullptr;
}
int DestroyHandle(void** /*handle*/) {
    return 0;
}
