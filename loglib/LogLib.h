#pragma once
// Log.so: the logging library the driver loads at run time.
//
// Two interfaces share one record format:
//  - sessions ("createLog" ... "exitLog"): a session writes to
//        <fileName>_<YYYYMMDD>.log        the first file of a local day
//        <fileName>_<YYYYMMDD>_<n>.log    n = 1, 2, ... once the previous one is full
//    keeps only the levels of its mask (bit n = level n), starts a new numbered
//    file before a record would take the current one past maxByteSize (a single
//    larger record gets a file of its own; maxByteSize <= 0 means no limit), and
//    deletes files of its own naming pattern (".gz" forms included) dated more
//    than maxDayCount days before today when it opens and when the day changes
//    (maxDayCount <= 0 keeps every file);
//  - the older path-and-name calls ("add", "logBuffer"): every record goes to
//    <szPath>[/]<szFileNamePrefix>_<YYYYMMDD>.log, with neither rotation nor
//    retention nor level filtering.
//
// A record is one line
//     YYYY-MM-DD HH:MM:SS.mmm TOK [idterm] [Caller] message
// (local time; TOK is INI FIM WRN ERR DBG INF STA DBX CFG STR PRM for levels 0..10
// and L<level> for any other; each bracketed column only when given and not
// empty; line breaks inside a text become blanks), and for the hex forms one
// dump line per 16 bytes: offset, the bytes in hex, their printable characters.
// Each record is written with one write() on an O_APPEND descriptor, so records
// of several threads or processes never mix inside a line.
//
// Compression gzips a file to <name>.gz beside it and removes the original;
// decompression reverses it ("decompressFile" takes the name with or without
// ".gz"). Neither replaces an existing file, and no file that a session or the
// older interface of this process is writing is ever compressed;
// "compressFiles" takes only the files of its session dated before, or
// numbered below, the one the session is writing.
//
// Results: 0 success, -1 failure or bad input. "createLog" returns a session
// index >= 1, 0 when the file cannot be opened (or too many sessions are
// open), -1 for a null or empty name. A record of a level the mask leaves out
// counts as success.

#ifdef __cplusplus
extern "C" {
#endif

#define LOGLIB_API __attribute__((visibility("default")))

LOGLIB_API void add(char* szPath, char* szFileNamePrefix, int Prefix, char* idterm,
                    const char* Caller, char* strReg);
LOGLIB_API void logBuffer(char* szPath, char* szFileNamePrefix, int Prefix, char* idterm,
                          const char* Caller, const char* strReg, const unsigned char* pBuffer,
                          unsigned int tamBuffer);

LOGLIB_API int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask);
LOGLIB_API int writeToFile(int index, int prefix, const char* msg);
LOGLIB_API int writeToFile2(int index, int prefix, char* idterm, const char* Caller,
                            const char* msg);
LOGLIB_API int writeToFileHex(int index, int prefix, const char* msg,
                              const unsigned char* hexMsgBuffer, unsigned int bufferSize);
LOGLIB_API int writeToFileHex2(int index, int prefix, char* idterm, const char* Caller,
                               const char* msg, const unsigned char* hexMsgBuffer,
                               unsigned int bufferSize);
LOGLIB_API void exitLog(int index);

LOGLIB_API int compressFile(const char* fileName);
LOGLIB_API int decompressFile(const char* fileName);
LOGLIB_API int compressFiles(int index);
LOGLIB_API int decompressFiles(int index);

#ifdef __cplusplus
}
#endif
