#pragma once
// Named events: placeholders that create and signal nothing. They check
// their handle argument and succeed.

int CreateNamedEvent(const char* name, void** handle, bool manualReset, bool initialState);
int DestroyNamedEvent(void** handle);
int ResetNamedEvent(void* handle);
int SetNamedEvent(void* handle);
int SetNamedEvent(void** handle);
bool IsNamedEventSetted(void* handle);
int DestroyHandle(void** handle);
