#pragma once
// Thin layer over the operating system: semaphores, threads, clocks, the
// library's own directory, text and hex helpers, whole-file I/O and the
// checksum routines of the device protocols. Free functions only; none throws.

#include <semaphore.h>

#include <cstdint>

typedef sem_t* SEM_NAMED;
typedef sem_t SEM_UNNAMED;
typedef void* LIB_HANDLE;

// Directory of the running library, ending in "/"; empty until
// getModulePath() succeeds. File names are appended to it directly.
extern char modulePath[256];

// --- Named semaphores (shared between processes) ---------------------------
int CreateNamedSem(const char* name, sem_t** sem);
int DestroyNamedSem(const char* name, sem_t** sem);
int UnlinkNamedSem(const char* name);
int LockNamedSem(sem_t* sem);
// Deliberately measured against CLOCK_MONOTONIC although sem_timedwait takes a
// CLOCK_REALTIME deadline: the deadline lies in the past, so this behaves as a
// try-wait. Callers that need to wait use LockNamedSem.
int LockNamedSemTimeOut(sem_t* sem, unsigned int ms);
int ReleaseNamedSem(sem_t* sem);

// --- Unnamed semaphores (private to the process) ----------------------------
int CreateUnamedSem(sem_t* sem);
int DestroyUnamedSem(sem_t* sem);
int LockUnamedSem(sem_t* sem);
int LockUnamedSemTimeOut(sem_t* sem, unsigned int ms);
int ReleaseUnamedSem(sem_t* sem);

// --- Threads: 0 on success, -1 on failure -----------------------------------
int ThreadCreate(unsigned long* thread, void* (*routine)(void*), void* arg);
int ThreadClose(unsigned long thread);
int ThreadWait(unsigned long thread);
// The time-out is ignored: this is a plain join.
int ThreadWaitTimeOut(unsigned long thread, unsigned int ms);

// --- Named events: placeholders that create and signal nothing --------------
int CreateNamedEvent(const char* name, void** handle, bool manualReset, bool initialState);
int DestroyNamedEvent(void** handle);
int ResetNamedEvent(void* handle);
int SetNamedEvent(void* handle);
int SetNamedEvent(void** handle);
bool IsNamedEventSetted(void* handle);
int DestroyHandle(void** handle);

// --- Dynamic libraries -------------------------------------------------------
int OpenLibrary(void** handle, const char* path);
int CloseLibrary(void* handle);
int GetSymbolAddress(void* handle, const char* name, void** address);

// --- Clocks and sleeping -----------------------------------------------------
// Wall-clock milliseconds (CLOCK_REALTIME): a clock change moves them.
uint64_t GetTickMs();
uint64_t GetTickMs_64();
// Milliseconds since an epoch 946080000 s (30 years of 365 days) after 1970.
uint64_t GetCurrentTime();
// Milliseconds of CLOCK_MONOTONIC, for measuring intervals that must not jump.
uint64_t GetMonotonicTickMs();
// Milliseconds elapsed from start to now on the same clock; 0 when now < start.
uint64_t TickElapsedMs(uint64_t start, uint64_t now);
int Sleep_ms(unsigned int ms);
unsigned long UtlGetCurrentThreadId();

// --- Strings and paths -------------------------------------------------------
void rtrim(char* s);
// New array without any space (tabs kept); caller frees with delete[].
char* strTrim(const char* s);
int removeCharFromString(char* s, char c);
int stricmp(const char* a, const char* b);
void getModulePath();
char* getCurrentPath(char* buf, unsigned int size);
int SearchUSB(const char* vid, const char* pid, char* out);

// Console helpers (debugging aids).
char* getString(char* buf, int size);
int getInt();
char getChar();
float getFloat();
void printBufferEx(const unsigned char* buf, unsigned int len);

// --- Hex and integer conversions --------------------------------------------
void CharToHex(unsigned char* out, const char* in, int len);
void HexToChar(char* out, const unsigned char* in, int n);
unsigned char* bufferToHexa(const char* text, int len, unsigned char** out, unsigned int* outLen);
int insertIntInBuffer(unsigned char* buffer, int idxBuffer, int vlr, unsigned int qtdBytesCP,
                      int lenFieldSize);
unsigned int bufferHexToint(const unsigned char* buf, unsigned int n);
char* uIntToBinaryString(unsigned int value, char* buf, unsigned short size);

// --- Files -------------------------------------------------------------------
void readFile(const char* path, unsigned char** buf, unsigned int* len);
int writeFile(const char* path, const unsigned char* buf, unsigned int n);

// --- Checksums ---------------------------------------------------------------
// XOR of buf[first..last] inclusive: the block check of both link protocols.
unsigned int GetBCC(const unsigned char* buf, unsigned int first, unsigned int last);
unsigned int getCrc16(const unsigned char* buf, unsigned int first, unsigned int last);
int GetCRC16_CTcoin(const unsigned char* buf, unsigned int len, unsigned int* crc);
unsigned short calc_crc_Sankyo1775(unsigned short crc, unsigned char byte);
unsigned short GetCRC_Sankyo1775(const unsigned char* buf, unsigned short len);
unsigned short calc_crc_Sankyo1776(unsigned short crc, unsigned char byte);
unsigned short GetCRC_Sankyo1776(const unsigned char* buf, unsigned short len);
extern const unsigned short crc16_fcstab[256];
unsigned short crc16_ComputeFCS(unsigned short fcs, const unsigned char* buf, int len);
void crc16_FinishFCS(unsigned short fcs, unsigned char* out);
unsigned short crc16_fitec_update(unsigned short crc, unsigned char byte);
unsigned short crc16_fitec(const void* buf, int len);
extern const unsigned short CrcTable[256];
unsigned short CalculateCRC(const unsigned char* buf, unsigned int len);
unsigned char CalculateCRC_MSB(const unsigned char* buf, unsigned int len);
unsigned char CalculateCRC_LSB(const unsigned char* buf, unsigned int len);
// lsb is v % 255, not a mask: the protocols that use it were built that way.
void Calculate_MSB_LSB(unsigned int v, unsigned int* msb, unsigned int* lsb);
void cctalk_calc_simple_checksum(unsigned char* msg);
int cctalk_check_simple_checksum(const unsigned char* msg);
