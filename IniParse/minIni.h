#pragma once
// A small file-based INI reader and writer. There is no in-memory model: every
// call opens the file, scans it line by line with one fixed line buffer and
// closes it again, so the file is read fresh on every call.
//
// Syntax read:
//   [Section]                 header; the name is the text between the brackets
//   Key = value ; comment     "=" or, in a line without "=", ":" delimits
//   Key = "quoted ; value"    quotes keep ";" and "#"; \" and "" are a quote
//   ; comment, # comment      whole-line comments
// Keys before the first header form the nameless section (Section null or
// empty). Names are compared case-insensitively and must match in length.
// A physical line longer than INI_BUFFERSIZE - 1 bytes is read in pieces, each
// piece taken as a line of its own.
//
// A write copies the file into a temporary file beside it (the name with its
// last character replaced by '~') and then renames that over the original, so
// the file is always either the old or the new version, never half written.
// Callers serialise writers of one file.

#define INI_BUFFERSIZE 512

#ifdef __cplusplus
extern "C" {
#endif

/* Called by ini_browse for every key; a result of 0 stops the browse. */
typedef int (*INI_CALLBACK)(const char* Section, const char* Key, const char* Value,
                            const void* UserData);

/* Copies the value of Key (or DefValue when the file or key is missing) into
   Buffer, at most BufferSize - 1 characters; returns the length left in Buffer.
   Returns 0 and leaves Buffer untouched when Buffer or Key is null or
   BufferSize < 1. */
int ini_gets(const char* Section, const char* Key, const char* DefValue, char* Buffer,
             int BufferSize, const char* Filename);
/* Decimal, or hexadecimal when the second character is 'x' ("0x1F"). */
long ini_getl(const char* Section, const char* Key, long DefValue, const char* Filename);
float ini_getf(const char* Section, const char* Key, float DefValue, const char* Filename);
/* Only the first character counts: 1/T/Y give 1, 0/F/N give 0, else DefValue. */
int ini_getbool(const char* Section, const char* Key, int DefValue, const char* Filename);
/* Name of the idx-th section header (from 0); "" and 0 when there is none. */
int ini_getsection(int idx, char* Buffer, int BufferSize, const char* Filename);
/* Name of the idx-th key of Section (from 0); "" and 0 when there is none. */
int ini_getkey(const char* Section, int idx, char* Buffer, int BufferSize, const char* Filename);
/* 1 when a header for Section exists, else 0. */
int ini_section_is_valid(const char* Section, const char* Filename);
/* Calls Callback for every key of the file in order; 1 when the file was
   browsed, 0 when Callback is null or the file cannot be opened. */
int ini_browse(INI_CALLBACK Callback, const void* UserData, const char* Filename);

/* Sets Key of Section to Value, creating the section and the file as needed.
   Value null deletes the key; Key null deletes the whole section. Returns 1 on
   success, 0 when the file could not be read or rewritten (it is then left as
   it was). */
int ini_puts(const char* Section, const char* Key, const char* Value, const char* Filename);
int ini_putl(const char* Section, const char* Key, long Value, const char* Filename);
int ini_putf(const char* Section, const char* Key, float Value, const char* Filename);

#ifdef __cplusplus
}
#endif
