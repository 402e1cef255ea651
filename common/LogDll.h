#pragma once
// Binding to the log library "Log.so", loaded at run time. This library never
// writes log files itself: every record goes through these wrappers. Each one
// passes its arguments through unchanged when the library offers the entry
// point, and does nothing (or returns -1) when it does not, so the library may
// be missing or of an older version without any caller having to care.
//
// Loading and freeing happen once per process (the manager's constructor and
// destructor); the wrappers take no lock.

extern "C" {

// Loads "/Norva/NorvaAPI/Log.so", else modulePath + "Log.so", and looks up
// every entry point (none is mandatory). 0 on success, -1 when neither file
// could be opened. A library loaded before is released first.
int loadLogDll();
// Closes the library and forgets its entry points (the wrappers become
// no-ops); the result of the close, 0 when nothing is loaded.
int freeLogDll();

// Older interface: one record appended to the file named by directory and
// name prefix; Prefix is the record's level.
void logAdd(const char* szPath, const char* szFileNamePrefix, int Prefix, const char* idterm,
            const char* Caller, const char* strReg);
void logBuffer(const char* szPath, const char* szFileNamePrefix, int Prefix, const char* idterm,
               const char* Caller, const char* strReg, const unsigned char* pBuffer,
               unsigned int tamBuffer);

// Newer interface: sessions opened per full file name prefix. A session index
// of 0 means none.
int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask);
void exitLog(int index);
int logWriteToFile(int index, int prefix, const char* msg);
int logWriteToFile2(int index, int prefix, const char* idterm, const char* Caller, const char* msg);
int logWriteToFileHex(int index, int prefix, const char* msg, const unsigned char* hexMsgBuffer,
                      unsigned int bufferSize);
int logWriteToFileHex2(int index, int prefix, const char* idterm, const char* Caller,
                       const char* msg, const unsigned char* hexMsgBuffer, unsigned int bufferSize);
int logCompressFile(const char* fileName);
int logDecompressFile(const char* fileName);
int logCompressFiles(int index);
int logDecompressFiles(int index);

// Capabilities of the loaded library.
bool isCreateLog();
bool islogWriteToFile2();
bool islogWriteToFileHex2();

}  // extern "C"
